// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlFault.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "plugins/mysql/MysqlWait.h"

#include <errmsg.h>
#include <mysqld_error.h>
#include <new>
#include <stdexcept>

namespace kwlookup {

namespace {

// An error of MySQL that the connector's headers lack.
constexpr unsigned ER_SERVER_OFFLINE_MODE_OF_MYSQL = 3032;
constexpr unsigned ER_CLIENT_INTERACTION_TIMEOUT_OF_MYSQL = 4031;

/// Errors that the connector itself reports, from the first number up to the second.
constexpr unsigned CONNECTOR_ERRORS[][2] = {{2000, 3000}, {5000, 6000}};

bool IsServerFault(unsigned code) {
    for (const auto& range : CONNECTOR_ERRORS)
        if (code >= range[0] && code < range[1])
            return true;
    switch (code) {
    case ER_OUTOFMEMORY:
    case ER_OUT_OF_RESOURCES:
    case ER_CON_COUNT_ERROR:
    case ER_UNKNOWN_COM_ERROR: // from a node of a cluster that is not ready
    case ER_SERVER_SHUTDOWN:
    case ER_NORMAL_SHUTDOWN:
    case ER_CONNECTION_KILLED:
    case ER_SERVER_OFFLINE_MODE_OF_MYSQL:
    case ER_CLIENT_INTERACTION_TIMEOUT_OF_MYSQL:
        return true;
    default:
        return false;
    }
}

} // namespace

void FailMysql(unsigned code, const std::string& reason) {
    const std::string& waited = MysqlWait::Current().GetReason();
    if (!waited.empty())
        throw ServerFault(waited);
    if (code == CR_OUT_OF_MEMORY)
        throw std::bad_alloc();
    if (code == CR_NET_PACKET_TOO_LARGE)
        throw std::runtime_error("a row is longer than 16 MiB");
    if (code == 0 || IsServerFault(code)) // 0 is an unknown error
        throw ServerFault(reason.empty() ? "no reason given" : reason);
    throw QuestionFault(reason);
}

} // namespace kwlookup
