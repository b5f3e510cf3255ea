// SPDX-License-Identifier: MIT
#pragma once

#include "kwlookupd/Client.h"
#include "support/RunProgram.h"

#include <memory>
#include <string>
#include <vector>

/// An SMTP client.
class SmtpSession {
public:
    /// Connects to the server at this port of 127.0.0.1, and reads its greeting. Waits a minute for
    /// a server that is starting; throws std::runtime_error if it does not come.
    explicit SmtpSession(int port);
    /// Starts a server that speaks SMTP on its standard input and output, and reads its greeting.
    explicit SmtpSession(const std::vector<std::string>& command);

    /// Sends a command. Returns the last line of the reply without its end; empty if the server
    /// has closed the connection.
    std::string Say(const std::string& command);

    /// The reply to MAIL. Begins a new transaction before.
    std::string Mail(const std::string& sender);

private:
    std::string ReadReply();
    std::string ReadLine();

    std::unique_ptr<Client> m_client;
    std::unique_ptr<RunningProgram> m_program;
};
