// SPDX-License-Identifier: MIT
#pragma once

#include <sql.h>
#include <string>
#include <vector>

namespace kwlookup {

/// What a column holds.
struct OdbcColumn {
    enum class Kind { Text, Bytes, WholeNumber, Moment, Other };

    Kind kind;
    bool is_long; ///< values may be longer than others
};

/// The columns of the rows that `statement` gives, which is executed. Throws OdbcDiagnosis.
std::vector<OdbcColumn> DescribeColumns(SQLHANDLE connection, const std::string& statement);

} // namespace kwlookup
