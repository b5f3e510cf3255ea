// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"
#include "host/IfConfLoader.h"
#include "host/InterfaceConfHolder.h"
#include "lookup/KwFactory.h"
#include "lookup/KwLookupHolder.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;
using Settings = std::vector<std::pair<std::string, std::string>>;

const bool g_type = KwFactory<KwIfLookup>::Instance().Register("configured", nullptr);

/// A host's loader of one section, which consists of the given settings.
class SettingsLoader : public IfConfLoader {
public:
    std::string GetDescription() const override { return "settings"; }
    bool LoadSection(int, const std::string& section, int, const std::string&, int,
                     InterfaceConfHolder* holder, const LogClass& log) override {
        const auto parser = boost::make_shared<ConfParser>(log);
        bool good = holder->MakePreInit(parser);
        for (const auto& setting : settings)
            good = parser->SetNewVal(section + "/" + setting.first, setting.second) && good;
        holder->PostInit();
        return good;
    }
    void ReleaseLoader() override {}
    void PrepareLoad() override {}
    bool AcquireLoader() override { return false; }

    Settings settings;
};

/// The value of every parameter when nothing is configured.
const Settings NOTHING = {{"Host", ""}, {"Port", ""}, {"OnError", ""}, {"SkipDomains", ""}};

class ConfiguredPlugin : public ::testing::Test {
protected:
    ConfiguredPlugin() {
        RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
        KwObjectHolder::SetConfLoader(loader);
        holder.Init("configured:first use");
        Reload({});
    }

    /// Reloads the configuration with these settings and the defaults of the others.
    void Reload(const Settings& settings) {
        loader->settings = NOTHING;
        loader->settings.insert(loader->settings.end(), settings.begin(), settings.end());
        KwObjectHolder::BeforeReload(log);
    }

    /// Returns the results of a search, each after a blank, or "miss".
    std::string Find(const std::string& text, int flags = 0) const {
        std::string res;
        return holder.Find(TextFinder(text), &res, flags, nullptr) ? res : "miss";
    }

    /// Returns the errors collected since the last call.
    Strings TakeErrors() {
        RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
        try {
            KwObjectHolder::AfterReload(log);
        } catch (const std::domain_error&) {
        }
        Strings errors = RecordingLog::Texts(ERROR);
        if (!errors.empty())
            errors.erase(errors.begin());
        RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
        return errors;
    }

    LogClass log{"host"};
    boost::shared_ptr<SettingsLoader> loader = boost::make_shared<SettingsLoader>();
    KwLookupHolder holder{log};
};

TEST_F(ConfiguredPlugin, IsSetUpByItsSectionAndByEachItem) {
    Reload({{"Host", "db"}, {"Port", "5432"}});
    holder.Init("configured:a $s, configured:PORT=1|b $u, configured:Host= x |port=010|c $d");
    EXPECT_EQ(Find("jdoe@corp.lan"), " db:5432 a jdoe@corp.lan db:1 b jdoe x:8 c corp.lan");
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(ConfiguredPlugin, ExistingObjectsSeeTheReload) {
    holder.Init("configured:a, configured:Host=near|b");
    EXPECT_EQ(Find("x"), " :389 a near:389 b");
    Reload({{"Host", "new"}, {"Port", "7"}});
    EXPECT_EQ(Find("x"), " new:7 a near:7 b");
}

TEST_F(ConfiguredPlugin, HonoursOnError) {
    holder.Init("configured:fail, configured:OnError=Exception|fail, b");
    EXPECT_THROW(Find("x"), std::runtime_error);
    holder.Init("configured:fail");
    EXPECT_EQ(Find("x"), "miss");
    Reload({{"OnError", "exception"}});
    EXPECT_THROW(Find("x"), std::runtime_error);
    holder.Init("configured:OnError=ignore|fail");
    EXPECT_EQ(Find("x"), "miss");
}

TEST_F(ConfiguredPlugin, HonoursSkipDomains) {
    const TempDir dir;
    const std::string ours = dir.Write("ours", "home.lan\n");
    Reload({{"SkipDomains", "value:corp.lan, file:" + ours}});
    holder.Init("configured:$d");
    EXPECT_EQ(Find("a@Corp.lan"), "miss");
    EXPECT_EQ(Find("<a@home.lan>"), "miss");
    EXPECT_EQ(Find("a@x.corp.lan"), " :389 x.corp.lan");
    EXPECT_EQ(Find("corp.lan", FIND_DOMAIN), "miss");

    RecordingLog::Reset();
    Find("a@corp.lan");
    EXPECT_EQ(RecordingLog::Texts(DEBUG).back(),
              "Skipping lookup of a@corp.lan due to SkipDomains");

    holder.Init(R"(configured:SkipDomains=x.lan\, y.lan|$d)");
    EXPECT_EQ(Find("a@y.lan"), "miss");
    EXPECT_EQ(Find("a@corp.lan"), " :389 corp.lan");
}

TEST_F(ConfiguredPlugin, ListInItsSectionMayHaveErrors) {
    Reload({{"SkipDomains", "corp.lan, configured:x, file:/nonexistent/file"}});
    holder.Init("configured:$d");
    EXPECT_EQ(Find("a@corp.lan"), "miss");
    EXPECT_THAT(TakeErrors(),
                ElementsAre("  Error in init lookup [configured:x]: can`t use this lookup here",
                            "  Error in init lookup [file:/nonexistent/file]: Can not load file "
                            "'/nonexistent/file': No such file or directory"));
}

TEST_F(ConfiguredPlugin, BadSectionIsReportedAndKeepsTheOldConfiguration) {
    holder.Init("configured:a");
    Reload({{"Host", "db"}});
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    Reload({{"OnError", "never"}});
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("Error in configuration reload for configured: Wrong OnError setting "
                            "[never]: wait 'ignore' or 'exception'"));
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    Reload({{"Port", "x"}});
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("Error in configuration reload for configured: error in reading "
                            "configuration for configured"));
    holder.Init("configured:a");
    EXPECT_TRUE(holder.Empty()) << "the type is not configured";
    TakeErrors();
    Reload({});
    holder.Init("configured:a");
    EXPECT_EQ(Find("x"), " :389 a");
}

TEST_F(ConfiguredPlugin, BadItemIsReportedAndTheOthersStay) {
    struct Case {
        const char* item;
        const char* reason;
    };
    const Case cases[] = {
        {"configured:", "wrong empty data"},
        {"configured:Port=1| ", "wrong empty request"},
        {"configured:Port|x", "error in lookup_configured params: can`t find '=' in Port"},
        {"configured:x=1|x", "error during parse lookup_configuredsetting: 'x=1'"},
        {"configured:Secret=1|x", "error during parse lookup_configuredsetting: 'Secret=1'"},
        {"configured:OnError=x|x", "Wrong OnError setting [x]: wait 'ignore' or 'exception'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.item);
        holder.Init(std::string("configured:a, \"") + c.item + "\", configured:b");
        EXPECT_EQ(Find("x"), " :389 a :389 b");
        EXPECT_THAT(TakeErrors(), ElementsAre(std::string("  Error in init lookup [") + c.item +
                                              "]: " + c.reason));
    }
}

// How to quote a template in an object list. The list is split at commas, then the item at bars.
// Each time, one level of quotes and backslashes is removed.
struct Quoting {
    const char* list;
    const char* arrives;

    friend void PrintTo(const Quoting& quoting, std::ostream* out) { *out << quoting.list; }
};

class Quotings : public ConfiguredPlugin, public ::testing::WithParamInterface<Quoting> {};

TEST_P(Quotings, ArriveAsTheTemplate) {
    holder.Init(GetParam().list);
    ASSERT_EQ(holder.GetObjects().size(), 1U) << "not one item";
    EXPECT_EQ(holder.GetObjects()[0].GetDescription(), GetParam().arrives);
}

constexpr Quoting QUOTINGS[] = {
    // A comma: quotes around the item or the template, or one backslash.
    {R"("configured:uid=$u,dc=$d")", "uid=$u,dc=$d"},
    {R"(configured:"uid=$u,dc=$d")", "uid=$u,dc=$d"},
    {R"(configured:uid=$u\,dc=$d)", "uid=$u,dc=$d"},
    {R"(configured:Port=1|"uid=$u,dc=$d")", "uid=$u,dc=$d"},
    {R"("configured:Port=1|uid=$u,dc=$d")", "uid=$u,dc=$d"},
    // A bar: quotes around the template (those around the item are removed too early), or a
    // backslash.
    {R"(configured:"^a|b$")", "^a|b$"},
    {R"(configured:^a\|b$)", "^a|b$"},
    {R"(configured:Port=1|"^a|b$")", "^a|b$"},
    // Both.
    {R"(configured:"^a|b,c$")", "^a|b,c$"},
    {R"(configured:^a\|b\,c$)", "^a|b,c$"},
    // A pair of quotes inside stays. A single quote needs a backslash for each splitting.
    {R"(configured:(cn="J. Doe"))", R"((cn="J. Doe"))"},
    {R"(configured:say \\\"hi)", R"(say "hi)"},
    {R"(configured:5\\\")", R"(5")"},
    // Quotes around a whole template are removed, escaped or not. Another pair keeps them.
    {R"("configured:\"x\"")", "x"},
    {R"(configured:\\\"x\\\")", "x"},
    {R"(configured:"\\\"x\\\"")", R"("x")"},
    // A backslash before an ordinary character stays. Double ones are halved twice.
    {R"(configured:^\d+\.lan$)", R"(^\d+\.lan$)"},
    {R"(configured:a\\b)", R"(a\b)"},
    {R"(configured:a\\\\b)", R"(a\b)"},
    {R"(configured:a\\\\\\\\b)", R"(a\\b)"},
    {R"(configured:a\\\\)", R"(a\)"},
    // A backslash before a bar, as in a pattern.
    {R"(configured:a\\\\\|b)", R"(a\|b)"},
    {R"(configured:"a\\\\|b")", R"(a\|b)"},
    // Blanks at the ends are removed, blanks inside stay.
    {R"(  configured:  a  b  )", "a  b"},
};
INSTANTIATE_TEST_SUITE_P(Lists, Quotings, ::testing::ValuesIn(QUOTINGS));

/// Escapes `text` so that splitting at `separator` gives it back unchanged.
std::string Escape(const std::string& text, char separator) {
    std::string escaped;
    for (char c : text) {
        if (c == '\\' || c == '"' || c == separator)
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

TEST_F(ConfiguredPlugin, EveryTemplateArrivesIfEscapedForBothSplittings) {
    std::mt19937 random(20240817);
    const std::string bytes = "\\\\\"\"||,,ab$= \t\n\xe9\xff";
    for (int round = 0; round < 2000; ++round) {
        std::string text = "[";
        for (auto left = random() % 12; left > 0; --left)
            text += bytes[random() % bytes.size()];
        text += "]";
        const std::string list = "configured:Host=h|" + Escape(text, '|');
        holder.Init("a," + Escape(list, ',') + ",b");
        ASSERT_EQ(holder.GetObjects().size(), 3U) << text;
        ASSERT_EQ(holder.GetObjects()[1].GetDescription(), text);
    }
}

TEST_F(ConfiguredPlugin, SettingWithABarAndAListAndAnEqualsSignArrives) {
    holder.Init(R"(configured:"Host=a|b=c,d"|"SkipDomains=x.lan,y.lan"|$s)");
    EXPECT_THAT(TakeErrors(), IsEmpty());
    EXPECT_EQ(Find("a@y.lan"), "miss");
    EXPECT_EQ(Find("a@b"), " a|b=c,d:389 a@b");

    // Quotes around the value alone belong to the value: one domain with a comma in it.
    holder.Init(R"(configured:SkipDomains="x.lan,y.lan"|$s)");
    EXPECT_EQ(Find("a@x.lan,y.lan"), "miss");
    EXPECT_EQ(Find("a@y.lan"), " :389 a@y.lan");
}

TEST_F(ConfiguredPlugin, HostileAddressAddsNoCode) {
    holder.Init("configured:<$s>");
    EXPECT_EQ(Find("$s$u$d$$"), " :389 <$s$u$d$$>");
    EXPECT_EQ(Find("$x@$"), " :389 <$x@$>");
    holder.Init("configured:$u$d");
    EXPECT_EQ(Find("$@s"), " :389 $s");
}

TEST_F(ConfiguredPlugin, BadTemplateThrowsOnASearch) {
    holder.Init("configured:$x");
    try {
        Find("a");
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "unrecognize expansion in '$x'");
    }
}

} // namespace
