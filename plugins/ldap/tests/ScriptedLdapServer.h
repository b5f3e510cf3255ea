// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// A server at a port of 127.0.0.1 that gives the answers of a test, for those that slapd never
/// gives.
class ScriptedLdapServer {
public:
    /// Returns the bytes to send back for a request. Called by the server's thread.
    using Script = std::function<std::string(const std::string& request)>;

    /// With `endless`, it sends each answer again and again.
    explicit ScriptedLdapServer(Script script, bool endless = false);
    ~ScriptedLdapServer();
    ScriptedLdapServer(const ScriptedLdapServer&) = delete;
    ScriptedLdapServer& operator=(const ScriptedLdapServer&) = delete;

    std::string GetHost() const { return "127.0.0.1:" + std::to_string(m_port); }

    // Parts of answers. An answer has the number of its request.
    static std::string Entry(const std::string& request, const std::string& name,
                             const std::vector<std::string>& values);
    static std::string Reference(const std::string& request, const std::vector<std::string>& urls);
    /// The last part. `tag` is the type of the answer, which depends on the operation.
    static std::string Result(const std::string& request, int code, const std::string& text = "",
                              const std::vector<std::string>& urls = {}, unsigned char tag = 0x65);
    /// A message with the number of another request.
    static std::string WithNumber(const std::string& request, std::string_view operation);

    static bool IsSearch(const std::string& request);
    /// The base of a search.
    static std::string BaseOf(const std::string& request);

private:
    struct Connection {
        kwlookup::FileDescriptor socket;
        std::string received;
    };

    void Run();
    bool Serve(Connection& connection);

    const Script m_script;
    const bool m_endless;
    int m_port = 0;
    kwlookup::FileDescriptor m_listener;
    kwlookup::FileDescriptor m_wake;
    std::list<Connection> m_connections;
    std::thread m_thread;
};
