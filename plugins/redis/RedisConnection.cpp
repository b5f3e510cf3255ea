// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisConnection.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"
#include "plugins/redis/RedisConfig.h"
#include "plugins/redis/SlotTable.h"

#include <vector>

namespace kwlookup {
namespace {

constexpr std::size_t READ_SIZE = 16 * 1024;
/// Errors of servers are short; a longer text does not help in a log.
constexpr std::size_t LONGEST_ERROR = 200;
const std::string ASKING = RedisRequest({"ASKING"});

std::string ErrorText(const RedisReply& reply) {
    return reply.text.substr(0, LONGEST_ERROR);
}

/// A server that does not know a command repeats the start of its arguments.
std::string WithoutPassword(const std::string& text, const std::string& password) {
    if (text.find("unknown command") != std::string::npos && !password.empty())
        return "the server knows no AUTH";
    return text.substr(0, LONGEST_ERROR);
}

/// True for errors that are due to the state of the server, not to the question.
bool CannotAnswerNow(const RedisReply& reply) {
    for (const char* kind :
         {"LOADING ", "MASTERDOWN ", "BUSY ", "NOAUTH ", "ERR max number of clients reached"})
        if (reply.IsError(kind))
            return true;
    return false;
}

} // namespace

RedisConnection::RedisConnection(const Server& server, const ServerSettings& settings,
                                 Deadline deadline)
    : m_server(server), m_stream(ConnectSocket(server, deadline)) {
    if (settings.tls.mode != TlsSettings::Mode::No && !server.IsUnix())
        m_stream.StartTls(settings.tls, server, deadline);
    std::string requests;
    std::size_t checked = 0;
    if (!settings.password.empty()) {
        requests += settings.user.empty()
                        ? RedisRequest({"AUTH", settings.password})
                        : RedisRequest({"AUTH", settings.user, settings.password});
        ++checked;
    }
    if (!settings.database.empty()) {
        requests += RedisRequest({"SELECT", settings.database});
        ++checked;
    }
    const bool replica = settings.of_type == RedisConfig::READ_FROM_REPLICA;
    if (replica)
        requests += RedisRequest({"READONLY"});
    m_stream.Write(requests, deadline);
    for (; checked > 0; --checked) {
        const RedisReply reply = ReadReply(deadline);
        if (reply.type == RedisReply::Type::Error)
            throw ServerFault(WithoutPassword(reply.text, settings.password));
    }
    // Ignore an error, which means that the server is not in a cluster.
    if (replica)
        ReadReply(deadline);
}

void RedisConnection::Ask(const Asked& asked, const std::string& question, Deadline deadline,
                          Answer& answer) {
    asked.redirection.reset();
    if (asked.asking) {
        m_stream.Write(ASKING + question, deadline);
        ReadReply(deadline);
    } else {
        m_stream.Write(question, deadline);
    }
    const RedisReply reply = ReadLastReply(deadline);
    if (reply.type != RedisReply::Type::Error)
        return asked.command.Read(reply, answer);
    if (CannotAnswerNow(reply))
        throw ServerFault(ErrorText(reply));
    asked.redirection = Redirection::Read(reply.text, m_server);
    if (!asked.redirection)
        throw QuestionFault(ErrorText(reply));
}

void RedisConnection::Ask(const AskedSlots& asked, const std::string& question, Deadline deadline,
                          Answer&) {
    m_stream.Write(question, deadline);
    const RedisReply reply = ReadLastReply(deadline);
    if (CannotAnswerNow(reply))
        throw ServerFault(ErrorText(reply));
    if (reply.type != RedisReply::Type::Error)
        asked.slots = std::make_shared<const SlotTable>(reply, m_server);
}

RedisReply RedisConnection::ReadLastReply(Deadline deadline) {
    RedisReply reply = ReadReply(deadline);
    // The next question would read the rest as its answer.
    if (!m_reader.IsEmpty())
        throw ServerFault("the server sent more than it was asked for");
    return reply;
}

RedisReply RedisConnection::ReadReply(Deadline deadline) {
    RedisReply reply;
    char bytes[READ_SIZE];
    while (!m_reader.Next(reply))
        m_reader.Feed({bytes, m_stream.Read(bytes, sizeof(bytes), deadline)});
    return reply;
}

} // namespace kwlookup
