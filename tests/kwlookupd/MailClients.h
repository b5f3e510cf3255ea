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

    MailClients() : m_tcp_port(UnusedPort()) {
        std::filesystem::permissions(m_dir.Path("."), std::filesystem::perms(0755));
        for (const std::string list : LISTS)
            m_dir.Write(list + ".list", "found-1@example.test value-of-found-1\n"
                                        "plain@example.test\n"
                                        "\"a,b\"@example.test quoted\n"
                                        "gr\xc3\xbcn@example.test gr\xc3\xbc\n"
                                        "<> null sender\n"
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
        return config +
               "[door tcp]\nProtocol = tcp\nAddress = 127.0.0.1:" + std::to_string(m_tcp_port) +
               "\nLists = tcp\n";
    }

    ProgramResult Postmap(const std::string& key, const std::string& table,
                          const std::string& input = "") const {
        m_dir.Write("main.cf", "compatibility_level = 3.6\nmail_owner = nobody\n"
                               "setgid_group = mail\ndefault_privs = daemon\n"
                               "queue_directory = " +
                                   m_dir.Path("") + "\nshlib_directory = " +
                                   kwlookup::ServerFile("usr/lib/postfix") + "\n");
        return RunMailProgram({"usr/sbin/postmap", "-c", m_dir.Path(""), "-q", key, table}, input);
    }

    std::string Socketmap(const std::string& list) const {
        return "socketmap:unix:" + m_dir.Path("socketmap") + ":" + list;
    }

    std::string Tcp() const { return "tcp:127.0.0.1:" + std::to_string(m_tcp_port); }

    TempDir m_dir;
    const int m_tcp_port;
    std::unique_ptr<Daemon> m_daemon;
};
