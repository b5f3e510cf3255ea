// SPDX-License-Identifier: MIT
#include "lookup/config/Parameter.h"

#include "conf/ConfParser.h"
#include "host/LogClass.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace kwlookup;
using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<Parameter<int>>, "its address is registered");

/// A configuration with a parameter of every kind.
class AllKinds : public TypeConfig {
public:
    explicit AllKinds(const AllKinds* global = nullptr) : TypeConfig("kinds", global) {}

    Parameter<int> number{*this, "Number", 5};
    Parameter<bool> flag{*this, "Flag", true};
    Parameter<std::string> text{*this, "Text", "t"};
    Parameter<RawText> raw{*this, "Raw"};
    Parameter<Time> time{*this, "Time", 60};
    Parameter<Size> size{*this, "Size", 1024};
    Parameter<Strings> texts{*this, "Texts"};
    Parameter<std::vector<int>> numbers{*this, "Numbers"};
    Parameter<TimeList> times{*this, "Times"};
    Parameter<SizeList> sizes{*this, "Sizes"};
};

/// Sets parameters like a host.
class Loaded {
public:
    explicit Loaded(KwLookupSharedConf& conf) { conf.MakePreInit(m_parser); }

    bool Set(const std::string& name, const std::string& value) {
        return m_parser->SetNewVal("kinds/" + name, value);
    }

private:
    LogClass m_log{"host"};
    boost::shared_ptr<ConfParser> m_parser = boost::make_shared<ConfParser>(m_log);
};

TEST(Parameter, HasItsDefaultUntilItIsSet) {
    AllKinds conf;
    Loaded loaded(conf);
    EXPECT_EQ(conf.number.Get(), 5);
    EXPECT_TRUE(conf.flag.Get());
    EXPECT_EQ(conf.text.Get(), "t");
    EXPECT_EQ(conf.raw.Get(), "");
    EXPECT_EQ(conf.time.Get(), 60);
    EXPECT_EQ(conf.size.Get(), 1024);
    EXPECT_TRUE(conf.texts.Get().empty());
}

TEST(Parameter, OfEachKindTakesItsSyntax) {
    AllKinds conf;
    Loaded loaded(conf);
    const std::map<std::string, std::string> settings = {
        {"number", "0x10"}, {"flag", "off"},    {"text", "\"a b\""}, {"raw", "\"a b\""},
        {"time", "2m"},     {"size", "4k"},     {"texts", "a, b"},   {"numbers", "1,010"},
        {"times", "1m,1h"}, {"sizes", "1k,3g"},
    };
    for (const auto& [name, value] : settings)
        EXPECT_TRUE(loaded.Set(name, value)) << name;
    EXPECT_EQ(conf.number.Get(), 16);
    EXPECT_FALSE(conf.flag.Get());
    EXPECT_EQ(conf.text.Get(), "a b");
    EXPECT_EQ(conf.raw.Get(), "\"a b\"");
    EXPECT_EQ(conf.time.Get(), 120);
    EXPECT_EQ(conf.size.Get(), 4096);
    EXPECT_THAT(conf.texts.Get(), ElementsAre("a", "b"));
    EXPECT_THAT(conf.numbers.Get(), ElementsAre(1, 8));
    EXPECT_THAT(conf.times.Get(), ElementsAre(60, 3600));
    EXPECT_THAT(conf.sizes.Get(), ElementsAre(1024, 3LL << 30));
}

TEST(Parameter, TakesItsDefaultFromAnEmptyText) {
    AllKinds conf;
    Loaded loaded(conf);
    for (const char* name : {"Number", "Flag", "Time", "Size", "Text"}) {
        EXPECT_TRUE(loaded.Set(name, name == std::string("Flag") ? "no" : "7")) << name;
        EXPECT_TRUE(loaded.Set(name, "")) << name;
    }
    EXPECT_EQ(conf.number.Get(), 5);
    EXPECT_TRUE(conf.flag.Get());
    EXPECT_EQ(conf.time.Get(), 60);
    EXPECT_EQ(conf.size.Get(), 1024);
    EXPECT_EQ(conf.text.Get(), "") << "an empty text is a text";
}

TEST(Parameter, IsInheritedUnlessItIsSetLocally) {
    AllKinds wide;
    Loaded loaded(wide);
    loaded.Set("Number", "6");
    loaded.Set("Text", "wide");
    AllKinds local(&wide);
    local.LoadLocal({"Text = near"});
    EXPECT_EQ(local.number.Get(), 6);
    EXPECT_EQ(local.number.GetOwn(), 5) << "not set in this configuration";
    EXPECT_EQ(local.text.Get(), "near");
    EXPECT_EQ(local.text.GetOwn(), "near");
}

template <typename Error, typename Action>
std::string Thrown(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return std::string();
}

TEST(Parameter, ErrorsNameTheRange) {
    AllKinds conf;
    Loaded loaded(conf);
    EXPECT_NO_THROW(conf.number.CheckRange(5, 5));
    EXPECT_EQ(Thrown<std::invalid_argument>([&] { conf.number.CheckRange(6, 9); }),
              "Number must be from 6 to 9");
    EXPECT_EQ(Thrown<std::invalid_argument>([&] { conf.number.CheckRange(-3, 4); }),
              "Number must be from -3 to 4");
    EXPECT_EQ(Thrown<std::invalid_argument>([&] { conf.time.CheckRange(1, 59); }),
              "Time must be from 1 to 59 seconds");
    EXPECT_EQ(Thrown<std::invalid_argument>([&] { conf.size.CheckRange(1, 1000); }),
              "Size must be from 1 to 1000");
}

TEST(Parameter, CannotBeReadAsAnotherType) {
    AllKinds wide;
    Loaded loaded(wide);
    AllKinds local(&wide);
    for (const AllKinds* conf : {&wide, &local}) {
        EXPECT_EQ(conf->GetVal<int>("NUMBER"), 5);
        EXPECT_EQ(conf->GetVal<int>("Time"), 60);
        EXPECT_EQ(conf->GetVal<long long>("Size"), 1024);
        EXPECT_TRUE(conf->GetVal<KwDomainsLookup>("SkipDomains").Empty());
        EXPECT_EQ(Thrown<std::logic_error>([&] { conf->GetVal<long long>("Number"); }),
                  "option 'Number' is of another type");
        for (const char* name : {"Flag", "Text", "Raw", "Size", "Texts", "Numbers", "Times",
                                 "Sizes", "OnError", "SkipDomains"})
            EXPECT_THROW(conf->GetVal<int>(name), std::logic_error) << name;
        for (const char* name : {"Number", "Flag", "Time", "Texts", "SkipDomains"})
            EXPECT_THROW(conf->GetVal<std::string>(name), std::logic_error) << name;
    }
}

} // namespace
