// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdStatus.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"

#include <new>

namespace kwlookup {

bool FirebirdFailure::IsOfServer() const {
    // Class 08 is for connections.
    return m_state.rfind("08", 0) == 0 || m_code == isc_network_error || m_code == isc_shutdown ||
           m_code == isc_att_shutdown || m_code == isc_cancelled;
}

void FirebirdFailure::Fail() const {
    if (m_code == isc_virmemexh)
        throw std::bad_alloc();
    if (IsOfServer())
        throw ServerFault(what());
    throw QuestionFault(what());
}

void FirebirdStatus::Check() const {
    if (!IsGood())
        throw Failure();
}

void FirebirdStatus::CheckConnection() const {
    if (!IsGood())
        throw ServerFault(Failure().what());
}

FirebirdFailure FirebirdStatus::Failure() const {
    std::string reason;
    char text[1024];
    const ISC_STATUS* next = m_status;
    while (::fb_interpret(text, sizeof(text), &next) != 0) {
        if (!reason.empty())
            reason += ": ";
        reason += text;
    }
    for (char& c : reason)
        if (c == '\n')
            c = ' ';
    char state[FB_SQLSTATE_SIZE] = "";
    ::fb_sqlstate(state, m_status);
    return {reason, state, m_status[1]};
}

} // namespace kwlookup
