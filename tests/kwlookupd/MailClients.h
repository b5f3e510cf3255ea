// SPDX-License-Identifier: MIT
#pragma once

#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"
#include "kwlookupd/MailProgram.h"
#include "servers/ServerProgram.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

/// The daemon with a door for each protocol that mail servers speak. Each has a list of its own.
class MailClients : public testing::Test {
protected:
    static constexpr const char* LISTS[] = {"socketmap", "tcp", "policy", "milter", "dict"};

    MailClients() : m_tcp_port(UnusedPort()), m_tcp_down_port(UnusedPort()) {
        std::filesystem::permissions(m_dir.Path("."), std::filesystem::perms(0755));
        for (const std::string list : LISTS)
            m_dir.Write(list + ".list", "found-1@example.test value-of-found-1\n"
                                        "plain@example.test\n"
                                        "\"a,b\"@example.test quoted\n"
                                        "gr\xc3\xbcn@example.test gr\xc3\xbc\n"
                                        "<> null sender\n"
                                        "long.test long\n"
                                        "big@example.test " +
                                            std::string(99997, 'b') +
                                            "\n"
                                            "too-big@example.test " +
                                            std::string(99998, 'b') +
                                            "\n"
                                            "line@example.test " +
                                            std::string(4091, 'l') +
                                            "\n"
                                            "too-long@example.test " +
                                            std::string(4092, 'l') + "\n");
        m_daemon = std::make_unique<Daemon>(m_dir, Config());
    }

    std::string Config() const {
        std::string config;
        for (const std::string list : LISTS)
            config += "[list " + list + "]\nObjects = file:@/" + list + ".list\nMaxShrink = 100\n";
        config += "[list down]\nObjects = file:@/none\n";
        const auto add = [&](const std::string& protocol, const std::string& rest) {
            config += "[door " + protocol + "]\nProtocol = " + protocol + "\nAddress = unix:@/" +
                      protocol + "\nMode = 0666\n" + rest;
        };
        add("socketmap", "");
        add("policy", "Ask = sender:policy, recipient:policy\n");
        add("milter",
            "Ask = client_address:milter, helo_name:milter, sender:milter, recipient:milter\n");
        add("dict", "");
        const auto add_tcp = [&](const std::string& list, int port) {
            config += "[door " + list +
                      "]\nProtocol = tcp\nAddress = 127.0.0.1:" + std::to_string(port) +
                      "\nLists = " + list + '\n';
        };
        add_tcp("tcp", m_tcp_port);
        add_tcp("down", m_tcp_down_port);
        return config;
    }

    void WritePostmapConfig() const {
        AgePostfixConfig(m_dir.Write(
            "main.cf",
            "compatibility_level = 3.6\nmyhostname = mx.example.test\nmail_owner = nobody\n"
            "setgid_group = mail\ndefault_privs = daemon\nqueue_directory = " +
                m_dir.Path("") + "\nshlib_directory = " + kwlookup::ServerFile("usr/lib/postfix") +
                "\n"));
    }

    ProgramResult Postmap(const std::string& key, const std::string& table,
                          const std::string& input = "") const {
        WritePostmapConfig();
        return RunMailProgram({"usr/sbin/postmap", "-c", m_dir.Path(""), "-q", key, table}, input);
    }

    std::string Socketmap(const std::string& list) const {
        return "socketmap:unix:" + m_dir.Path("socketmap") + ":" + list;
    }

    std::string Tcp() const { return "tcp:127.0.0.1:" + std::to_string(m_tcp_port); }
    std::string TcpDown() const { return "tcp:127.0.0.1:" + std::to_string(m_tcp_down_port); }

    /// Gives a list these lines.
    void Load(const std::string& list, const std::string& lines) const {
        m_dir.Write(list + ".list", lines);
        EXPECT_EQ(m_daemon->Ctl({"reload", list}).status, 0) << list;
    }

    /// A key of so many bytes in the domain long.test.
    static std::string LongKey(std::size_t size) {
        const std::string domain = "@long.test";
        return std::string(size - domain.size(), 'x') + domain;
    }

    TempDir m_dir;
    const int m_tcp_port;      ///< of the list "tcp"
    const int m_tcp_down_port; ///< of the list "down"
    std::unique_ptr<Daemon> m_daemon;
};
