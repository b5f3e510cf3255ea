// SPDX-License-Identifier: MIT
#include "support/DatabaseSupport.h"

#include "lookup/KwLookupFinder.h"
#include "support/RunProgram.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

namespace {

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto LEVEL_ERROR = log4cxx::Level::LEVEL_ERROR;
constexpr auto LEVEL_DEBUG = log4cxx::Level::LEVEL_DEBUG;

const std::string STATEMENT = "select result from access where address = '$s'";

/// A connection of another process, which runs statements in the background.
class OtherProcess {
public:
    explicit OtherProcess(const std::string& database) : m_tool({SQLITE_TOOL, "-bail", database}) {}

    void Start(const std::string& statements) { m_tool.Write(statements + "\n"); }

    /// Wait until all statements are done.
    void Finish() {
        m_tool.Write(".system echo done\n");
        ASSERT_EQ(m_tool.ReadLine(), "done");
    }

private:
    RunningProgram m_tool;
};

class SqlitePluginTest : public DatabaseTest {
protected:
    SqlitePluginTest() {
        RunSql(m_name, "create table access (address text, result text, more text);\n"
                       "insert into access values ('jdoe@corp.lan', 'OK', 'more');\n");
    }

    static std::string Item(const std::string& database, const std::string& rest = STATEMENT) {
        return "\"sqlite:OnError=exception|Database=" + database + "|" + rest + "\"";
    }
    std::string Item() const { return Item(m_name); }

    const std::string m_name = m_dir.Path("access.db");
};

TEST_F(SqlitePluginTest, Answers) {
    RunSql(m_name, R"(
        insert into access values ('JDoe@Corp.lan', 'mixed', null);
        insert into access values ('rows', 'a', '1'), ('rows', '', 'x y'), ('rows', null, null),
                                  ('rows', 'b', '');
        insert into access values ('null', null, null), ('empty', '', '');
        insert into access values ('corp.lan', 'domain', ''), ('jdoe', 'user', ''), ('$', 'dollar', '');
        insert into access values ('<jdoe@corp.lan>', 'brackets', ''), (' jdoe ', 'blanks', '');
        insert into access values ('jdoe at corp.lan', 'parts', '');
        create table "select" ("from" integer, "where" blob);
        insert into "select" values (7, x'00ff00'), (8, 2.5);
        create table folded (address text collate nocase, result);
        insert into folded values ('jdoe@corp.lan', 'folded');
        create view "view" as select address, upper(result) as result from access;
    )");
    struct Case {
        std::string statement;
        std::string text;
        int flags;
        Answer answer;
    };
    const std::string where = " from access where address = '$s'";
    const Case cases[] = {
        {STATEMENT, "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {STATEMENT, "JDOE@corp.lan", 0, Miss()},
        {STATEMENT, "JDoe@Corp.lan", 0, {true, " mixed", "JDoe@Corp.lan"}},
        {STATEMENT, "jdoe@corp.la", 0, Miss()},
        {STATEMENT, "jdoe@corp.lan", FIND_EXACT | FIND_NOCASE, {true, " OK", "jdoe@corp.lan"}},
        {"SELECT result FROM access WHERE address = '$s'", "jdoe", 0, {true, " user", "jdoe"}},
        {"sElEcT Result fRoM Access wHeRe Address='$s'", "jdoe", 0, {true, " user", "jdoe"}},
        {"select result from main.access where address = '$s'", "jdoe", 0, {true, " user", "jdoe"}},
        {"select * from view where address = '$s'", "jdoe", 0, {true, " jdoe USER", "jdoe"}},
        {"select from, where from select where from = '$s'", "7", 0, {true, " 7 \0\xff\0"s, "7"}},
        {"select where from select where from = '$s'", "8", 0, {true, " 2.5", "8"}},
        {"select result from folded where address = '$s'",
         "JDoe@Corp.Lan",
         0,
         {true, " folded", "JDoe@Corp.Lan"}},
        // Columns and rows, and empty ones.
        {"select result, more" + where, "jdoe@corp.lan", 0, {true, " OK more", "jdoe@corp.lan"}},
        {"select more,result,more" + where,
         "jdoe@corp.lan",
         0,
         {true, " more OK more", "jdoe@corp.lan"}},
        {"select *" + where, "jdoe@corp.lan", 0, {true, " jdoe@corp.lan OK more", "jdoe@corp.lan"}},
        {STATEMENT, "rows", 0, {true, " a b", "rows"}},
        {"select result, more" + where, "rows", 0, {true, " a 1 x y b", "rows"}},
        {STATEMENT, "null", 0, {true, "", "null"}},
        {"select result, more" + where, "empty", 0, {true, "", "empty"}},
        // Brackets, domains, parts of addresses.
        {STATEMENT, "<jdoe@corp.lan>", 0, {true, " brackets", "<jdoe@corp.lan>"}},
        {STATEMENT, "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", "jdoe@corp.lan"}},
        {STATEMENT, "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {"select result from access where address = '$d'",
         "x@corp.lan",
         0,
         {true, " domain", "corp.lan"}},
        {"select result from access where address = '$d'",
         "<x@corp.lan>",
         FIND_STRIP_BRACKETS,
         {true, " domain", "corp.lan"}},
        {"select result from access where address = '$d'",
         "corp.lan",
         FIND_DOMAIN,
         {true, " domain", "corp.lan"}},
        {"select result from access where address = '$u'", "jdoe@x", 0, {true, " user", "jdoe"}},
        {"select result from access where address = '$u at $d'",
         "jdoe@corp.lan",
         0,
         {true, " parts", "jdoe at corp.lan"}},
        {"select result from access where address = ' $u '",
         "jdoe@x",
         0,
         {true, " blanks", " jdoe "}},
        {"select result from access where address = '$$'", "any", 0, {true, " dollar", "$"}},
        {"select result from access where address = 'jdoe'", "any", 0, {true, " user", "jdoe"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.statement + " on " + test.text);
        ExpectAnswer(Item(m_name, test.statement), test.text, test.flags, test.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(SqlitePluginTest, TheDescriptionIsTheStatement) {
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(holder.GetObjects()[0].GetDescription(), STATEMENT);
    RecordingLog::Reset();
    EXPECT_TRUE(Ask(holder, "jdoe@corp.lan").found);
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                Contains("KwLookupHolder::Find: found jdoe@corp.lan matched with jdoe@corp.lan "
                         "(from " +
                         STATEMENT + ")"));
}

TEST_F(SqlitePluginTest, ABadItemFailsWhenItIsLoaded) {
    struct Case {
        std::string rest;
        std::string reason;
    };
    const Case cases[] = {
        {STATEMENT, "Database is not set"},
        {"Database=/x|$s", "cannot read the statement '$s': wait select COLUMN[, ...] from TABLE "
                           "where COLUMN = 'TEMPLATE'"},
        {"Database=/x|select 1 from t where c = '$s'", "'1' in the statement is not a name"},
        {"Database=/x|select a from t where c = '$x'", "unrecognize expansion in '$x'"},
        {"Database=/x|MaxRows=0|" + STATEMENT, "MaxRows must be at least 1"},
        {"Database=/x|MaxRows=-1|" + STATEMENT, "MaxRows must be at least 1"},
        {"Database=/x|Timeout=30000d|" + STATEMENT, "Timeout must be from 0 to 86400 seconds"},
        {"Database=/x|Timeout=25h|" + STATEMENT, "Timeout must be from 0 to 86400 seconds"},
        {"Database=/x|Timeout=49711d|" + STATEMENT, "Timeout must be from 0 to 86400 seconds"},
        {"Database=/x|SearchTime=-1|" + STATEMENT, "SearchTime must be from 0 to 86400000"},
        {"Database=/x|SearchTime=86400001|" + STATEMENT, "SearchTime must be from 0 to 86400000"},
        {"Database=/x|MaxRows=0x100000001|" + STATEMENT,
         "MaxRows must be from -2147483648 to 2147483647"},
        {"Database=/x|Timeout=soon|" + STATEMENT,
         "error during parse lookup_sqlitesetting: 'Timeout=soon'"},
        {"Database=/x|LowerCase=no|" + STATEMENT,
         "error during parse lookup_sqlitesetting: 'LowerCase=no'"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOf("\"sqlite:" + test.rest + "\""),
                  "  Error in init lookup [sqlite:" + test.rest + "]: " + test.reason);
    const Case settings[] = {
        {"MaxRows = 0", "MaxRows must be at least 1"},
        {"Timeout = 2d", "Timeout must be from 0 to 86400 seconds"},
    };
    for (const Case& test : settings) {
        RecordingLog::Reset();
        Configure("[lookup_sqlite]\n" + test.rest + "\n");
        EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR), Contains(testing::EndsWith(test.reason)));
    }
}

TEST_F(SqlitePluginTest, ItemsInheritTheSettingsOfTheSection) {
    RunSql(m_name, "insert into access values ('two', 'a', ''), ('two', 'b', '');");
    Configure("[lookup_sqlite]\nDatabase = " + m_name +
              "\nMaxRows = 1\nTimeout = 1m\nOnError = exception\n");
    EXPECT_EQ(AskList("sqlite:" + STATEMENT, "jdoe@corp.lan").res, " OK");
    EXPECT_NE(SearchError("sqlite:" + STATEMENT, "two"), "");
    EXPECT_EQ(AskList("sqlite:MaxRows=2|" + STATEMENT, "two").res, " a b");
}

TEST_F(SqlitePluginTest, MoreRowsThanMaxRowsAreAnError) {
    RunSql(m_name, "insert into access select 'many', value, '' from generate_series(1, 101);"
                   "insert into access select 'hundred', 'x', '' from generate_series(1, 100);");
    const auto reason = [this](int rows) {
        return m_name + ": more rows than MaxRows, " + std::to_string(rows);
    };
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(SearchError(holder, "many"), reason(100));
    EXPECT_EQ(Ask(holder, "hundred").res.size(), 200u);
    EXPECT_EQ(SearchError(holder, "many"), reason(100));
    EXPECT_THROW(holder.Find(TextFinder("many"), nullptr, 0, nullptr), std::runtime_error);
    EXPECT_EQ(SearchError(Item(m_name, "MaxRows=3|" + STATEMENT), "hundred"), reason(3));
    EXPECT_EQ(SearchError(Item(m_name, "MaxRows=101|" + STATEMENT), "many"), "");
}

TEST_F(SqlitePluginTest, UnknownNamesAreErrors) {
    struct Case {
        std::string statement;
        std::string reason;
    };
    const Case cases[] = {
        {"select result from nowhere where address = '$s'", "no such table: nowhere"},
        {"select result from other.access where address = '$s'", "no such table: other.access"},
        {"select nothing from access where address = '$s'", "no such column: nothing"},
        {"select result, nothing from access where address = '$s'", "no such column: nothing"},
        // Not a string, which would equal itself.
        {"select result from access where nothing = 'nothing'", "no such column: nothing"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(SearchError(Item(m_name, test.statement), "a"), m_name + ": " + test.reason);
}

TEST_F(SqlitePluginTest, AFailedSearchIsLoggedOrThrown) {
    const std::string name = m_dir.Path("none");
    const std::string reason = name + ": No such file or directory";
    EXPECT_EQ(SearchError(Item(name), "a"), reason);
    KwLookupHolder holder(m_log);
    holder.Init("sqlite:Database=" + name + "|" + STATEMENT + ", a");
    RecordingLog::Reset();
    EXPECT_EQ(Ask(holder, "a"), (Answer{true, "", "a"}));
    EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR), ElementsAre("lookup_sqlite: " + reason));
    EXPECT_FALSE(std::filesystem::exists(name));
    // A file that appears is found at once.
    std::filesystem::copy_file(m_name, name);
    EXPECT_EQ(Ask(holder, "jdoe@corp.lan").res, " OK");
}

TEST_F(SqlitePluginTest, SkipsDomains) {
    const std::string skip = "SkipDomains=corp.lan|" + STATEMENT;
    EXPECT_EQ(AskList(Item(m_name, skip), "jdoe@corp.lan"), Miss());
    EXPECT_EQ(AskList(Item(m_dir.Path("none"), skip), "jdoe@corp.lan"), Miss());
    EXPECT_TRUE(AskList(Item(), "jdoe@corp.lan").found);
}

TEST_F(SqlitePluginTest, ATextWithoutThePartsOfTheTemplateIsNotSearched) {
    struct Case {
        std::string value;
        std::string text;
        int flags;
    };
    const Case cases[] = {
        {"$d", "jdoe", 0},      {"$d", "jdoe@", 0}, {"$d", "<jdoe@>", FIND_STRIP_BRACKETS},
        {"$u", "@corp.lan", 0}, {"$u", "", 0},      {"$u", "corp.lan", FIND_DOMAIN},
    };
    for (const Case& test : cases)
        EXPECT_EQ(AskList(Item(m_dir.Path("none"),
                               "select result from access where address = '" + test.value + "'"),
                          test.text, test.flags),
                  Miss());
    EXPECT_NE(SearchError(Item(m_dir.Path("none")), "jdoe"), "");
}

TEST_F(SqlitePluginTest, HostileTextsAreOrdinaryValues) {
    const std::vector<std::string> texts = HostileTexts();
    std::string statements = "begin;\n";
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string& text = texts[i];
        // The tool does not accept statements of megabytes.
        const std::string sql = text.size() < 1000
                                    ? SqlText(text)
                                    : "replace(hex(zeroblob(" + std::to_string(text.size() / 2) +
                                          ")), '0', " + SqlText(text.substr(0, 1)) + ")";
        statements += "insert into access values (" + sql + ", '" + std::to_string(i) + "', '');\n";
    }
    RunSql(m_name, statements + "commit;\n");
    const std::string before = ReadAll(m_name);
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE(texts[i].substr(0, 50));
        EXPECT_EQ(Ask(holder, texts[i]), (Answer{true, " " + std::to_string(i), texts[i]}));
        EXPECT_EQ(Ask(holder, texts[i] + "'"), Miss());
        EXPECT_EQ(Ask(holder, "'" + texts[i]), Miss());
    }
    EXPECT_EQ(ReadAll(m_name), before);
}

TEST_F(SqlitePluginTest, AnInvalidFileIsAnError) {
    const std::string pipe = m_dir.Path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    struct Case {
        std::string name;
        std::string reason;
    };
    const Case cases[] = {
        {m_dir.Path(""), "not a regular file"},
        {pipe, "not a regular file"},
        {m_name + "/x", "Not a directory"},
        {":memory:", "No such file or directory"},
        {"file:" + m_name, "No such file or directory"},
        {m_dir.Write("empty", ""), "no such table: access"},
        {m_dir.Write("text", "jdoe@corp.lan OK\n"), "file is not a database"},
        {m_dir.Write("long", std::string(10000, 'x')), "file is not a database"},
        {m_dir.Write("zeros", std::string(10000, '\0')), "file is not a database"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(SearchError(Item(test.name), "a"), test.name + ": " + test.reason);
    ASSERT_EQ(::chmod(m_name.c_str(), 0), 0);
    EXPECT_EQ(SearchError(Item(), "a"),
              ::geteuid() == 0 ? "" : m_name + ": unable to open database file");
}

// SQLite would convert bytes that are not UTF-8 to other characters, and so match other values.
TEST_F(SqlitePluginTest, ADatabaseThatIsNotInUtf8IsAnError) {
    for (const char* encoding : {"UTF-16le", "UTF-16be"}) {
        const std::string name = m_dir.Path(encoding);
        RunSql(name, "pragma encoding = '"s + encoding +
                         "'; create table access (address text, result text);"
                         "insert into access values (char(65533), 'wrong');");
        EXPECT_EQ(SearchError(Item(name), "\xff"), name + ": not in UTF-8");
    }
}

TEST_F(SqlitePluginTest, EveryTruncationIsAnErrorOrTheRightAnswer) {
    RunSql(m_name, "pragma page_size = 512; vacuum;"
                   "insert into access select 'key' || value, 'value' || value, ''"
                   "    from generate_series(1, 30);");
    const auto whole = std::filesystem::file_size(m_name);
    ASSERT_LT(whole, 10000u);
    for (auto size = whole + 1; size-- > 0;) {
        SCOPED_TRACE(std::to_string(size) + " of " + std::to_string(whole) + " bytes");
        std::filesystem::resize_file(m_name, size);
        KwLookupHolder holder(m_log);
        holder.Init(Item());
        int errors = 0;
        for (const char* number : {"1", "15", "30"}) {
            try {
                EXPECT_EQ(Ask(holder, "key"s + number).res, " value"s + number);
            } catch (const std::runtime_error&) {
                ++errors;
            }
        }
        EXPECT_EQ(errors, size == whole ? 0 : 3);
    }
}

TEST_F(SqlitePluginTest, CommitsOfOthersAreSeen) {
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_FALSE(Ask(holder, "new").found);
    OtherProcess other(m_name);
    other.Start("begin; insert into access values ('new', '1', '');");
    other.Finish();
    EXPECT_FALSE(Ask(holder, "new").found);
    other.Start("commit;");
    other.Finish();
    EXPECT_EQ(Ask(holder, "new").res, " 1");
    // A table of another shape.
    other.Start("alter table access rename column result to gone;");
    other.Finish();
    EXPECT_EQ(SearchError(holder, "new"), m_name + ": no such column: result");
    other.Start("alter table access rename column gone to result;");
    other.Finish();
    EXPECT_EQ(Ask(holder, "new").res, " 1");
}

TEST_F(SqlitePluginTest, ASearchThatTakesTooLongIsAnError) {
    // Counts for minutes.
    RunSql(m_name,
           "create view slow as select 'x' as address, count(*) as result from (with "
           "recursive n(i) as (select 1 union all select i + 1 from n where i < 1000000000) "
           "select i from n);");
    const std::string slow = "select result from slow where address = '$s'";
    struct Case {
        std::string settings;
        std::string milliseconds;
    };
    const Case cases[] = {{"SearchTime=100|", "100"},
                          {"Timeout=0|", "1000"},
                          {"Timeout=1|", "1000"},
                          {"Timeout=1|SearchTime=0|", "1000"},
                          {"Timeout=1d|SearchTime=7|", "7"},
                          {"", "2000"}};
    for (const Case& test : cases) {
        SCOPED_TRACE(test.settings);
        KwLookupHolder holder(m_log);
        holder.Init(Item(m_name, test.settings + slow));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(SearchError(holder, "x"),
                  m_name + ": search time exceeded; SearchTime is " + test.milliseconds + " ms");
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - begin;
        EXPECT_GE(took.count(), std::stod(test.milliseconds));
        // Without a limit it would take minutes. A machine under load may be late.
        EXPECT_LT(took.count(), std::stod(test.milliseconds) + 30000);
    }
    // With OnError=ignore it is a miss. The interrupted connection answers again.
    KwLookupHolder holder(m_log);
    holder.Init("\"sqlite:SearchTime=50|Database=" + m_name + "|" + slow + "\"");
    RecordingLog::Reset();
    EXPECT_FALSE(Ask(holder, "x").found);
    EXPECT_THAT(
        RecordingLog::Texts(LEVEL_ERROR),
        ElementsAre("lookup_sqlite: " + m_name + ": search time exceeded; SearchTime is 50 ms"));
    RunSql(m_name, "drop view slow; create view slow as select 'x' as address, 'fast' as result;");
    EXPECT_EQ(Ask(holder, "x").res, " fast");
}

// The wait for a lock has a limit of its own.
TEST_F(SqlitePluginTest, AWaitForALockIsNotSearchTime) {
    RunSql(m_name, "with recursive n(i) as (select 1 union all select i + 1 from n where i < 5000) "
                   "insert into access select 'user' || i, 'r', '' from n;");
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_name, "Timeout=1m|SearchTime=300|" + STATEMENT));
    EXPECT_TRUE(Ask(holder, "jdoe@corp.lan").found);
    OtherProcess other(m_name);
    other.Start("begin exclusive; delete from access;");
    other.Finish();
    other.Start(".system sleep 0.7\nrollback;");
    EXPECT_EQ(Ask(holder, "user4999").res, " r");
    other.Finish();
}

// The defaults on the manual page hold with a configuration and without one.
TEST_F(SqlitePluginTest, HasTheDocumentedDefaults) {
    RunSql(m_name,
           "with recursive n(i) as (select 1 union all select i + 1 from n where i < 101) insert "
           "into access select iif(i > 100, 'more', 'many'), 'r', '' from n; insert into access "
           "select 'more', 'r', '' from access where address = 'many';");
    KwLookupHolder first(m_log);
    first.Init(Item());
    for (const bool with_values : {true, false}) {
        if (!with_values)
            ConfigureNothing();
        EXPECT_EQ(ErrorOf("\"sqlite:" + STATEMENT + "\""),
                  "  Error in init lookup [sqlite:" + STATEMENT + "]: Database is not set");
        EXPECT_TRUE(AskList(Item(), "many").found);
        EXPECT_EQ(SearchError(Item(), "more"), m_name + ": more rows than MaxRows, 100");
        OtherProcess other(m_name);
        other.Start("begin exclusive; delete from access;");
        other.Finish();
        other.Start(".system sleep 0.5\nrollback;");
        EXPECT_EQ(AskList(Item(), "jdoe@corp.lan").res, " OK");
        other.Finish();
    }
}

TEST_F(SqlitePluginTest, ALockHeldTooLongIsAnError) {
    KwLookupHolder at_once(m_log), a_second(m_log), patient(m_log);
    at_once.Init(Item(m_name, "Timeout=0|" + STATEMENT));
    a_second.Init(Item(m_name, "Timeout=1|" + STATEMENT));
    patient.Init(Item(m_name, "Timeout=5m|" + STATEMENT));
    EXPECT_TRUE(Ask(at_once, "jdoe@corp.lan").found);

    OtherProcess other(m_name);
    other.Start("begin exclusive; delete from access;");
    other.Finish();
    for (const KwLookupHolder* holder : {&at_once, &a_second})
        EXPECT_EQ(SearchError(*holder, "jdoe@corp.lan"), m_name + ": database is locked");
    // Longer than Timeout.
    other.Start(".system sleep 1.5\nrollback;");
    EXPECT_EQ(Ask(patient, "jdoe@corp.lan").res, " OK");
    other.Finish();
    for (const KwLookupHolder* holder : {&at_once, &a_second})
        EXPECT_EQ(Ask(*holder, "jdoe@corp.lan").res, " OK");
}

TEST_F(SqlitePluginTest, ASearchLeavesNoLock) {
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_name, "MaxRows=1|" + STATEMENT));
    RunSql(m_name, "insert into access values ('two', 'a', ''), ('two', 'b', '');");
    EXPECT_TRUE(Ask(holder, "jdoe@corp.lan").found);
    EXPECT_NE(SearchError(holder, "two"), "");
    EXPECT_NO_THROW(RunSql(m_name, ".timeout 0\nbegin exclusive; delete from access; commit;"));
    EXPECT_FALSE(Ask(holder, "jdoe@corp.lan").found);
}

TEST_F(SqlitePluginTest, WritesNothing) {
    const std::string before = ReadAll(m_name);
    EXPECT_TRUE(AskList(Item(), "jdoe@corp.lan").found);
    EXPECT_NE(SearchError(Item(m_name, "select a from t where c = '$s'"), "a"), "");
    EXPECT_EQ(ReadAll(m_name), before);
    std::vector<std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(m_dir.Path("")))
        files.push_back(file.path().filename());
    EXPECT_THAT(files, testing::UnorderedElementsAre("access.db", "kwlookup.conf"));
}

TEST_F(SqlitePluginTest, WriteAheadLogsAreRead) {
    RunSql(m_name, "pragma journal_mode = wal;");
    OtherProcess other(m_name);
    other.Start("insert into access values ('new', '1', '');");
    other.Finish();
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(Ask(holder, "new").res, " 1");
    other.Start("begin exclusive; insert into access values ('newer', '2', '');");
    other.Finish();
    EXPECT_EQ(Ask(holder, "new").res, " 1");
    EXPECT_FALSE(Ask(holder, "newer").found);
    other.Start("commit;");
    other.Finish();
    EXPECT_EQ(Ask(holder, "newer").res, " 2");
}

TEST_F(SqlitePluginTest, AReplacedFileIsNoticed) {
    const auto replace = [this](const std::string& result) {
        const std::string next = m_dir.Path("next");
        RunSql(next, "create table access (address, result);"
                     "insert into access values ('a', '" +
                         result + "');");
        Rename(next, m_name);
    };
    replace("old");
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(Ask(holder, "a").res, " old");
    replace("new");
    EXPECT_TRUE(Eventually([&] { return Ask(holder, "a").res == " new"; }));

    Rename(m_name, m_name + ".away");
    EXPECT_TRUE(Eventually([&] { return SearchError(holder, "a") != ""; }));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(SearchError(holder, "a"), m_name + ": No such file or directory");
    Rename(m_name + ".away", m_name);
    EXPECT_EQ(Ask(holder, "a").res, " new");
}

TEST_F(SqlitePluginTest, LeavesNoFileOpen) {
    const std::string bad = m_dir.Write("bad", std::string(5000, 'x'));
    EXPECT_TRUE(AskList(Item(), "jdoe@corp.lan").found);
    const auto before = OpenFiles();
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(AskList(Item(), "jdoe@corp.lan").found);
        EXPECT_NE(SearchError(Item(bad), "a"), "");
    }
    EXPECT_EQ(OpenFiles(), before);
}

} // namespace
