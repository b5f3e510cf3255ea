// SPDX-License-Identifier: MIT
#include "servers/MariaServer.h"
#include "servers/PostgresServer.h"
#include "servers/RedisCluster.h"
#include "servers/RedisServer.h"
#include "servers/ServerProgram.h"
#include "servers/SlapdServer.h"
#include "servers/TestAuthority.h"
#include "support/RunProgram.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using namespace kwlookup;

namespace {

/// The output of openssl about the server's certificate.
std::string VerifyTls(const std::string& host, const std::string& ca_file,
                      const std::string& protocol = "") {
    std::vector<std::string> arguments = {"/usr/bin/env", "openssl", "s_client",   "-connect", host,
                                          "-CAfile",      ca_file,   "-verify_ip", "127.0.0.1"};
    if (!protocol.empty())
        arguments.insert(arguments.end(), {"-starttls", protocol});
    const std::string said = RunProgram(arguments).out;
    const std::string key = "Verification";
    const std::size_t at = said.find(key);
    return at == std::string::npos ? said : said.substr(at, said.find('\n', at) - at);
}

void ExpectVerifiedTls(const std::string& host, const std::string& ca_file,
                       const std::string& protocol = "") {
    EXPECT_EQ(VerifyTls(host, ca_file, protocol), "Verification: OK");
    const TestAuthority foreign("Foreign Authority");
    EXPECT_NE(VerifyTls(host, foreign.GetCaFile(), protocol), "Verification: OK");
}

char StateOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.empty() ? 'X' : text.at(text.rfind(')') + 2);
}

} // namespace

TEST(TestServers, RedisKeepsItsDataOverACrash) {
    RedisServer server;
    server.Load({{"SET", std::string("a\0b", 3), "\xff value"}, {"HSET", "h", "f", "v"}});
    EXPECT_EQ(server.Run({"HGET", "h", "f"}), "v\n");
    EXPECT_THROW(server.Run({"HGET", "a"}), std::runtime_error);
    EXPECT_THROW(server.Load({{"HSET", "h"}}), std::runtime_error);
    server.Kill();
    EXPECT_THROW(server.Run({"PING"}), std::runtime_error);
    server.Restart();
    EXPECT_EQ(server.Run({"HGET", "h", "f"}), "v\n");
}

TEST(TestServers, RedisWithPasswordAndTls) {
    const TestAuthority authority;
    const TestCertificate certificate = authority.ForServer();
    RedisServer::Options options;
    options.password = "secret";
    options.certificate = &certificate;
    RedisServer server(options);
    EXPECT_EQ(server.Run({"PING"}), "PONG\n");
    ExpectVerifiedTls(server.GetTlsHost(), authority.GetCaFile());
}

TEST(TestServers, RedisClusterOutlivesAMaster) {
    RedisCluster cluster;
    const std::string key = "bar"; // of the first third of the slots
    cluster.Run({"SET", key, "value"});
    EXPECT_EQ(cluster.Run({"GET", key}), "value\n");
    cluster.WaitForReplicas();
    cluster.Node(0).Kill();
    EXPECT_THROW(cluster.Run({"GET", key}), std::runtime_error);
    cluster.SetNodeTimeout(std::chrono::seconds(2));
    std::string value;
    for (int tries = 0; value.empty() && tries < 600; ++tries) {
        try {
            value = cluster.Run({"GET", key});
        } catch (const std::runtime_error&) {
            ::usleep(100000);
        }
    }
    EXPECT_EQ(value, "value\n");
}

TEST(TestServers, PostgresKeepsItsDataOverACrash) {
    const TestAuthority authority;
    const TestCertificate certificate = authority.ForServer();
    PostgresServer server(&certificate);
    server.Execute("create table t (a text); insert into t values ('x'), ('y')");
    EXPECT_EQ(server.Execute("select a from t order by a"), "x\ny\n");
    EXPECT_THROW(server.Execute("select b from t"), std::runtime_error);
    ExpectVerifiedTls(server.GetHost(), authority.GetCaFile(), "postgres");
    server.UseCertificate(authority.Expired());
    EXPECT_EQ(VerifyTls(server.GetHost(), authority.GetCaFile(), "postgres"),
              "Verification error: certificate has expired");
    server.UseCertificate(authority.WithWrongName());
    EXPECT_EQ(VerifyTls(server.GetHost(), authority.GetCaFile(), "postgres"),
              "Verification error: IP address mismatch");
    EXPECT_EQ(server.Execute("select count(*) from t"), "2\n");
}

TEST(TestServers, MariaKeepsItsDataOverACrash) {
    const TestAuthority authority;
    const TestCertificate certificate = authority.ForServer();
    MariaServer server(&certificate);
    server.Execute("create table t (a text); insert into t values ('x')");
    EXPECT_EQ(server.Execute("select a from t"), "x\n");
    EXPECT_THROW(server.Execute("select b from t"), std::runtime_error);
    ExpectVerifiedTls(server.GetHost(), authority.GetCaFile(), "mysql");
    server.Restart();
    EXPECT_EQ(server.Execute("select a from t"), "x\n");
}

TEST(TestServers, SlapdKeepsItsDataOverACrash) {
    const TestAuthority authority;
    const TestCertificate certificate = authority.ForServer();
    SlapdServer server(&certificate);
    const std::string entry = "dn: uid=jdoe,dc=example,dc=test\n"
                              "objectClass: inetOrgPerson\n"
                              "uid: jdoe\n"
                              "cn: J\n"
                              "sn: Doe\n"
                              "mail: jdoe@corp.lan\n";
    server.Add(entry);
    ExpectVerifiedTls(server.GetTlsHost(), authority.GetCaFile());
    server.Restart();
    EXPECT_THROW(server.Add(entry), std::runtime_error) << "it is there already";
}

TEST(TestServers, StoppedServerGoesOn) {
    PostgresServer server;
    server.Stop();
    // A machine under load needs a moment to stop it.
    for (int i = 0; i < 1000 && StateOf(server.GetPid()) != 'T'; ++i)
        ::usleep(10000);
    EXPECT_EQ(StateOf(server.GetPid()), 'T');
    server.Continue();
    EXPECT_EQ(server.Execute("select 1"), "1\n");
    server.Stop();
    server.Kill();
}

TEST(TestServers, ServerHasAnEnvironmentOfItsOwn) {
    SlapdServer server;
    std::ifstream file("/proc/" + std::to_string(server.GetPid()) + "/environ");
    std::string variable;
    while (std::getline(file, variable, '\0')) {
        const std::string name = variable.substr(0, variable.find('='));
        EXPECT_TRUE(name == "PATH" || name == "LC_ALL" || name == "LD_LIBRARY_PATH") << variable;
    }
    std::ifstream status("/proc/" + std::to_string(server.GetPid()) + "/status");
    while (std::getline(status, variable) && variable.compare(0, 4, "Uid:") != 0) {
    }
    EXPECT_EQ(variable.find("\t0"), std::string::npos) << "it runs as root";
}

TEST(TestServers, ServerDiesWithTheTest) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t test = ::fork();
    if (test == 0) {
        RedisServer server;
        const std::string told = std::to_string(server.GetPid()) + " " + server.GetSocketPath();
        if (::write(ends[1], told.data(), told.size()) < 0)
            ::_exit(1);
        for (;;)
            ::pause();
    }
    char told[4096] = "";
    ASSERT_GT(::read(ends[0], told, sizeof(told) - 1), 0);
    const pid_t server = std::stoi(told);
    ::kill(test, SIGKILL);
    ::waitpid(test, nullptr, 0);
    for (int i = 0; i < 500 && StateOf(server) != 'X' && StateOf(server) != 'Z'; ++i)
        ::usleep(10000);
    EXPECT_TRUE(StateOf(server) == 'X' || StateOf(server) == 'Z');
    ::close(ends[0]);
    ::close(ends[1]);
    // Nobody was left to remove it.
    std::filesystem::remove_all(std::filesystem::path(std::strchr(told, ' ') + 1).parent_path());
}
