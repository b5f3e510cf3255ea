// SPDX-License-Identifier: MIT
#pragma once

#include <ibase.h>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// The exception for a call of the client library that failed.
class FirebirdFailure : public std::runtime_error {
public:
    FirebirdFailure(const std::string& reason, std::string state, ISC_STATUS code)
        : std::runtime_error(reason), m_state(std::move(state)), m_code(code) {}

    ISC_STATUS GetCode() const { return m_code; }

    /// True if the connection is broken or the server is shutting down. Another server may succeed.
    bool IsOfServer() const;

    /// Throws the exception that a search needs: ServerFault or QuestionFault.
    [[noreturn]] void Fail() const;

private:
    std::string m_state;
    ISC_STATUS m_code;
};

/// The status that each call of the client library fills in.
class FirebirdStatus {
public:
    ISC_STATUS* Get() { return m_status; }

    /// Throws FirebirdFailure after a call that failed.
    void Check() const;

    /// Throws ServerFault after a call that failed.
    void CheckConnection() const;

private:
    bool IsGood() const { return m_status[0] != 1 || m_status[1] == 0; }
    FirebirdFailure Failure() const;

    ISC_STATUS_ARRAY m_status = {};
};

} // namespace kwlookup
