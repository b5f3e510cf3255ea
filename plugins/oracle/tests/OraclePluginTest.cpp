// SPDX-License-Identifier: MIT
#include "plugins/oracle/tests/OracleService.h"
#include "servers/SqlServerTest.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

using namespace kwlookup;

INSTANTIATE_TYPED_TEST_SUITE_P(Oracle, SqlServerTest, OracleService);

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

class OraclePluginTest : public SqlServerTest<OracleService> {
protected:
    ~OraclePluginTest() override {
        Client().is_down = false;
        Client().hangs = false;
        Client().hangs_in_attach = false;
        Client().knows_no_limit = false;
    }

    static StandIn& Client() { return Get().GetStandIn(); }

    static std::string LastText() {
        const std::lock_guard<std::mutex> lock(Client().lock);
        return Client().last_text;
    }

    static std::string LastAddress() {
        const std::lock_guard<std::mutex> lock(Client().lock);
        return Client().last_address;
    }

    /// Waits until all connections are closed. Their threads do that.
    static void WaitForNoHandles() {
        for (int i = 0; i < 6000 && Client().handles > 0; ++i)
            std::this_thread::sleep_for(Milliseconds(10));
        EXPECT_EQ(Client().handles, 0);
    }

    static std::string Slow() { return "select result from slow where address = '$s'"; }

    static void MakeSlowTable() {
        Sql("create table if not exists slow (address varchar2(100), result varchar2(9));\n"
            "delete from slow;\n"
            "insert into slow values ('jdoe@corp.lan', 'OK');\n" +
            GrantOf("select", "slow"));
    }
};

TEST_F(OraclePluginTest, WritesStatementsInOraclesDialect) {
    Sql("create table dialect (\"SELECT\" varchar2(9), \"Mixed\" varchar2(9));\n" +
        GrantOf("select", "dialect"));
    const std::pair<std::string, std::string> cases[] = {
        {"select select, Mixed from dialect where select = '$s'",
         "select \"SELECT\", \"Mixed\" from \"DIALECT\" where \"SELECT\" = :1 and rownum <= 8"},
        {"SELECT * FROM main.dialect WHERE Mixed = '$s'",
         "select * from \"MAIN\".\"DIALECT\" where \"Mixed\" = :1 and rownum <= 8"},
    };
    for (const auto& [statement, expected] : cases) {
        EXPECT_EQ(FailureWith(statement, "x", "MaxRows=7"), "without name: not found");
        EXPECT_EQ(LastText(), expected);
    }
}

TEST_F(OraclePluginTest, ConnectsToServicesAndToNames) {
    ExpectWorks(List("db1.corp.lan, [::1]:1522", "ConnectTimeout=7"));
    EXPECT_EQ(LastAddress(), "(DESCRIPTION=(CONNECT_TIMEOUT=7)(ADDRESS=(PROTOCOL=TCP)(HOST=db1."
                             "corp.lan)(PORT=1521))(CONNECT_DATA=(SERVICE_NAME=test)))");
    EXPECT_EQ(FailureOf(List("away.test, [::1]:1522", "ConnectTimeout=7")), "found OK");
    EXPECT_EQ(LastAddress(), "(DESCRIPTION=(CONNECT_TIMEOUT=7)(ADDRESS=(PROTOCOL=TCP)(HOST=::1)("
                             "PORT=1522))(CONNECT_DATA=(SERVICE_NAME=test)))");
    const std::string item = "\"oracle:OnError=exception|" + Get().GetLogin() + "|";
    ExpectWorks(item + Get().GetQuery() + "\"");
    EXPECT_EQ(LastAddress(), "test");
    EXPECT_EQ(FailureOf(item + "Database=nowhere|" + Get().GetQuery() + "\""),
              "nowhere: ORA-12514: TNS:listener does not currently know of service");
    EXPECT_THAT(FailureOf(List("away.test", "Password=wrong")),
                StartsWith("away.test:1521: ORA-12541"));
    EXPECT_EQ(ReasonOf(List(Server().GetHost(), "Password=wrong")),
              "ORA-01017: invalid username/password; logon denied");
}

TEST_F(OraclePluginTest, ColumnsOfAllTypesComeAsText) {
    Sql("create table types (address char(20), price number, big integer, day date,"
        "  bytes raw(9), padded char(9), words clob, more varchar2(9));\n"
        "insert into types values ('jdoe', -2.5, 9223372036854775807, '02-JAN-26', x'00ff', 'p',"
        "  'words', null);\n" +
        GrantOf("select", "types"));
    const std::string where = " from types where address = '$s'";
    ExpectAnswer(Item("select price, big, day, bytes, padded, words, more" + where), "jdoe", 0,
                 {true, " -2.5 9223372036854775807 02-JAN-26 00FF p words", "jdoe"});
    EXPECT_TRUE(AskList(Item("select *" + where), "jdoe ").found) << "blanks do not count";
}

TEST_F(OraclePluginTest, ValuesThatTheColumnCannotHoldAreMisses) {
    Sql("create table narrow (address varchar2(10), bytes raw(4), result varchar2(9));\n"
        "insert into narrow values ('jdoe', x'00ff', 'OK');\n"
        "create table wide (address varchar2(4000), result varchar2(9));\n"
        "insert into wide values ('" +
        std::string(4000, 'x') + "', 'OK');\n" + GrantOf("select", "narrow") +
        GrantOf("select", "wide"));
    const std::string narrow = Item(Select("narrow"));
    ExpectAnswer(narrow, "jdoe", 0, {true, " OK", "jdoe"});
    for (const std::string& text : {"jdoe "s, "jdoe\0"s, "\xff"s, "elevenchars"s,
                                    std::string(41, 'x'), std::string(1 << 20, 'x')})
        EXPECT_EQ(AskList(narrow, text), Miss()) << text.substr(0, 20);
    const std::string bytes = Item("select result from narrow where bytes = '$s'");
    ExpectAnswer(bytes, "\0\xff"s, 0, {true, " OK", "\0\xff"s});
    EXPECT_EQ(AskList(bytes, "12345"), Miss());
    // The longest value that the server takes, and longer ones.
    EXPECT_EQ(AskList(Item(Select("wide")), std::string(4000, 'x')).res, " OK");
    for (const std::size_t size : {4001, 16000, 16001, 32767, 32768, 65536})
        EXPECT_EQ(AskList(Item(Select("wide")), std::string(size, 'x')), Miss()) << size;
}

TEST_F(OraclePluginTest, NumbersAreComparedAsNumbers) {
    Sql("create table numbers (address number, day date, result varchar2(9));\n"
        "insert into numbers values (7, null, 'seven');\n" +
        GrantOf("select", "numbers"));
    const std::string select = Select("numbers");
    ExpectAnswer(Item(select), "7", 0, {true, " seven", "7"});
    EXPECT_EQ(AskList(Item(select), "-7"), Miss());
    for (const char* text : {"7abc", " 7", "07", "7.0", "+7", "x"})
        EXPECT_EQ(FailureWith(select, text), "the condition's column holds numbers, and the value "
                                             "is no whole number")
            << text;
    EXPECT_EQ(FailureWith("select result from numbers where day = '$s'", "7"),
              "the condition's column holds neither texts nor whole numbers");
}

TEST_F(OraclePluginTest, LongValuesComeWholeOrAreAFault) {
    Sql("create table long_texts (address varchar2(9), words clob);\n"
        "insert into long_texts values ('fits', '" +
        std::string(65534, 'x') + "'), ('long', '" + std::string(65535, 'x') + "');\n" +
        GrantOf("select", "long_texts"));
    EXPECT_EQ(AskList(Item(Select("long_texts", "words")), "fits").res,
              " " + std::string(65534, 'x'));
    EXPECT_EQ(FailureWith(Select("long_texts", "words"), "long"),
              "a value is longer than 65534 bytes");
}

TEST_F(OraclePluginTest, PreparesAgainWhenTheTableHasChanged) {
    MakeTable("grows", "address varchar2(20)", {"'jdoe@corp.lan'"});
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("grows", "*"), "MaxConnections=1"));
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan");
    Sql("alter table grows add more varchar2(9) default 'more'");
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan more");
}

TEST_F(OraclePluginTest, RefusesItems) {
    const std::string select = "select a from b where c = '$s'";
    const std::string library = "Library=" + OracleService::GetLibrary() + "|";
    const std::pair<std::string, std::string> cases[] = {
        {select, "Database is not set"},
        {"Database=x|" + select, "User is not set"},
        {"User=a|Database=x|Hosts=unix:/a|" + select, "Hosts has a unix socket"},
        {"User=a|Database=x|Tls=require|" + select, "Tls cannot be set"},
        {"User=a|Database=x)(y|Hosts=a|" + select,
         "Wrong Database setting [x)(y]: wait the name of a service"},
        {"User=a|Database=x|Hosts=a)(b|" + select, "Wrong Hosts setting [a)(b]"},
        {"User=a|Database=x|Library=/no/such.so|" + select,
         "the client library: /no/such.so: cannot open shared object file"},
        {"User=a|Database=x|Library=libm.so.6|" + select,
         "the client library: libm.so.6 has no function OCIEnvNlsCreate"},
    };
    for (const auto& [rest, error] : cases)
        EXPECT_THAT(ErrorOf("\"oracle:" + library + rest + "\""), HasSubstr(error)) << rest;
}

TEST_F(OraclePluginTest, ServerMayBeDownWhenTheListIsLoaded) {
    Client().is_down = true;
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost()));
    EXPECT_THAT(FailureOf(holder), HasSubstr("ORA-12541: TNS:no listener"));
    Client().is_down = false;
    ExpectWorks(holder);
}

TEST_F(OraclePluginTest, RestartCostsNoSearch) {
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost(), "MaxConnections=1"));
    ExpectWorks(holder);
    const int sessions = Client().sessions;
    Client().killed = sessions;
    ExpectWorks(holder);
    EXPECT_EQ(Client().sessions, sessions + 1);
}

TEST_F(OraclePluginTest, CallThatTakesTooLongFailsInTimeAndEnds) {
    MakeSlowTable();
    KwLookupHolder holder(m_log);
    holder.Init(Item(Slow(), LIMITED));
    ExpectWorksInTime(holder);
    Client().hangs = true;
    ExpectFailsInTime(holder, "no answer in time");
    // The thread ends, with its connection, although the server still does not answer.
    WaitForNoHandles();
    Client().hangs = false;
    ExpectWorksInTime(holder);
}

TEST_F(OraclePluginTest, OldLibraryThatHangsFailsSearchesInTime) {
    MakeSlowTable();
    Client().knows_no_limit = true;
    KwLookupHolder holder(m_log);
    holder.Init(Item(Slow(), LIMITED + "|IdleTimeout=59"s));
    ExpectWorksInTime(holder);
    Client().hangs = true;
    ExpectFailsInTime(holder, "no answer in time");
    Client().hangs = false;
    WaitForNoHandles();
    ExpectWorksInTime(holder);
}

TEST_F(OraclePluginTest, ConnectTimeoutLimitsAConnectionThatHangs) {
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost(), "Timeout=60|ConnectTimeout=1|MaxConnections=3"));
    Client().hangs_in_attach = true;
    ExpectFailsInTime(holder, "no answer in time");
    Client().hangs_in_attach = false;
    ExpectWorksInTime(holder);
}

TEST_F(OraclePluginTest, PreparesAStatementOnceAConnection) {
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost(), "MaxConnections=5"));
    const int before = Client().prepared;
    ExpectWorks(holder);
    const int prepared = Client().prepared;
    const int of_connection = prepared - before;
    for (int i = 0; i < 100; ++i)
        ExpectWorks(holder);
    EXPECT_EQ(Client().prepared, prepared);
    Client().killed = Client().sessions.load();
    ExpectWorks(holder);
    EXPECT_EQ(Client().prepared, prepared + of_connection);
}

TEST_F(OraclePluginTest, LongRunLeavesNothingBehind) {
    RecordingLog::Silence();
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost()));
    const auto search = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            if (i % 100 == 0)
                Client().killed = Client().sessions.load();
            EXPECT_EQ(FailureOf(holder), "found OK");
        }
    };
    search(500);
    const std::size_t heap = ::mallinfo2().uordblks;
    const auto files = OpenFiles();
    search(10000);
    EXPECT_LT(::mallinfo2().uordblks, heap + 65536);
    EXPECT_LE(OpenFiles(), files + 2) << "a connection"; // of the stand-in, with a file beside it
}

TEST_F(OraclePluginTest, NothingIsLeftBehind) {
    KwLookupHolder holder(m_log);
    const auto item = [](const std::string& statement) {
        return Item(statement, "IdleTimeout=0|MaxConnections=1");
    };
    for (const std::string& statement :
         {Get().GetQuery(), Select("nowhere"), Select("access", "nothing")}) {
        holder.Init(item(statement));
        FailureOf(holder);
    }
    holder.Init(item(Get().GetQuery()));
    ExpectWorks(holder);
    FailureOf(List(Server().GetHost(), "Password=wrong"));
    WaitForNoHandles();
}

TEST_F(OraclePluginTest, ChildAfterForkConnectsItself) {
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost(), "MaxConnections=1"));
    ExpectWorks(holder);
    const int sessions = Client().sessions;
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(FailureOf(holder) == "found OK" && Client().sessions == sessions + 1 ? 0 : 1);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    ExpectWorks(holder);
    EXPECT_EQ(Client().sessions, sessions);
}

} // namespace
