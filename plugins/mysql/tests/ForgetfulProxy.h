// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

/// Stands on 127.0.0.1 before a server and forwards one connection. It can have the server forget
/// the session's statements, as a pooler between does, and ask for files, as an enemy does.
class ForgetfulProxy {
public:
    explicit ForgetfulProxy(int server_port);
    ForgetfulProxy(const ForgetfulProxy&) = delete;
    ForgetfulProxy& operator=(const ForgetfulProxy&) = delete;
    ~ForgetfulProxy();

    int GetPort() const { return m_port; }
    int GetAcceptedCount() const { return m_accepted; }

    /// Resets the session, of which no question is open. Returns when the server has done so.
    void Forget();

    /// Has the server ask for a file of the client's in place of its next answer.
    void AskForFile(const std::string& name);

    /// What the client has sent since it was asked.
    std::string GetSent();

private:
    void Run();
    void Serve(const kwlookup::FileDescriptor& client, const kwlookup::FileDescriptor& server);
    bool ForwardRequest(const kwlookup::FileDescriptor& client,
                        const kwlookup::FileDescriptor& server);
    bool ForwardAnswer(const kwlookup::FileDescriptor& server,
                       const kwlookup::FileDescriptor& client);

    const int m_server_port;
    int m_port = 0;
    kwlookup::FileDescriptor m_listener;
    std::atomic<int> m_accepted{0};
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_forget{false};
    std::mutex m_lock;
    std::string m_file; ///< to ask for; empty: none
    std::string m_sent;
    std::thread m_thread;
};
