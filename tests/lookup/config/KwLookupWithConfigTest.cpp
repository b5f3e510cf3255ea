// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupWithConfig.h"

#include "conf/ConfParser.h"
#include "lookup/config/KwLookupAndStorageWithConfig.h"
#include "lookup/config/TestConf.h"
#include "support/RecordingLog.h"
#include "support/TestLocale.h"
#include "support/TextFinder.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace kwlookup;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;
using namespace std::string_literals;

/// Completes the abstract class `Base` as a plug-in does.
template <typename Base>
class Concrete : public Base {
public:
    explicit Concrete(TestConf& conf, const LogClass* log = nullptr)
        : Base(&conf), m_wide(conf), m_log(log) {}

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        return m_wide.MakePreInit(parser);
    }
    void PostInit() override { m_wide.PostInit(); }
    void Init(const std::string& text) override { request = this->ParseInitData(text); }
    std::string GetDescription() const override { return std::string(); }
    void InitLog(const LogClass& log) override { m_log = &log; }
    const LogClass* GetLogPtr() const override { return m_log; }
    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return false;
    }

    const KwLookupSharedConf& Conf() const { return *this->m_conf; }
    TestConf* Local() const { return static_cast<TestConf*>(this->m_local_conf.get()); }

    std::string request;

protected:
    KwLookupSharedConf* CreateLocalConf() override { return new TestConf("ldap", &m_wide); }

private:
    TestConf& m_wide;
    const LogClass* m_log;
};

using Lookup = Concrete<KwLookupWithConfig>;

static_assert(!std::is_copy_constructible_v<Lookup>, "it may point into its own configuration");
static_assert(std::is_abstract_v<KwLookupWithConfig>);

class WithConfig : public ::testing::Test {
protected:
    WithConfig() {
        RecordingLog::Reset();
        Configure({{"Host", "wide"}});
    }

    void Configure(const std::vector<std::pair<std::string, std::string>>& settings) {
        const auto parser = boost::make_shared<ConfParser>(log);
        wide.MakePreInit(parser);
        for (const auto& setting : settings)
            EXPECT_TRUE(parser->SetNewVal("ldap/" + setting.first, setting.second));
        wide.PostInit();
        RecordingLog::Reset();
    }

    /// Returns the text of the exception that ParseInitData() throws, or an empty text.
    std::string InitError(const std::string& text) {
        try {
            lookup.Init(text);
            return std::string();
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }

    std::string Expand(const std::string& filter, const std::string& text, int flags = 0) const {
        return lookup.ExpandFilter(filter.c_str(), TextFinder(text), flags);
    }

    bool IsSkipped(const std::string& text, int flags = 0) const {
        return lookup.CheckSkipDomains(TextFinder(text), flags);
    }

    LogClass log{"host"};
    TestConf wide{"ldap"};
    Lookup lookup{wide};
};

TEST_F(WithConfig, NeedsItsConfigurationLoaded) {
    EXPECT_TRUE(lookup.IsNeedCofigLoading());
    const KwIfSharedObject& object = lookup;
    EXPECT_TRUE(object.IsNeedCofigLoading());
}

// Init data.

TEST_F(WithConfig, InitDataWithoutSettingsAreTheTemplate) {
    lookup.Init("  uid=$u \t");
    EXPECT_EQ(lookup.request, "uid=$u");
    EXPECT_EQ(&lookup.Conf(), &wide);
    EXPECT_EQ(lookup.Local(), nullptr);
}

TEST_F(WithConfig, SettingsComeBeforeTheTemplate) {
    lookup.Init("OnError=exception | Port = 7 | (&(uid=$u)(x=y))");
    EXPECT_EQ(lookup.request, "(&(uid=$u)(x=y))");
    ASSERT_NE(lookup.Local(), nullptr);
    EXPECT_EQ(&lookup.Conf(), lookup.Local());
    EXPECT_TRUE(lookup.Conf().GetOnError());
    EXPECT_EQ(lookup.Conf().GetVal<int>("Port"), 7);
    EXPECT_EQ(lookup.Conf().GetVal<std::string>("Host"), "wide");
    EXPECT_FALSE(wide.GetOnError());
}

TEST_F(WithConfig, InvalidInitDataAreErrors) {
    struct Case {
        const char* data;
        const char* error;
    };
    const Case cases[] = {
        {"", "wrong empty data"},
        {" ", "wrong empty request"},
        {"|", "wrong empty request"},
        {"Port=1||", "wrong empty request"},
        {"Port=1| ", "wrong empty request"},
        {"Port=1|\"  \"", "wrong empty request"},
        {"\"a", "can't find final '\"' symbol"},
        {"a\\", "can't find sybol after '\\'"},
        {"Port|x", "error in ldap params: can`t find '=' in Port"},
        {"|x", "error in ldap params: can`t find '=' in "},
        {"Port=x|x", "error during parse ldapsetting: 'Port=x'"},
        {"OnError=x|x", "Wrong OnError setting [x]: wait 'ignore' or 'exception'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.data);
        EXPECT_EQ(InitError(c.data), c.error);
        EXPECT_EQ(&lookup.Conf(), &wide) << "a failure leaves the configuration";
    }
}

TEST_F(WithConfig, AnEmptyLastPieceIsDropped) {
    lookup.Init("Port=1|");
    EXPECT_EQ(lookup.request, "Port=1");
    EXPECT_EQ(lookup.Local(), nullptr);
}

TEST_F(WithConfig, FailedSettingsLeaveTheirConfigurationHalfFilled) {
    EXPECT_NE(InitError("Port=7|Host|x"), "");
    ASSERT_NE(lookup.Local(), nullptr);
    EXPECT_EQ(lookup.Local()->port, 7);
    EXPECT_EQ(&lookup.Conf(), &wide);
}

TEST_F(WithConfig, SecondInitForgetsTheSettingsOfTheFirst) {
    lookup.Init("Port=7|x");
    lookup.Init("Host=near|x");
    EXPECT_EQ(lookup.Conf().GetVal<int>("Port"), 1);
    EXPECT_EQ(lookup.Conf().GetVal<std::string>("Host"), "near");
}

TEST_F(WithConfig, SecondInitWithoutSettingsKeepsThoseOfTheFirst) {
    lookup.Init("Port=7|x");
    const KwLookupSharedConf* const first = lookup.Local();
    lookup.Init("x");
    EXPECT_EQ(&lookup.Conf(), first);
    EXPECT_EQ(lookup.Local(), first);
    EXPECT_EQ(lookup.Conf().GetVal<int>("Port"), 7);
}

TEST_F(WithConfig, FailedSettingsLeaveTheConfigurationOfAnEarlierInit) {
    lookup.Init("Port=7|Host=near|x");
    const KwLookupSharedConf* const first = &lookup.Conf();
    for (const char* failing : {"Port=8|Host|x", "Port=9|Port=x|x"}) {
        EXPECT_NE(InitError(failing), "");
        EXPECT_EQ(&lookup.Conf(), first);
        EXPECT_NE(lookup.Local(), first) << "the half filled one";
        EXPECT_EQ(lookup.Conf().GetVal<int>("Port"), 7) << "it lives as long as it is asked";
        EXPECT_EQ(lookup.Conf().GetVal<std::string>("Host"), "near");
    }
    lookup.Init("Host=far|x");
    EXPECT_EQ(&lookup.Conf(), lookup.Local());
    EXPECT_EQ(lookup.Conf().GetVal<std::string>("Host"), "far");
    EXPECT_EQ(lookup.Conf().GetVal<int>("Port"), 1);
}

TEST_F(WithConfig, LocalConfigurationWritesToTheLogOfTheLookup) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    InitError("Port=x|x");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty()) << "the lookup has no log";
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    lookup.InitLog(log);
    InitError("Port=x|x");
    EXPECT_THAT(RecordingLog::GetLines(),
                ElementsAre(RecordingLog::Line{log4cxx::Level::LEVEL_WARN, "host",
                                               "Wrong value [x] in integer variable Port"}));
}

TEST_F(WithConfig, TrimsTheTemplateByTheGlobalLocale) {
    const GlobalLocale locale(TestBytes::Latin1().GetLocale());
    lookup.Init("\"\xa0 a\xa0\"");
    EXPECT_EQ(lookup.request, "a");
}

// Expansion.

struct Expansion {
    const char* filter;
    const char* text;
    int flags;
    const char* result;
};

TEST_F(WithConfig, Expands) {
    const Expansion cases[] = {
        {"uid=$u,dc=$d", "jdoe@corp.lan", 0, "uid=jdoe,dc=corp.lan"},
        {"uid=$u,dc=$d", "corp.lan", FIND_DOMAIN, "uid=,dc=corp.lan"},
        {"uid=$u,dc=$d", "jdoe@corp.lan", FIND_DOMAIN, "uid=,dc=jdoe@corp.lan"},
        {"[$d]", "jdoe", 0, "[]"},
        {"[$u]", "jdoe", 0, "[jdoe]"},
        {"[$s]", "jdoe@corp.lan", 0, "[jdoe@corp.lan]"},
        {"[$s]", "jdoe@corp.lan", FIND_DOMAIN, "[jdoe@corp.lan]"},
        {"$u|$d", "a@b@c", 0, "a|b@c"},
        {"$u|$d", "@b", 0, "|b"},
        {"$u|$d", "a@", 0, "a|"},
        {"$u|$d|$s", "", 0, "||"},
        {"$u|$d|$s", "", FIND_DOMAIN, "||"},
        {"$$s", "x", 0, "$s"},
        {"$$$s", "x", 0, "$x"},
        {"$$$$", "x", 0, "$$"},
        {"a$", "x", 0, "a"},
        {"$", "x", 0, ""},
        {"a$$$", "x", 0, "a$"},
        {"", "x", 0, ""},
        {"nothing", "x", 0, "nothing"},
        {"$s$s", "x", 0, "xx"},
        // The '>' is removed from the end of the whole output.
        {"$s", "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, "jdoe@corp.lan"},
        {"$s", "<jdoe@corp.lan>", 0, "<jdoe@corp.lan>"},
        {"$u at $d", "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, "jdoe at corp.lan"},
        {"$s", "<<a>>", FIND_STRIP_BRACKETS, "<a>"},
        {"$s", "<", FIND_STRIP_BRACKETS, ""},
        {"$s", "<>", FIND_STRIP_BRACKETS, ""},
        {"$s", "", FIND_STRIP_BRACKETS, ""},
        {"a>$d", "a@", FIND_STRIP_BRACKETS, "a"},
        {"a>$s", "", FIND_STRIP_BRACKETS, "a"},
        {"a>$d", "a", FIND_STRIP_BRACKETS, "a>"},
        {"a>$$", "a", FIND_STRIP_BRACKETS, "a>$"},
    };
    for (const Expansion& c : cases) {
        SCOPED_TRACE(testing::Message() << c.filter << " with " << c.text << ", " << c.flags);
        EXPECT_EQ(Expand(c.filter, c.text, c.flags), c.result);
        std::string buffer = "before";
        const TextFinder finder(c.text);
        EXPECT_STREQ(lookup.ExpandFilter(c.filter, finder, c.flags, buffer), c.result);
    }
}

TEST_F(WithConfig, NeverExpandsItsOwnOutput) {
    for (const std::string text : {"$s$u$d$$", "$", "$x", "$s@$d", "a@$$u"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Expand("$s", text), text);
        EXPECT_EQ(Expand("$$$s$", text), "$" + text);
        const std::string user = text.substr(0, text.find('@'));
        EXPECT_EQ(Expand("$us", text), user + "s") << "what follows is no code";
    }
}

TEST_F(WithConfig, RejectsOtherCodesWithTheWholeTemplate) {
    for (const std::string code : {"x", "S", "U", "D", " ", "\xe9", "1", "{"}) {
        const std::string filter = "$s and $" + code + " and $u";
        try {
            Expand(filter, "a@b");
            ADD_FAILURE() << filter;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), "unrecognize expansion in '" + filter + "'");
        }
        std::string buffer = "before";
        EXPECT_THROW(lookup.ExpandFilter(filter.c_str(), TextFinder("a"), 0, buffer),
                     std::invalid_argument);
    }
}

TEST_F(WithConfig, TemplateWithoutCodesIsNotCopied) {
    const char* const filter = "uid=x";
    std::string buffer = "before";
    EXPECT_EQ(lookup.ExpandFilter(filter, TextFinder("a"), 0, buffer), filter);
    EXPECT_EQ(buffer, "before");
    const char* const expanded = lookup.ExpandFilter("$s", TextFinder("a"), 0, buffer);
    EXPECT_EQ(expanded, buffer.c_str());
    EXPECT_EQ(buffer, "a") << "replaced, not appended to";
}

void Bracketed(const char* begin, const char* end, std::string& out, int flags) {
    out += "{" + std::string(begin, end) + ":" + std::to_string(flags) + "}";
}

TEST_F(WithConfig, EveryPieceGoesThroughTheOutputFunction) {
    const TextFinder finder("a@b");
    EXPECT_EQ(lookup.ExpandFilter("$s $u $d $$ x", finder, 4, Bracketed),
              "{a@b:4} {a:4} {b:4} $ x");
    std::string buffer;
    EXPECT_STREQ(lookup.ExpandFilter("$s", finder, 1, buffer, Bracketed), "{a@b:1}");
    EXPECT_EQ(lookup.ExpandFilter("$u$d", finder, FIND_DOMAIN, Bracketed), "{a@b:8}");
    EXPECT_EQ(lookup.ExpandFilter("$u$d", TextFinder("a"), 0, Bracketed), "{a:0}");
    EXPECT_EQ(lookup.ExpandFilter("$u$d$s", TextFinder(""), 0, Bracketed), "{:0}{:0}");

    std::string out = "x";
    lookup.ExpandDomain(finder, 0, Bracketed, out);
    lookup.ExpandUsername(finder, 0, Bracketed, out);
    EXPECT_EQ(out, "x{b:0}{a:0}") << "both append";
}

TEST_F(WithConfig, ExpandsTextsOfAnyBytes) {
    const std::string text = "\xff\0$s\n@\x80"s;
    EXPECT_EQ(Expand("$s|$u|$d", text), text + "|" + "\xff\0$s\n"s + "|\x80");
    const std::string big(1 << 20, '$');
    EXPECT_EQ(Expand("$s", big).size(), big.size());
}

TEST_F(WithConfig, QuotesOutput) {
    struct Case {
        std::string text;
        std::string quoted;
    };
    for (const Case& c : {Case{"a,b\n", "a\\,b\\n"}, Case{"", ""}, Case{"\\", "\\\\"},
                          Case{"a\r\t\"'\0|\xff"s, "a\r\t\"'\0|\xff"s}, Case{",,", "\\,\\,"}}) {
        std::string out = "x";
        KwLookupWithConfig::QuoteOutput(c.text.data(), static_cast<unsigned>(c.text.size()), out);
        EXPECT_EQ(out, "x" + c.quoted);
    }
}

// Skipped domains.

TEST_F(WithConfig, SkipsNothingByDefault) {
    EXPECT_FALSE(IsSkipped("jdoe@corp.lan"));
    EXPECT_FALSE(IsSkipped("", FIND_DOMAIN));
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(WithConfig, SkipsListedDomainsButNotTheirSubDomains) {
    Configure({{"SkipDomains", "Corp.Lan"}});
    EXPECT_TRUE(IsSkipped("jdoe@corp.lan"));
    EXPECT_TRUE(IsSkipped("<jdoe@corp.lan>"));
    EXPECT_TRUE(IsSkipped("corp.lan", FIND_DOMAIN));
    EXPECT_TRUE(IsSkipped("corp.lan"));
    EXPECT_FALSE(IsSkipped("jdoe@corp.lan", FIND_DOMAIN)) << "compared whole";
    EXPECT_FALSE(IsSkipped("jdoe@mail.corp.lan"));
    EXPECT_FALSE(IsSkipped("jdoe@mycorp.lan"));
    EXPECT_FALSE(IsSkipped("jdoe@"));
    EXPECT_FALSE(IsSkipped(""));
}

TEST_F(WithConfig, AnEmptyDomainPartIsNotSearched) {
    Configure({{"SkipDomains", "corp.lan,,home.lan"}});
    EXPECT_TRUE(IsSkipped("", FIND_DOMAIN)) << "the list has an empty entry";
    for (const char* text : {"jdoe@", "<jdoe@>", "@", ""})
        EXPECT_FALSE(IsSkipped(text)) << text;
}

TEST_F(WithConfig, WithoutSkippedDomainsTheTextIsNotRequested) {
    class AskedFinder : public TextFinder {
    public:
        using TextFinder::TextFinder;
        TextRange GetRequest() const override {
            ++asked;
            return TextFinder::GetRequest();
        }
        mutable int asked = 0;
    };
    Configure({});
    const AskedFinder finder("jdoe@corp.lan");
    EXPECT_FALSE(lookup.CheckSkipDomains(finder, 0));
    EXPECT_EQ(finder.asked, 0);
    Configure({{"SkipDomains", "corp.lan"}});
    EXPECT_TRUE(lookup.CheckSkipDomains(finder, 0));
    EXPECT_EQ(finder.asked, 1);
}

TEST_F(WithConfig, LocalListReplacesTheTypeWideOne) {
    Configure({{"SkipDomains", "corp.lan"}});
    lookup.Init("SkipDomains=home.lan|x");
    EXPECT_TRUE(IsSkipped("a@home.lan"));
    EXPECT_FALSE(IsSkipped("a@corp.lan"));
    lookup.Init("SkipDomains=|x");
    EXPECT_FALSE(IsSkipped("a@corp.lan")) << "set to nothing";
    lookup.Init("Port=1|x");
    EXPECT_TRUE(IsSkipped("a@corp.lan")) << "not set";
}

TEST_F(WithConfig, LogsWhatItSkips) {
    Configure({{"SkipDomains", "corp.lan"}});
    RecordingLog::Reset();
    EXPECT_TRUE(IsSkipped("a@corp.lan"));
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty()) << "the lookup has no log";

    lookup.InitLog(log);
    RecordingLog::Reset();
    EXPECT_FALSE(IsSkipped("a@home.lan"));
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_TRUE(IsSkipped("<a@corp.lan>"));
    EXPECT_EQ(
        RecordingLog::GetLines().back(),
        (RecordingLog::Line{DEBUG, "host", "Skipping lookup of <a@corp.lan> due to SkipDomains"}));
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    EXPECT_TRUE(IsSkipped("a@corp.lan"));
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(WithConfig, NeedsATableToSkipBy) {
    TestConf fresh("fresh");
    const Lookup unregistered(fresh);
    try {
        unregistered.CheckSkipDomains(TextFinder("a@b"), 0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "can not find : 'SkipDomains' option");
    }
}

// The class that is both a lookup and a storage.

class Storage : public Concrete<KwLookupAndStorageWithConfig> {
public:
    using Concrete::Concrete;
    void Store(const KwStorageValuesMap&) override {}
    bool IsStorage() const { return m_is_storage; }
};

TEST_F(WithConfig, IsAStorageAfterSetStorage) {
    Storage storage(wide);
    EXPECT_FALSE(storage.IsStorage());
    EXPECT_TRUE(storage.IsNeedCofigLoading());
    storage.Init("Port=7|x");
    EXPECT_EQ(storage.Conf().GetVal<int>("Port"), 7);
    KwIfSharedStorage& view = storage;
    view.SetStorage();
    EXPECT_TRUE(storage.IsStorage());
}

TEST_F(WithConfig, StorageIsOneObjectInAllItsViews) {
    Storage storage(wide, &log);
    const KwIfLookup& as_lookup = storage;
    const KwIfStorage& as_storage = storage;
    const KwIfSharedStorage& as_shared = storage;
    EXPECT_EQ(static_cast<const KwIfObject*>(&as_lookup),
              static_cast<const KwIfObject*>(&as_storage));
    EXPECT_EQ(
        static_cast<const InterfaceConfHolder*>(&as_shared),
        static_cast<const InterfaceConfHolder*>(static_cast<const KwIfSharedLookup*>(&storage)));
    EXPECT_EQ(as_storage.GetLogPtr(), &log);
}

} // namespace
