// SPDX-License-Identifier: MIT
#include "kwlookupd/SmtpSession.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

/// In milliseconds. Postfix asks a policy service twice, for 100 seconds each.
constexpr int MAX_REPLY_TIME = 300000;

} // namespace

SmtpSession::SmtpSession(int port) {
    constexpr std::chrono::minutes LIMIT(1);
    const auto end = std::chrono::steady_clock::now() + LIMIT;
    for (;;) {
        try {
            m_client = std::make_unique<Client>("127.0.0.1:" + std::to_string(port));
            if (ReadReply().compare(0, 3, "220") == 0)
                return;
        } catch (const std::runtime_error&) {
            if (std::chrono::steady_clock::now() > end)
                throw;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

SmtpSession::SmtpSession(const std::vector<std::string>& command)
    : m_program(std::make_unique<RunningProgram>(command)) {
    constexpr int MAX_EMPTY = 10; // lines before the greeting; at the end there are only empty ones
    int empty = 0;
    for (std::string line; line.compare(0, 3, "220") != 0; line = ReadLine()) {
        if (line.empty() && ++empty > MAX_EMPTY)
            throw std::runtime_error("the server has ended: " + m_program->Finish().err);
    }
}

std::string SmtpSession::Say(const std::string& command) {
    if (m_client)
        m_client->Send(command + "\r\n");
    else
        m_program->Write(command + "\r\n");
    return ReadReply();
}

std::string SmtpSession::Mail(const std::string& sender) {
    Say("RSET");
    return Say("MAIL FROM:<" + sender + ">");
}

std::string SmtpSession::ReadReply() {
    std::string line = ReadLine();
    while (line.size() > 3 && line[3] == '-')
        line = ReadLine();
    return line;
}

std::string SmtpSession::ReadLine() {
    std::string line;
    if (m_program)
        line = m_program->ReadLine();
    else
        for (std::string byte = "-"; !byte.empty() && byte != "\n";) {
            byte = m_client->Receive(1, MAX_REPLY_TIME);
            line += byte;
        }
    if (!line.empty() && line.back() == '\n')
        line.pop_back();
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}
