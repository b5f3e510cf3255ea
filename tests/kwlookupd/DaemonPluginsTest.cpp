// SPDX-License-Identifier: MIT
// The daemon with a plug-in whose server refuses connections.
#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::HasSubstr;

namespace {

class DaemonPluginsTest : public testing::Test {
protected:
    static std::string Config(const std::string& settings = "") {
        return "[list blocked]\nObjects = redis:GET $s\nSearch = exact\n"
               "[door maps]\nProtocol = socketmap\nAddress = unix:@/maps\n"
               "[door web]\nProtocol = http\nAddress = unix:@/web\n"
               "[lookup_redis]\nHosts = 127.0.0.1:1\n" +
               settings;
    }

    std::string Ask(const std::string& text) const {
        return Daemon::Ask("unix:" + m_dir.Path("maps"), "blocked", text);
    }

    std::string Get(const std::string& path) const {
        Client client("unix:" + m_dir.Path("web"));
        client.Send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
        return client.ReceiveAll();
    }

    const TempDir m_dir;
    const Daemon m_daemon{m_dir, Config()};
};

} // namespace

TEST_F(DaemonPluginsTest, TellsServersThatFailed) {
    EXPECT_THAT(Get("/metrics"),
                HasSubstr("kwlookupd_plugin_answers_total{type=\"redis\",origin=\"cache\"} 0\n"));
    EXPECT_THAT(Ask("a@b.example"), HasSubstr("TEMP "));
    EXPECT_THAT(Get("/metrics"),
                HasSubstr("kwlookupd_server_up{type=\"redis\",server=\"127.0.0.1:1\"} 0\n"));
    EXPECT_THAT(Get("/"), HasSubstr("<code>127.0.0.1:1</code>"));
}

TEST_F(DaemonPluginsTest, AFaultIsAMissOnlyWhereTheConfigurationSaysSo) {
    EXPECT_THAT(Ask("a@b.example"), HasSubstr("TEMP "));
    Daemon::WriteConfig(m_dir, Config("OnError = ignore\n"));
    EXPECT_EQ(m_daemon.Ctl({"reload"}).status, 0);
    EXPECT_EQ(Ask("a@b.example"), "NOTFOUND ");
    Daemon::WriteConfig(m_dir, Config());
    EXPECT_EQ(m_daemon.Ctl({"reload"}).status, 0);
    EXPECT_THAT(Ask("a@b.example"), HasSubstr("TEMP "));
}

TEST_F(DaemonPluginsTest, LogsAFaultOnceAMinute) {
    for (int i = 0; i < 5; ++i)
        EXPECT_THAT(Ask("user-" + std::to_string(i) + "@b.example"), HasSubstr("TEMP "));
    const std::string log = m_daemon.GetLog();
    EXPECT_THAT(log, HasSubstr("user-0@b.example"));
    EXPECT_THAT(log, HasSubstr("Connection refused"));
    EXPECT_THAT(log, testing::Not(HasSubstr("user-1@b.example")));
}

TEST_F(DaemonPluginsTest, AReloadReadsTheSectionsOfPluginsAgain) {
    Daemon::WriteConfig(m_dir, Config("SkipDomains = b.example\n"));
    EXPECT_THAT(Ask("a@b.example"), HasSubstr("TEMP "));
    EXPECT_EQ(m_daemon.Ctl({"reload"}).status, 0);
    EXPECT_EQ(Ask("a@b.example"), "NOTFOUND ");
    EXPECT_THAT(Ask("a@c.example"), HasSubstr("TEMP "));

    // An error leaves all as it is, whether the daemon or the plug-in notices it.
    Daemon::WriteConfig(m_dir, Config("[lists blocked]\n"));
    EXPECT_EQ(m_daemon.Ctl({"reload", "blocked"}).status, 0);
    EXPECT_THAT(m_daemon.GetLog(), HasSubstr("; the settings of plug-ins stay as they are\n"));
    EXPECT_EQ(Ask("a@b.example"), "NOTFOUND ");
    Daemon::WriteConfig(m_dir, Config("RetryInterval = soon\n"));
    EXPECT_NE(m_daemon.Ctl({"reload"}).status, 0);
    EXPECT_EQ(Ask("a@b.example"), "NOTFOUND ");

    Daemon::WriteConfig(m_dir, Config());
    EXPECT_EQ(m_daemon.Ctl({"reload"}).status, 0);
    EXPECT_THAT(Ask("a@b.example"), HasSubstr("TEMP "));
}
