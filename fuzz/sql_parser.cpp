// SPDX-License-Identifier: MIT
// Parses a statement as SELECT and as INSERT, with and without a trace, and compares with the
// parser of the tests.
#include "fuzz/Require.h"
#include "sql/StatementMachine.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

/// Check that an accepted statement is accepted again when written plainly.
void CheckAgain(const Parsed& select) {
    std::string statement = "select ";
    for (std::size_t i = 0; i < select.names.size(); ++i)
        statement += (i == 0 ? "" : ", ") + select.names[i];
    statement += " from " + select.table + " where " + select.where_column + " = '" +
                 select.where_value + "'";
    Parsed again = Parse(statement, &KwSQLParser::parse_select, false);
    again.trace = select.trace;
    Require(again == select);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string statement(reinterpret_cast<const char*>(data), size);
    for (bool trace : {false, true}) {
        const Parsed select = Parse(statement, &KwSQLParser::parse_select, trace);
        Require(select == ExpectedSelect(statement, trace));
        if (select.result)
            CheckAgain(select);

        const Parsed insert = Parse(statement, &KwSQLParser::parse_insert, trace);
        Require(insert == ExpectedInsert(statement, trace));
        Require(!insert.result && insert.types.size() <= 1 && insert.names.size() <= 1);
    }
    return 0;
}
