// SPDX-License-Identifier: MIT
#pragma once

#include <sql.h>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// The exception for a call that failed: "REASON (SQLSTATE)", read from the handle of the call.
class OdbcDiagnosis : public std::runtime_error {
public:
    OdbcDiagnosis(SQLSMALLINT type, SQLHANDLE handle) : OdbcDiagnosis(Read(type, handle)) {}

    /// The SQLSTATE; empty if the driver gives none.
    const std::string& GetState() const { return m_state; }

    /// True if another connection may succeed.
    bool IsOfServer() const;

    /// Throws the exception that a search needs:
    ///   - QuestionFault "error of configuration: REASON" if the login, the statement or the driver
    ///     is wrong (classes 28, 42, 3D, 3F and IM);
    ///   - ServerFault if another connection may succeed (08, HYT, 40, 53, 57P, and any error of
    ///     MariaDB's client library), or if `is_dead`;
    ///   - QuestionFault otherwise.
    [[noreturn]] void Fail(bool is_dead) const;

private:
    struct Record {
        std::string state;
        std::string reason;
        bool is_of_client = false;
    };

    explicit OdbcDiagnosis(const Record& record);
    static Record Read(SQLSMALLINT type, SQLHANDLE handle);

    std::string m_state;
    bool m_is_of_client; ///< of MariaDB's client library, and not of a server
};

/// Throws OdbcDiagnosis when the call for `statement` failed that gave `done`.
void CheckOdbc(SQLHANDLE statement, SQLRETURN done);

/// Execute `text`, which has no parameters, as `statement` of `connection`. Throws what CheckOdbc()
/// throws.
void ExecuteOdbc(SQLHANDLE connection, SQLHANDLE statement, const std::string& text);

} // namespace kwlookup
