// SPDX-License-Identifier: MIT
#pragma once

#include <sql.h>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// Why a call failed, as its handle tells: "REASON (SQLSTATE)".
class OdbcDiagnosis : public std::runtime_error {
public:
    OdbcDiagnosis(SQLSMALLINT type, SQLHANDLE handle) : OdbcDiagnosis(Read(type, handle)) {}

    /// The SQLSTATE; empty where the driver gives none.
    const std::string& GetState() const { return m_state; }

    /// Another connection may do better.
    bool IsOfServer() const;

    /// Throws what the failure means for a search: QuestionFault "error of configuration: REASON"
    /// where the login, the statement or the driver is wrong (the classes 28, 42, 3D, 3F and IM),
    /// ServerFault where another connection may do better (08, HYT, 40, 53 and 57P) or where
    /// `is_dead`, and QuestionFault for the rest.
    [[noreturn]] void Fail(bool is_dead) const;

private:
    struct Record {
        std::string state;
        std::string reason;
    };

    explicit OdbcDiagnosis(const Record& record);
    static Record Read(SQLSMALLINT type, SQLHANDLE handle);

    std::string m_state;
};

} // namespace kwlookup
