// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "plugins/oracle/OracleClient.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

/// The statement of an item, and one that returns its condition's column without any row.
struct OracleTexts {
    std::string text;
    std::string type_text;
};

/// `text` for a call that does not change it.
inline unsigned char* OracleText(const std::string& text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
}

/// Why a call failed.
class OracleFailure : public std::runtime_error {
public:
    /// Reads the reason from the error handle `error`.
    OracleFailure(const OracleClient& client, void* error);

    /// True if the connection is broken, or another server may answer.
    bool IsOfServer() const;

    /// True if the server takes no text of such a length.
    bool IsOfLength() const;

private:
    struct Record {
        std::int32_t code;
        std::string reason;
    };

    explicit OracleFailure(const Record& record)
        : std::runtime_error(record.reason), m_code(record.code) {}
    static Record Read(const OracleClient& client, void* error);

    std::int32_t m_code; ///< the number in "ORA-NUMBER"
};

/// What all calls of a session need.
struct OracleHandles {
    const OracleClient& client;
    void* environment = nullptr;
    void* error = nullptr;
    void* server = nullptr;
    void* service = nullptr;
    void* session = nullptr;

    /// Throws OracleFailure unless `done` is the result of a call that succeeded.
    void Check(int done) const;
};

/// A prepared statement with one parameter.
///
/// Throws OracleFailure when a call fails. Threads: one at a time.
class OracleStatement {
public:
    /// `handles` must outlive it.
    OracleStatement(const OracleHandles& handles, const OracleTexts& texts);
    ~OracleStatement();
    OracleStatement(const OracleStatement&) = delete;
    OracleStatement& operator=(const OracleStatement&) = delete;

    /// Puts the rows for `value` into `answer`. Throws QuestionFault if the condition's column
    /// cannot be compared with such a value.
    void Ask(const std::string& value, Answer& answer);

private:
    struct Column {
        std::uint16_t type;
        std::uint16_t size; ///< in bytes of the database's character set
    };

    /// A place for a column's value.
    struct Cell {
        std::vector<char> text;
        bool is_padded; ///< with blanks
        std::int16_t indicator;
        std::uint16_t length;
        std::uint16_t code;
    };

    static void* Prepare(const OracleHandles& handles, const std::string& text);
    Column Describe(void* statement, std::uint32_t position) const;
    Column FindColumn(const std::string& type_text) const;
    bool CanHold(const std::string& value) const;
    void Bind(const std::string& value);
    void Define();
    void AddCell(const Cell& cell, Answer& answer) const;

    const OracleHandles& m_handles;
    const Column m_column; ///< of the condition
    void* const m_statement;
    std::string m_bound;       ///< the parameter's value
    std::vector<Cell> m_cells; ///< empty until the statement has been executed
};

} // namespace kwlookup
