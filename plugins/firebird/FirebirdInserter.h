// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoredRow.h"
#include "plugins/firebird/FirebirdInsert.h"
#include "plugins/firebird/Sqlda.h"
#include "plugins/firebird/TextLimit.h"

#include <cstddef>
#include <ibase.h>
#include <string>
#include <vector>

namespace kwlookup {

class FirebirdAttachment;
class FirebirdTransaction;

/// A prepared insert statement of a transaction.
///
/// Throws FirebirdFailure when a call fails. Threads: one at a time.
class FirebirdInserter {
public:
    /// All of them must outlive it.
    FirebirdInserter(FirebirdAttachment& attachment, FirebirdTransaction& transaction,
                     const FirebirdInsert& insert);
    ~FirebirdInserter();
    FirebirdInserter(const FirebirdInserter&) = delete;
    FirebirdInserter& operator=(const FirebirdInserter&) = delete;

    /// Throws QuestionFault "'NAME' is longer than its column" and "'NAME' is not UTF-8".
    void Insert(const StoredRow& row);

private:
    enum class Kind { Text, Blob, Moment, Other };

    struct Column {
        Kind kind;
        TextLimit limit;        ///< of a text
        XSQLVAR described;      ///< what the server says of it
        std::vector<char> text; ///< with its length before it
        ISC_QUAD blob;
        ISC_TIMESTAMP moment;
        short null; ///< it is not
    };

    void Prepare();
    void Bind(std::size_t i, const StoredValue& value);
    void BindText(std::size_t i, const std::string& text);
    ISC_QUAD MakeBlob(const std::string& text);

    FirebirdAttachment& m_attachment;
    FirebirdTransaction& m_transaction;
    const FirebirdInsert& m_insert;
    isc_stmt_handle m_handle = 0;
    Sqlda m_values{8}; // most tables have fewer columns
    std::vector<Column> m_columns;
};

} // namespace kwlookup
