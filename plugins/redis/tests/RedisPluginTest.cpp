// SPDX-License-Identifier: MIT
#include "plugins/redis/tests/RedisSupport.h"
#include "servers/HostileAddress.h"
#include "servers/TestAuthority.h"
#include "support/Rounds.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <vector>

namespace kwlookup {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class RedisPluginTest : public RedisTest {};

TEST_F(RedisPluginTest, Answers) {
    RedisServer& server = SharedServer();
    server.Load({{"SET", "\xff\xfe\0\r\n"s, "\0\xff"s},
                 {"SET", "<jdoe@corp.lan>", "brackets"},
                 {"SET", "corp.lan", "domain"},
                 {"SET", "jdoe", "user"},
                 {"SET", "u:jdoe,d:corp.lan", "parts"},
                 {"SET", "two words", "quoted"},
                 {"SET", "$", "dollar"},
                 {"HSET", "jdoe@corp.lan:h", "a", "1", "b", "x y", "c", ""},
                 {"SET", std::string(1 << 20, 'k'), std::string(1 << 20, 'v')}});
    const struct {
        std::string command;
        std::string text;
        int flags;
        Answer answer;
    } cases[] = {
        {"GET $s", "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {"get $s", "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {"GET $s", "JDOE@corp.lan", 0, Miss()},
        {"GET $s", "empty", 0, {true, "", "empty"}},
        {"GET $s", "\xff\xfe\0\r\n"s, 0, {true, " \0\xff"s, "\xff\xfe\0\r\n"s}},
        {"GET $s",
         std::string(1 << 20, 'k'),
         0,
         {true, " " + std::string(1 << 20, 'v'), std::string(1 << 20, 'k')}},
        {"GET 'two words'", "x", 0, {true, " quoted", "two words"}},
        {"GET $$", "x", 0, {true, " dollar", "$"}},
        {"GET u:$u,d:$d", "jdoe@corp.lan", 0, {true, " parts", "u:jdoe,d:corp.lan"}},
        {"GET $u", "jdoe@corp.lan", 0, {true, " user", "jdoe"}},
        {"GET $d", "jdoe@corp.lan", 0, {true, " domain", "corp.lan"}},
        {"GET $d", "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {"GET $s", "<jdoe@corp.lan>", 0, {true, " brackets", "<jdoe@corp.lan>"}},
        {"GET $s", "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", "jdoe@corp.lan"}},
        // Nothing to ask.
        {"GET $d", "jdoe", 0, Miss()},
        {"GET $d", "jdoe@", 0, Miss()},
        {"GET $u", "@corp.lan", 0, Miss()},
        {"HGET blocked $d", "jdoe", 0, Miss()},
        // The other commands.
        {"HGET blocked $d", "jdoe@corp.lan", 0, {true, " spam", "corp.lan"}},
        {"HGET blocked $d", "jdoe@corp.la", 0, Miss()},
        {"HGET missing $d", "jdoe@corp.lan", 0, Miss()},
        {"HGET $d x", "jdoe@missing", 0, Miss()},
        {"HMGET $s:h a b c d", "jdoe@corp.lan", 0, {true, " 1 x y", "jdoe@corp.lan:h"}},
        {"HMGET $s:h c", "jdoe@corp.lan", 0, {true, "", "jdoe@corp.lan:h"}},
        {"HMGET $s:h d e", "jdoe@corp.lan", 0, Miss()},
        {"HMGET blocked $d other.lan", "jdoe@corp.lan", 0, {true, " spam bulk", "corp.lan"}},
        {"SISMEMBER members $s", "jdoe@corp.lan", 0, {true, "", "jdoe@corp.lan"}},
        {"SISMEMBER members $s", "jdoe", 0, Miss()},
        {"ZSCORE scores $s", "jdoe@corp.lan", 0, {true, " 2.5", "jdoe@corp.lan"}},
        {"ZSCORE scores $s", "jdoe", 0, Miss()},
        {"EXISTS $s", "jdoe@corp.lan", 0, {true, "", "jdoe@corp.lan"}},
        {"EXISTS $s", "jdoe", FIND_DOMAIN, {true, "", "jdoe"}},
        {"EXISTS $s", "nobody", 0, Miss()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command + ", text " + c.text.substr(0, 40));
        ExpectAnswer(Item(server.GetHost(), c.command), c.text, c.flags, c.answer);
        ExpectAnswer(Item(server.GetUnixHost(), c.command), c.text, c.flags, c.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(RedisPluginTest, AQuestionFaultIsNotAMissAndKeepsTheConnection) {
    FaultyProxy proxy(SharedServer().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(proxy.GetHost(), "GET $s"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(SearchError(holder, "blocked"),
                  proxy.GetHost() + ": WRONGTYPE Operation against a key holding the wrong kind of "
                                    "value");
        ExpectFound(holder);
    }
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);

    Configure("[lookup_redis]\nHosts = " + proxy.GetHost() + "\n");
    KwLookupHolder quiet(m_log);
    quiet.Init("redis:GET $s");
    RecordingLog::Reset();
    EXPECT_EQ(Ask(quiet, "blocked"), Miss());
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR),
                ElementsAre("lookup_redis: " + proxy.GetHost() +
                            ": WRONGTYPE Operation against a key holding the wrong kind of value"));
}

TEST_F(RedisPluginTest, BadConfigurationsFailTheItem) {
    const struct {
        std::string rest;
        std::string reason;
    } cases[] = {
        {"GET $s", "Hosts is not set"},
        {"Hosts=|GET $s", "Hosts is not set"},
        {"Hosts=a b|GET $s",
         "Wrong Hosts setting [a b]: wait HOST[:PORT], [ADDRESS][:PORT] or unix:/PATH"},
        {"Hosts=a:0|GET $s",
         "Wrong Hosts setting [a:0]: wait HOST[:PORT], [ADDRESS][:PORT] or unix:/PATH"},
        {"Hosts=a|Balance=x|GET $s", "Wrong Balance setting [x]: wait 'order' or 'random'"},
        {"Hosts=a|Timeout=0|GET $s", "Timeout must be from 1 to 86400 seconds"},
        {"Hosts=a|Timeout=86401|GET $s", "Timeout must be from 1 to 86400 seconds"},
        {"Hosts=a|ConnectTimeout=0|GET $s", "ConnectTimeout must be from 1 to 86400 seconds"},
        {"Hosts=a|ConnectTimeout=86401|GET $s", "ConnectTimeout must be from 1 to 86400 seconds"},
        {"Hosts=a|RetryInterval=86401|GET $s", "RetryInterval must be from 0 to 86400 seconds"},
        {"Hosts=a|IdleTimeout=86401|GET $s", "IdleTimeout must be from 0 to 86400 seconds"},
        {"Hosts=a|CacheTime=86401|GET $s", "CacheTime must be from 0 to 86400 seconds"},
        {"Hosts=a|NegativeCacheTime=86401|GET $s",
         "NegativeCacheTime must be from 0 to 86400 seconds"},
        {"Hosts=a|StaleTime=86401|GET $s", "StaleTime must be from 0 to 86400 seconds"},
        {"Hosts=a|CacheSize=0|GET $s", "CacheSize must be from 1 to 10000000"},
        {"Hosts=a|CacheSize=10000001|GET $s", "CacheSize must be from 1 to 10000000"},
        {"Hosts=a|MaxConnections=0|GET $s", "MaxConnections must be from 1 to 1000"},
        {"Hosts=a|MaxConnections=1001|GET $s", "MaxConnections must be from 1 to 1000"},
        {"Hosts=a|MaxRows=0|GET $s", "MaxRows must be at least 1"},
        {"Hosts=a|Tls=x|GET $s", "Wrong Tls setting [x]: wait 'no', 'starttls' or 'require'"},
        {"Hosts=a|Tls=starttls|GET $s", "Redis has no starttls: wait 'no' or 'require' for Tls"},
        {"Hosts=a|Tls=require|TlsKeyFile=k|GET $s", "TlsKeyFile is set without TlsCertFile"},
        {"Hosts=a|User=u|GET $s", "User is set without Password"},
        {"Hosts=a|Database=x|GET $s",
         "Wrong Database setting [x]: wait a number from 0 to 2147483647"},
        {"Hosts=a|ReadFrom=x|GET $s", "Wrong ReadFrom setting [x]: wait 'master' or 'replica'"},
        {"Hosts=a|GET", "wrong number of arguments in 'GET'"},
        {"Hosts=a|GET a b", "wrong number of arguments in 'GET a b'"},
        {"Hosts=a|HGET a", "wrong number of arguments in 'HGET a'"},
        {"Hosts=a|HMGET a", "wrong number of arguments in 'HMGET a'"},
        {"Hosts=a|EXISTS a b", "wrong number of arguments in 'EXISTS a b'"},
        {"Hosts=a|SET a b", "cannot read the command 'SET a b': wait GET, HGET, HMGET, SISMEMBER, "
                            "ZSCORE or EXISTS and its arguments"},
        {"Hosts=a|GET 'a", "cannot read the command 'GET 'a': wait GET, HGET, HMGET, SISMEMBER, "
                           "ZSCORE or EXISTS and its arguments"},
        {"Hosts=a|GET $x", "unrecognize expansion in '$x'"},
    };
    for (const auto& c : cases)
        EXPECT_THAT(ErrorOf("\"redis:" + c.rest + "\""), HasSubstr(c.reason)) << c.rest;
}

TEST_F(RedisPluginTest, LogsIn) {
    RedisServer::Options options;
    options.password = "h1dden";
    RedisServer server(options);
    Fill(server);
    server.Run({"ACL", "SETUSER", "kw", "on", ">s3cret", "~jdoe*", "+get"});
    const struct {
        std::string settings;
        std::string error;
    } cases[] = {
        {"Password=h1dden|", ""},
        {"User=kw|Password=s3cret|", ""},
        {"User=kw|Password=h1dden|",
         ": WRONGPASS invalid username-password pair or user is disabled."},
        {"Password=h1ddem|", ": WRONGPASS invalid username-password pair or user is disabled."},
        {"User=kx|Password=s3cret|",
         ": WRONGPASS invalid username-password pair or user is disabled."},
        {"", ": NOAUTH Authentication required."},
    };
    for (const auto& c : cases) {
        KwLookupHolder holder(m_log);
        holder.Init(Item(server.GetHost(), c.settings + "GET $s"));
        EXPECT_EQ(SearchError(holder), c.error.empty() ? "" : server.GetHost() + c.error);
    }
    KwLookupHolder holder(m_log);
    holder.Init(Item(server.GetHost(), "User=kw|Password=s3cret|GET $s"));
    EXPECT_EQ(SearchError(holder, "other"),
              server.GetHost() + ": NOPERM this user has no permissions to access one of the keys "
                                 "used as arguments");
}

/// Answers one connection with these bytes.
class OneAnswer {
public:
    explicit OneAnswer(const std::string& answer)
        : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const bytes = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof(address);
        if (::bind(m_listener.Get(), bytes, size) != 0 || ::listen(m_listener.Get(), 1) != 0 ||
            ::getsockname(m_listener.Get(), bytes, &size) != 0)
            throw std::runtime_error("cannot listen");
        m_host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        m_thread = std::thread([this, answer] {
            const FileDescriptor client(
                ::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            char request[100];
            if (::recv(client.Get(), request, sizeof(request), 0) > 0)
                ::send(client.Get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        });
    }
    ~OneAnswer() { m_thread.join(); }

    const std::string& GetHost() const { return m_host; }

private:
    FileDescriptor m_listener;
    std::string m_host;
    std::thread m_thread;
};

TEST_F(RedisPluginTest, AServerThatRepeatsThePasswordDoesNotMakeItKnown) {
    const OneAnswer server("-ERR unknown command 'AUTH', with args beginning with: 's3cret' \r\n");
    EXPECT_EQ(SearchErrorOf(Item(server.GetHost(), "Password=s3cret|GET $s"), "x"),
              server.GetHost() + ": the server knows no AUTH");
}

TEST_F(RedisPluginTest, SelectsTheDatabase) {
    RedisServer server;
    server.Load({{"SELECT", "3"}, {"SET", "jdoe@corp.lan", "third"}});
    EXPECT_EQ(AskList(Item(server.GetHost(), "Database=3|GET $s"), "jdoe@corp.lan").res, " third");
    EXPECT_EQ(AskList(Item(server.GetHost()), "jdoe@corp.lan"), Miss());
    EXPECT_EQ(SearchErrorOf(Item(server.GetHost(), "Database=16|GET $s"), "jdoe@corp.lan"),
              server.GetHost() + ": ERR DB index is out of range");
}

TEST_F(RedisPluginTest, ServerMayWantACertificate) {
    const TestAuthority authority;
    const TestCertificate server_certificate = authority.ForServer();
    RedisServer::Options options;
    options.certificate = &server_certificate;
    RedisServer server(options);
    server.Load({{"SET", "jdoe@corp.lan", "OK"}});
    server.Run({"CONFIG", "SET", "tls-auth-clients", "yes"});
    const TestCertificate certificate = authority.ForClient("reader");
    const std::string trusting = "Tls=require|TlsCaFile=" + authority.GetCaFile() + "|";
    EXPECT_EQ(
        AskList(Item(server.GetTlsHost(), trusting + "TlsCertFile=" + certificate.certificate_file +
                                              "|TlsKeyFile=" + certificate.key_file + "|GET $s"),
                "jdoe@corp.lan")
            .res,
        " OK");
    EXPECT_THAT(SearchErrorOf(Item(server.GetTlsHost(), trusting + "GET $s"), "jdoe@corp.lan"),
                HasSubstr("certificate required"));
}

TEST_F(RedisPluginTest, HostileTextsMatchNothingElse) {
    KwLookupHolder holder(m_log);
    holder.Init(Item(SharedServer().GetHost(), "SISMEMBER members $s"));
    for (int i = 0; i < Rounds(20000); ++i) {
        const std::string text = HostileAddress(static_cast<unsigned>(i));
        const bool is_key = text == "jdoe@corp.lan";
        ASSERT_EQ(Ask(holder, text).found, is_key) << testing::PrintToString(text);
    }
    KwLookupHolder domains(m_log);
    domains.Init(Item(SharedServer().GetHost(), "HGET blocked $d"));
    for (int i = 0; i < Rounds(20000); ++i) {
        const std::string text = HostileAddress(static_cast<unsigned>(i));
        const std::string domain = text.substr(std::min(text.find('@'), text.size() - 1) + 1);
        const bool is_key = domain == "corp.lan" || domain == "other.lan";
        ASSERT_EQ(Ask(domains, text).found, is_key) << testing::PrintToString(text);
    }
}

} // namespace
} // namespace kwlookup
