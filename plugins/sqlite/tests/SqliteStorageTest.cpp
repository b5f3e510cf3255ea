// SPDX-License-Identifier: MIT
#include "support/DatabaseSupport.h"
#include "support/RunProgram.h"
#include "support/StorageSupport.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string INSERT = "insert into seen values (:address<varchar>, :count<int>)";

KwStorageValuesMap Seen(const std::string& address, const std::string& count = "1") {
    return Record({{"address", address}, {"count", count}});
}

class SqliteStorageTest : public DatabaseTest {
protected:
    SqliteStorageTest() { RunSql(m_name, "create table seen (address text, count integer);"); }

    std::string Item(const std::string& rest = INSERT) const { return ItemFor(m_name, rest); }

    static std::string ItemFor(const std::string& database, const std::string& rest = INSERT) {
        return "\"sqlite:OnError=exception|Database=" + database + "|" + rest + "\"";
    }

    /// What SQLite's tool prints for `query`.
    std::string Sql(const std::string& query) const {
        return RunProgram({SQLITE_TOOL, "-bail", m_name, query}).out;
    }

    std::string ErrorOfItem(const std::string& item, const KwStorageValuesMap& record) {
        KwStorageHolder holder(m_log);
        holder.Init(item);
        EXPECT_EQ(holder.GetObjects().size(), 1U);
        return StoreError(holder, record);
    }

    const std::string m_name = m_dir.Path("seen.db");
};

TEST_F(SqliteStorageTest, StoresEveryKindOfValueInEveryTypeOfColumn) {
    const std::string now = "2026-11-22 06:07:08";
    struct Case {
        std::string column;
        std::string type;
        std::string value;
        std::string stored; ///< its type and, as an expression, its value
    };
    const Case cases[] = {
        {"integer", "int", "-42", "integer -42"},
        {"text", "int", "42", "text '42'"},
        {"real", "int", "42", "real 42.0"},
        {"blob", "int", "42", "integer 42"},
        {"numeric", "int", "9223372036854775807", "integer 9223372036854775807"},
        {"timestamp", "int", "42", "integer 42"},
        {"integer", "varchar", "42", "integer 42"},
        {"integer", "varchar", "x", "text 'x'"},
        {"text", "varchar", "o'brien", "text 'o''brien'"},
        {"text", "varchar", "", "text ''"},
        {"real", "varchar", "2.5", "real 2.5"},
        {"blob", "varchar", "x", "text 'x'"},
        {"numeric", "varchar", "1e2", "integer 100"},
        {"timestamp", "varchar", "x", "text 'x'"},
        {"integer", "timestamp", "2026-11-22T06:07:08Z", "text '" + now + "'"},
        {"text", "timestamp", "2026-11-22T07:07:08+01:00", "text '" + now + "'"},
        {"real", "timestamp", now, "text '" + now + "'"},
        {"blob", "timestamp", now, "text '" + now + "'"},
        {"timestamp", "timestamp", now + ".25", "text '" + now + ".25'"},
    };
    std::string tables = "create table one (c timestamp);";
    std::string query;
    std::string stored;
    for (const Case& test : cases) {
        const std::string table = "t" + std::to_string(&test - cases);
        tables += "create table " + table + " (c " + test.column + ");";
        query += "select typeof(c) || ' ' || quote(c) from " + table + ";";
        stored += test.stored + "\n";
    }
    Sql("begin;" + tables + "commit;");
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOfItem(Item("insert into t" + std::to_string(&test - cases) +
                                   " values (:v<" + test.type + ">)"),
                              Record({{"v", test.value}})),
                  "");
    EXPECT_EQ(Sql(query), stored);
    EXPECT_EQ(ErrorOfItem(Item("insert into one values (:v<timestamp>)"), Record({{"v", "now"}})),
              "");
    EXPECT_EQ(Sql("select count(*) from one where c between datetime('now', '-1 minutes') and "
                  "datetime('now')"),
              "1\n");
}

TEST_F(SqliteStorageTest, StoresHostileAndLongTextsAsTheyAre) {
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    const std::vector<std::string> texts = HostileTexts();
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(StoreError(holder, Seen(texts[i], std::to_string(i))), "");
    KwLookupHolder lookup(m_log);
    lookup.Init(Item("select count from seen where address = '$s'"));
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(Ask(lookup, texts[i]).res, " " + std::to_string(i));
    EXPECT_EQ(Sql("select count(*) from seen"), std::to_string(texts.size()) + "\n");
}

TEST_F(SqliteStorageTest, AValueThatIsMissingOrOfAnotherTypeStoresNothing) {
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(StoreError(holder, Record({{"address", "a"}, {"cuont", "1"}})), "'count' is missing");
    EXPECT_EQ(StoreError(holder, Seen("a", "one")), "'count' is not an int");
    EXPECT_EQ(Sql("select count(*) from seen"), "0\n");
    // An ignored failure is logged.
    holder.Init("\"sqlite:Database=" + m_name + "|" + INSERT + "\"");
    RecordingLog::Reset();
    EXPECT_EQ(StoreError(holder, Seen("a", "one")), "");
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR),
                ElementsAre("lookup_sqlite: 'count' is not an int"));
    // A batch throws nevertheless.
    EXPECT_EQ(BatchError(holder, {Seen("a"), Seen("b", "x")}), "1: 'count' is not an int");
    EXPECT_EQ(Sql("select count(*) from seen"), "0\n");
}

TEST_F(SqliteStorageTest, ABatchIsStoredWholeOrNotAtAll) {
    Sql("create unique index once on seen (address)");
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(BatchError(holder, {}), "");
    EXPECT_EQ(BatchError(holder, {Seen("a"), Seen("b")}), "");
    EXPECT_EQ(BatchError(holder, {Seen("c"), Seen("d"), Seen("a"), Seen("e")}),
              "2: " + m_name + ": UNIQUE constraint failed: seen.address");
    EXPECT_EQ(BatchError(holder, {Seen("f")}), "");
    EXPECT_EQ(Sql("select group_concat(address) from seen"), "a,b,f\n");
}

TEST_F(SqliteStorageTest, AnItemEitherSearchesOrStores) {
    const std::string select = Item("select count from seen where address = '$s'");
    KwStorageHolder storage(m_log);
    storage.Init(select);
    EXPECT_TRUE(storage.Empty());
    EXPECT_THAT(TakeErrors(),
                ElementsAre(HasSubstr("cannot read the statement 'select count from seen where "
                                      "address = '$s'': wait insert into TABLE")));
    EXPECT_THAT(ErrorOf(Item()),
                HasSubstr("cannot read the statement '" + INSERT + "': wait select COLUMN"));
    for (const char* text : {"delete from seen", "insert into seen", "insert into seen values (1)"})
        for (const bool store : {false, true}) {
            KwLookupHolder lookup(m_log);
            KwObjectHolder& holder = store ? static_cast<KwObjectHolder&>(storage) : lookup;
            holder.Init(Item(text));
            EXPECT_THAT(TakeErrors(), ElementsAre(HasSubstr("cannot read the statement")));
        }
    // A host that confuses them.
    storage.Init(Item());
    KwLookupHolder lookup(m_log);
    lookup.Init(select);
    EXPECT_THROW(dynamic_cast<KwIfLookup&>(storage.GetObjects().front())
                     .Find(TextFinder("a"), nullptr, 0, nullptr),
                 std::logic_error);
    KwIfLookup& searched = const_cast<KwIfLookup&>(lookup.GetObjects().front());
    EXPECT_THROW(dynamic_cast<KwIfStorage&>(searched).Store(Seen("a")), std::runtime_error);
}

TEST_F(SqliteStorageTest, WhatCannotBeStoredIntoIsAnError) {
    const std::string none = m_dir.Path("none.db");
    const std::string text = m_dir.Write("text", std::string(5000, 'x'));
    Sql("create view looked as select * from seen");
    struct Case {
        std::string item;
        std::string reason;
    };
    const Case cases[] = {
        {ItemFor(none), none + ": No such file or directory"},
        {ItemFor(text), text + ": file is not a database"},
        {ItemFor(m_dir.Path("")), m_dir.Path("") + ": not a regular file"},
        {Item("insert into nowhere values (:address<varchar>)"),
         m_name + ": no such table: nowhere"},
        {Item("insert into seen values (:address<varchar>)"),
         m_name + ": table seen has 2 columns but 1 values were supplied"},
        {Item("insert into looked values (:address<varchar>, :count<int>)"),
         m_name + ": cannot modify looked because it is a view"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOfItem(test.item, Seen("a")), test.reason);
    EXPECT_FALSE(std::filesystem::exists(none));
    if (::geteuid() != 0) {
        ASSERT_EQ(::chmod(m_name.c_str(), 0400), 0);
        EXPECT_EQ(ErrorOfItem(Item(), Seen("a")),
                  m_name + ": attempt to write a readonly database");
    }
}

TEST_F(SqliteStorageTest, AnotherWriterIsWaitedFor) {
    KwStorageHolder patient(m_log), at_once(m_log);
    patient.Init(Item("Timeout=5m|" + INSERT));
    at_once.Init(Item("Timeout=0|" + INSERT));
    EXPECT_EQ(StoreError(at_once, Seen("first")), "");
    RunningProgram other({SQLITE_TOOL, "-bail", m_name});
    other.Write("begin immediate;\n.system echo done\n");
    ASSERT_EQ(other.ReadLine(), "done");
    EXPECT_EQ(StoreError(at_once, Seen("refused")), m_name + ": database is locked");
    other.Write("insert into seen values ('other', 2);\n.system sleep 0.5\ncommit;\n");
    EXPECT_EQ(StoreError(patient, Seen("second")), "");
    EXPECT_EQ(StoreError(at_once, Seen("third")), "");
    EXPECT_EQ(Sql("select group_concat(address) from seen"), "first,other,second,third\n");
}

TEST_F(SqliteStorageTest, AStatementThatLastsIsAnError) {
    // Counts for minutes.
    Sql("create trigger slow after insert on seen begin select count(*) from (with recursive "
        "n(i) as (select 1 union all select i + 1 from n where i < 1000000000) select i from n); "
        "end");
    EXPECT_EQ(ErrorOfItem(Item("SearchTime=50|" + INSERT), Seen("a")),
              m_name + ": search time exceeded; SearchTime is 50 ms");
    EXPECT_EQ(Sql("select count(*) from seen"), "0\n");
}

/// Limits the length of files while it exists.
class FileLimit {
public:
    explicit FileLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        m_signal = ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileLimit(const FileLimit&) = delete;
    FileLimit& operator=(const FileLimit&) = delete;
    ~FileLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        ::signal(SIGXFSZ, m_signal);
    }

private:
    rlimit m_before{};
    void (*m_signal)(int);
};

TEST_F(SqliteStorageTest, AFullDiskStoresNothing) {
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(StoreError(holder, Seen("before")), "");
    const std::vector<KwStorageValuesMap> batch(100, Seen(std::string(10000, 'x')));
    {
        const FileLimit limit(200000);
        EXPECT_THAT(BatchError(holder, batch), HasSubstr(": " + m_name + ": "));
        EXPECT_THAT(StoreError(holder, Seen(std::string(1 << 20, 'x'))),
                    testing::StartsWith(m_name + ": "));
        EXPECT_EQ(StoreError(holder, Seen("small")), "");
    }
    EXPECT_EQ(Sql("pragma integrity_check; select group_concat(address) from seen"),
              "ok\nbefore,small\n");
    EXPECT_EQ(BatchError(holder, batch), "");
    EXPECT_EQ(Sql("select count(*) from seen"), "102\n");
}

TEST_F(SqliteStorageTest, ARecordGoesIntoTheFileThatHasTheName) {
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(StoreError(holder, Seen("old")), "");
    const std::string next = m_dir.Path("next");
    RunSql(next, "create table seen (address text, count integer);");
    Rename(next, m_name);
    EXPECT_EQ(StoreError(holder, Seen("new")), "");
    EXPECT_EQ(Sql("select group_concat(address) from seen"), "new\n");
    std::filesystem::remove(m_name);
    EXPECT_EQ(StoreError(holder, Seen("lost")), m_name + ": No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(m_name));
}

TEST_F(SqliteStorageTest, AChildHasConnectionsOfItsOwn) {
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(StoreError(holder, Seen("parent")), "");
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(StoreError(holder, Seen("child")).empty() ? 0 : 1);
    int status = 1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(StoreError(holder, Seen("parent again")), "");
    EXPECT_EQ(Sql("select group_concat(address) from seen"), "parent,child,parent again\n");
}

TEST_F(SqliteStorageTest, AWriteAheadLogIsWritten) {
    Sql("pragma journal_mode = wal");
    EXPECT_EQ(ErrorOfItem(Item(), Seen("a")), "");
    EXPECT_EQ(Sql("select address from seen"), "a\n");
}

} // namespace
