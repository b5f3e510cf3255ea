// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupSharedConf.h"

#include "conf/ConfParser.h"
#include "lookup/config/TestConf.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TestLocale.h"

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
using params_t = KwLookupSharedConf::params_t;

static_assert(!std::is_copy_constructible_v<TestConf>, "it holds addresses inside itself");
static_assert(!std::is_copy_assignable_v<TestConf>, "it holds addresses inside itself");

/// Returns the text of the std::invalid_argument that `action` throws, or an empty text.
template <typename Action>
std::string Thrown(Action action) {
    try {
        action();
        return std::string();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::string LoadLocal(KwLookupSharedConf& conf, const Strings& settings) {
    return Thrown([&] { conf.LoadLocal(settings); });
}

Strings Names(const std::vector<params_t>& rows) {
    Strings names;
    for (const params_t& row : rows)
        names.push_back(row.name);
    return names;
}

/// A parser that records registrations.
class RecordingParser : public IfConfParser {
public:
    void Add(const std::string& name, void* var, VarType type, const void* def) override {
        rows.push_back({name, var, def, type});
    }

    std::vector<params_t> rows;
};

/// Fills a type-wide configuration like a host.
std::string Configure(KwLookupSharedConf& conf, const std::string& name,
                      const std::vector<std::pair<std::string, std::string>>& settings) {
    LogClass log("host");
    const auto parser = boost::make_shared<ConfParser>(log);
    EXPECT_TRUE(conf.MakePreInit(parser));
    for (const auto& setting : settings)
        EXPECT_TRUE(parser->SetNewVal(name + "/" + setting.first, setting.second));
    return Thrown([&] { conf.PostInit(); });
}

class SharedConf : public ::testing::Test {
protected:
    SharedConf() { RecordingLog::Reset(); }

    bool IsSkipped(const KwLookupSharedConf& conf, const std::string& domain) {
        const auto& domains = conf.GetVal<KwDomainsLookup>("SkipDomains");
        return domains.FindDomain(TextRange(domain.begin(), domain.end()), false);
    }

    TestConf wide{"ldap"};
    TestConf local{"ldap", &wide};
};

TEST_F(SharedConf, AddsItsOwnParametersAndSortsByName) {
    const std::vector<params_t> rows = wide.GetAllParams();
    EXPECT_THAT(Names(rows), ElementsAre("", "Host", "OnError", "Port", "Secret", "SkipDomains"));
    for (const params_t& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.no_local, row.name == "Secret");
        EXPECT_FALSE(row.local_set);
    }
    EXPECT_EQ(rows[2].type, IfConfParser::VT_STRING);
    EXPECT_EQ(*static_cast<const std::string*>(rows[2].def), "ignore");
    EXPECT_EQ(rows[2].def, local.GetAllParams()[2].def) << "one default for the process";
    EXPECT_EQ(rows[3].var, &wide.port);
    EXPECT_EQ(rows[3].def, &wide.default_port);
    EXPECT_EQ(rows[3].type, IfConfParser::VT_INT);
    EXPECT_EQ(rows[5].type, IfConfParser::VT_OBJECT);
    EXPECT_EQ(rows[5].def, nullptr);
    EXPECT_NE(rows[5].var, local.GetAllParams()[5].var);
}

TEST_F(SharedConf, RegistersEveryNamedParameterUnderItsPrefix) {
    const auto parser = boost::make_shared<RecordingParser>();
    EXPECT_TRUE(wide.MakePreInit(parser));
    EXPECT_THAT(Names(parser->rows), ElementsAre("ldap/Host", "ldap/OnError", "ldap/Port",
                                                 "ldap/Secret", "ldap/SkipDomains"));
    const std::vector<params_t> all = wide.GetAllParams();
    for (std::size_t i = 0; i < parser->rows.size(); ++i) {
        EXPECT_EQ(parser->rows[i].var, all[i + 1].var);
        EXPECT_EQ(parser->rows[i].def, all[i + 1].def);
        EXPECT_EQ(parser->rows[i].type, all[i + 1].type);
    }
    EXPECT_EQ(wide.post_inits, 0);
}

TEST_F(SharedConf, IsFilledByTheHost) {
    EXPECT_EQ(Configure(wide, "ldap",
                        {{"HOST", "\"a b\""},
                         {"port", " 0x10 "},
                         {"Secret", "\"x\""},
                         {"skipdomains", "corp.lan, Home.Lan"},
                         {"OnError", "Exception"}}),
              "");
    EXPECT_EQ(wide.GetVal<std::string>("Host"), "a b");
    EXPECT_EQ(wide.GetVal<int>("PORT"), 16);
    EXPECT_EQ(&wide.GetVal<int>("Port"), &wide.port);
    EXPECT_EQ(wide.GetVal<std::string>("secret"), "\"x\"");
    EXPECT_TRUE(IsSkipped(wide, "home.lan"));
    EXPECT_FALSE(IsSkipped(wide, "x.home.lan"));
    EXPECT_TRUE(wide.GetOnError());
    EXPECT_EQ(wide.post_inits, 1);
}

TEST_F(SharedConf, EmptyTextsGiveTheDefaults) {
    EXPECT_EQ(Configure(wide, "ldap",
                        {{"Port", "7"}, {"SkipDomains", "corp.lan"}, {"OnError", "exception"}}),
              "");
    EXPECT_EQ(Configure(wide, "ldap", {{"Port", ""}, {"SkipDomains", ""}, {"OnError", ""}}), "");
    EXPECT_EQ(wide.port, 389);
    EXPECT_TRUE(wide.GetVal<KwDomainsLookup>("SkipDomains").Empty());
    EXPECT_FALSE(wide.GetOnError());
}

TEST_F(SharedConf, KeepsValuesThatTheHostDoesNotSet) {
    EXPECT_EQ(Configure(wide, "ldap", {{"Port", "7"}, {"OnError", "exception"}}), "");
    EXPECT_EQ(Configure(wide, "ldap", {}), "");
    EXPECT_EQ(wide.port, 7);
    EXPECT_TRUE(wide.GetOnError());
}

TEST_F(SharedConf, InitiallyIgnoresErrorsAndSkipsNothing) {
    EXPECT_EQ(Configure(wide, "ldap", {}), "");
    EXPECT_FALSE(wide.GetOnError());
    EXPECT_TRUE(wide.GetVal<KwDomainsLookup>("SkipDomains").Empty());
}

TEST_F(SharedConf, UnderstandsOnErrorInAnyLetterCase) {
    struct Case {
        const char* text;
        bool on_error;
    };
    for (const Case& c : {Case{"exception", true},
                          {"Exception", true},
                          {"EXCEPTION", true},
                          {"ignore", false},
                          {"IGNORE", false},
                          {"", false},
                          {"\"exception\"", true}}) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Configure(wide, "ldap", {{"OnError", "exception"}}), "");
        EXPECT_EQ(Configure(wide, "ldap", {{"OnError", c.text}}), "");
        EXPECT_EQ(wide.GetOnError(), c.on_error);
    }
}

TEST_F(SharedConf, RejectsAnyOtherOnError) {
    for (const std::string text : {"ignored", "exceptio", " ignore", "yes", "\xe9\xff"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Configure(wide, "ldap", {{"OnError", text}}),
                  "Wrong OnError setting [" + text + "]: wait 'ignore' or 'exception'");
    }
    EXPECT_THAT(RecordingLog::Texts(ERROR), IsEmpty());
}

TEST_F(SharedConf, FoldsOnErrorByTheGlobalLocale) {
    TestBytes bytes;
    bytes.upper[static_cast<unsigned char>('\xe9')] = 'E';
    const GlobalLocale locale(bytes.GetLocale());
    EXPECT_EQ(Configure(wide, "ldap", {{"OnError", "\xe9xc\xe9ption"}}), "");
    EXPECT_TRUE(wide.GetOnError());
}

// Local configurations.

TEST_F(SharedConf, LocalSettingsOverrideTheTypeWideOnes) {
    Configure(wide, "ldap", {{"Host", "wide"}, {"Port", "1"}, {"SkipDomains", "corp.lan"}});
    EXPECT_EQ(LoadLocal(local, {"host=near", " SKIPDOMAINS \t= home.lan , x.lan "}), "");
    EXPECT_EQ(local.GetVal<std::string>("Host"), "near");
    EXPECT_EQ(local.GetVal<int>("Port"), 1) << "not set locally";
    EXPECT_EQ(&local.GetVal<int>("Port"), &wide.port);
    EXPECT_TRUE(IsSkipped(local, "X.lan"));
    EXPECT_FALSE(IsSkipped(local, "corp.lan")) << "a local list replaces the other";
    EXPECT_EQ(wide.host, "wide");
    EXPECT_TRUE(IsSkipped(wide, "corp.lan"));
    EXPECT_EQ(local.post_inits, 1) << "the derived PostInit";
}

TEST_F(SharedConf, LocalOnErrorCountsOnlyIfItIsSet) {
    Configure(wide, "ldap", {{"OnError", "ignore"}});
    EXPECT_EQ(LoadLocal(local, {}), "");
    EXPECT_EQ(local.post_inits, 1) << "also without settings";
    EXPECT_FALSE(local.GetOnError());
    EXPECT_EQ(LoadLocal(local, {" OnError = exception "}), "");
    EXPECT_TRUE(local.GetOnError());
    EXPECT_FALSE(wide.GetOnError());

    Configure(wide, "ldap", {{"OnError", "exception"}});
    EXPECT_EQ(LoadLocal(local, {"Port=1"}), "");
    EXPECT_TRUE(local.GetOnError()) << "the type-wide value";
    EXPECT_EQ(LoadLocal(local, {"OnError=ignore"}), "");
    EXPECT_FALSE(local.GetOnError());
}

TEST_F(SharedConf, ValueMayHoldAnEqualsSign) {
    EXPECT_EQ(LoadLocal(local, {"Host = a=b = c"}), "");
    EXPECT_EQ(local.host, "a=b = c");
    EXPECT_EQ(LoadLocal(local, {"Host=="}), "");
    EXPECT_EQ(local.host, "=");
    EXPECT_EQ(LoadLocal(local, {"Host="}), "");
    EXPECT_EQ(local.host, "");
    EXPECT_EQ(&local.GetVal<std::string>("Host"), &local.host) << "set, to the empty text";
}

TEST_F(SharedConf, TrimsByTheGlobalLocale) {
    const GlobalLocale locale(TestBytes::Latin1().GetLocale());
    EXPECT_EQ(LoadLocal(local, {"\xa0Host\xa0=\xa0x\xa0y\xa0"}), "");
    EXPECT_EQ(local.host, "x\xa0y");
}

TEST_F(SharedConf, InvalidSettingsAreErrors) {
    struct Case {
        const char* setting;
        std::string error;
        int level;
        std::string logged;
    };
    const Case cases[] = {
        {"SkipDomains", "error in ldap params: can`t find '=' in SkipDomains", 0, ""},
        {"", "error in ldap params: can`t find '=' in ", 0, ""},
        {"x=1", "error during parse ldapsetting: 'x=1'", ERROR, "unknown variable name x"},
        {" x y = 1 ", "error during parse ldapsetting: ' x y = 1 '", ERROR,
         "unknown variable name x y"},
        {"ldap/Port=1", "error during parse ldapsetting: 'ldap/Port=1'", ERROR,
         "unknown variable name ldap/Port"},
        {"=1", "error during parse ldapsetting: '=1'", ERROR, "unknown variable name "},
        {"Secret=1", "error during parse ldapsetting: 'Secret=1'", ERROR,
         "unknown variable name Secret"},
        {"Port=one", "error during parse ldapsetting: 'Port=one'", WARN,
         "Wrong value [one] in integer variable Port"},
        {"SkipDomains=\"a", "error during parse ldapsetting: 'SkipDomains=\"a'", WARN,
         "error on variable SkipDomains: can't find final '\"' symbol"},
        {"OnError=maybe", "Wrong OnError setting [maybe]: wait 'ignore' or 'exception'", 0, ""},
    };
    LogClass log("mine");
    local.SetLog(log);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.setting);
        RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
        EXPECT_EQ(LoadLocal(local, {c.setting}), c.error);
        if (c.level == 0)
            EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
        else
            EXPECT_THAT(RecordingLog::GetLines(),
                        ElementsAre(RecordingLog::Line{c.level, "mine", c.logged}));
    }
}

/// A configuration with a parameter whose name is not ASCII.
class FeeConf : public TestConf {
public:
    using TestConf::TestConf;
    std::vector<params_t> GetParams() const override { return {Param<int>("Geb\xdchr", fee)}; }
    int fee = 0;
};

TEST_F(SharedConf, ParserAndTableMayDisagreeOnLetterCase) {
    const GlobalLocale locale(TestBytes::Latin1().GetLocale());
    FeeConf conf("ldap", &wide);
    EXPECT_EQ(LoadLocal(conf, {"GEB\xdcHR=1"}), "");
    EXPECT_EQ(LoadLocal(conf, {" geb\xfchr = 2"}),
              "error in ldap param parse (2) : ' geb\xfchr = 2'")
        << "the parser folds by the global locale, the table does not";
    EXPECT_EQ(conf.fee, 2);
    EXPECT_EQ(conf.post_inits, 1);
}

TEST_F(SharedConf, FailingSettingLeavesTheEarlierOnesApplied) {
    EXPECT_NE(LoadLocal(local, {"Host=a", "Port=7", "Port=x", "Host=b", "OnError=exception"}), "");
    EXPECT_EQ(local.host, "a");
    EXPECT_EQ(local.port, 7);
    EXPECT_EQ(local.post_inits, 0);
    EXPECT_EQ(&local.GetVal<int>("Port"), &local.port);
    EXPECT_FALSE(local.GetOnError());
}

TEST_F(SharedConf, ALoadForgetsEarlierLocalSettings) {
    Configure(wide, "ldap", {{"Port", "1"}});
    EXPECT_EQ(LoadLocal(local, {"Port=7"}), "");
    EXPECT_EQ(LoadLocal(local, {"Host=a"}), "");
    EXPECT_EQ(local.GetVal<int>("Port"), 1);
}

TEST_F(SharedConf, ListOfSkippedDomainsTakesFilesAndLiteralsOnly) {
    const TempDir dir;
    const std::string file = dir.Write("ours", "corp.lan\n");
    LogClass log("mine");
    local.SetLog(log);
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    EXPECT_EQ(LoadLocal(local, {"SkipDomains=file:" + file + ", ldap:x, value:home.lan"}), "");
    EXPECT_TRUE(IsSkipped(local, "corp.lan"));
    EXPECT_TRUE(IsSkipped(local, "home.lan"));
    EXPECT_THAT(RecordingLog::GetLines(),
                ElementsAre(RecordingLog::Line{
                    ERROR, "mine", "Error in init lookup [ldap:x]: can`t use this lookup here"}));
    EXPECT_THROW(KwObjectHolder::AfterReload(log), std::domain_error);
}

// The chain.

TEST_F(SharedConf, TheChainIsSearchedForTheConfigurationThatSetsAParameter) {
    TestConf middle("ldap", &wide);
    TestConf lowest("ldap", &middle);
    Configure(wide, "ldap",
              {{"Host", "wide"}, {"Port", "1"}, {"Secret", "s"}, {"OnError", "exception"}});
    EXPECT_EQ(LoadLocal(middle, {"Host=middle", "OnError=ignore"}), "");
    EXPECT_EQ(LoadLocal(lowest, {"Port=3"}), "");
    EXPECT_EQ(lowest.GetVal<int>("Port"), 3);
    EXPECT_EQ(lowest.GetVal<std::string>("Host"), "middle");
    EXPECT_EQ(lowest.GetVal<std::string>("Secret"), "s");
    EXPECT_EQ(middle.GetVal<int>("Port"), 1);
    EXPECT_FALSE(lowest.GetOnError());
    EXPECT_TRUE(wide.GetOnError());
    EXPECT_EQ(LoadLocal(middle, {}), "");
    EXPECT_TRUE(lowest.GetOnError());
}

TEST_F(SharedConf, UnknownNameIsReportedByTheTypeWideConfiguration) {
    Configure(wide, "ldap", {});
    LoadLocal(local, {});
    for (const KwLookupSharedConf* conf : {&wide, &local})
        for (const char* name : {"nosuch", "Hosts", "ldap/Host"})
            EXPECT_EQ(Thrown([&] { conf->GetVal<int>(name); }),
                      std::string("can not find : '") + name + "' option");
}

TEST_F(SharedConf, HasNoParametersBeforeItIsRegistered) {
    EXPECT_EQ(Thrown([&] { wide.GetVal<int>("Port"); }), "can not find : 'Port' option");
    EXPECT_FALSE(wide.GetOnError());
}

/// A configuration with a parameter that its type-wide one lacks.
class OwnConf : public TestConf {
public:
    using TestConf::TestConf;
    std::vector<params_t> GetParams() const override { return {Param<int>("Own", own)}; }
    int own = 5;
};

TEST_F(SharedConf, ParameterOfTheLocalTableOnlyIsFoundOnlyIfSet) {
    Configure(wide, "ldap", {{"Host", "wide"}});
    OwnConf own("ldap", &wide);
    EXPECT_EQ(LoadLocal(own, {}), "");
    EXPECT_EQ(Thrown([&] { own.GetVal<int>("Own"); }), "can not find : 'Own' option");
    EXPECT_EQ(own.GetVal<std::string>("Host"), "wide") << "absent here, so asked above";
    EXPECT_EQ(LoadLocal(own, {"own=6"}), "");
    EXPECT_EQ(own.GetVal<int>("OWN"), 6);
}

/// A configuration with two rows for one parameter.
class TwinConf : public TestConf {
public:
    using TestConf::TestConf;
    std::vector<params_t> GetParams() const override {
        return {Param<int>("Twin", one), Param<int>("twin", two)};
    }
    int one = 0;
    int two = 0;
};

TEST_F(SharedConf, RowsWithEqualNamesAreOneParameter) {
    TwinConf twins("twins");
    const auto parser = boost::make_shared<RecordingParser>();
    twins.MakePreInit(parser);
    EXPECT_EQ(parser->rows.size(), 4U);
    const int* const found = &twins.GetVal<int>("TWIN");
    EXPECT_TRUE(found == &twins.one || found == &twins.two);

    TwinConf local_twins("twins", &twins);
    EXPECT_EQ(LoadLocal(local_twins, {"TWIN=5"}), "");
    EXPECT_EQ(local_twins.one + local_twins.two, 5) << "one of them was set";
    const int* const local_found = &local_twins.GetVal<int>("Twin");
    EXPECT_TRUE(local_found == &local_twins.one || local_found == &local_twins.two);
}

/// A configuration that overrides PostInit().
class StrictConf : public TestConf {
public:
    using TestConf::TestConf;
    void PostInit() override {
        TestConf::PostInit();
        if (port == 0)
            throw std::invalid_argument("no port");
    }
};

TEST_F(SharedConf, DerivedPostInitMayReject) {
    StrictConf strict("ldap", &wide);
    EXPECT_EQ(LoadLocal(strict, {"Port=0"}), "no port");
    EXPECT_EQ(LoadLocal(strict, {"Port=2"}), "");
}

TEST_F(SharedConf, TakesSettingsOfAnyBytes) {
    using namespace std::string_literals;
    const std::string big(1 << 20, '=');
    EXPECT_EQ(LoadLocal(local, {"Host=" + big}), "");
    EXPECT_EQ(local.host, big);
    EXPECT_EQ(LoadLocal(local, {"Host=\xff\0\x80"s}), "");
    EXPECT_EQ(local.host, "\xff\0\x80"s);
    EXPECT_EQ(LoadLocal(local, {"Host\0=1"s}),
              "error during parse ldapsetting: 'Host\0=1'"s.c_str());
}

} // namespace
