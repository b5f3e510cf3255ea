// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdInserter.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "plugins/firebird/FirebirdAttachment.h"
#include "plugins/firebird/FirebirdStatus.h"
#include "plugins/firebird/FirebirdTime.h"
#include "plugins/firebird/FirebirdTransaction.h"
#include "text/IsUtf8.h"

#include <algorithm>
#include <cstring>

namespace kwlookup {

namespace {

/// No number, date or truth value takes a longer text.
constexpr short LONGEST_OTHER = 255;

/// The most that one call writes.
constexpr std::size_t SEGMENT = 32768;

} // namespace

FirebirdInserter::FirebirdInserter(FirebirdAttachment& attachment, FirebirdTransaction& transaction,
                                   const FirebirdInsert& insert)
    : m_attachment(attachment), m_transaction(transaction), m_insert(insert) {
    FirebirdStatus status;
    ::isc_dsql_allocate_statement(status.Get(), attachment.GetHandle(), &m_handle);
    status.Check();
    try {
        Prepare();
    } catch (...) {
        ::isc_dsql_free_statement(status.Get(), &m_handle, DSQL_drop);
        throw;
    }
}

FirebirdInserter::~FirebirdInserter() {
    FirebirdStatus status;
    ::isc_dsql_free_statement(status.Get(), &m_handle, DSQL_drop);
}

void FirebirdInserter::Prepare() {
    const std::string& text = m_insert.GetStatement();
    FirebirdStatus status;
    ::isc_dsql_prepare(status.Get(), m_transaction.GetHandle(), &m_handle,
                       static_cast<unsigned short>(text.size()), text.data(), SQL_DIALECT_V6,
                       nullptr);
    status.Check();
    ::isc_dsql_describe_bind(status.Get(), &m_handle, SQLDA_VERSION1, m_values.Get());
    status.Check();
    if (!m_values.IsWhole()) {
        m_values = Sqlda(m_values.Size());
        ::isc_dsql_describe_bind(status.Get(), &m_handle, SQLDA_VERSION1, m_values.Get());
        status.Check();
    }
    for (short i = 0; i < m_values.Size(); ++i) {
        Column column{Kind::Other, {}, m_values[i], {}, {}, {}, 0};
        switch (column.described.sqltype & ~1) { // the last bit says that it may be null
        case SQL_TEXT:
        case SQL_VARYING:
            column.kind = Kind::Text;
            column.limit = TextLimit(column.described);
            break;
        case SQL_BLOB:
            column.kind = Kind::Blob;
            break;
        case SQL_TIMESTAMP:
        case SQL_TYPE_DATE:
        case SQL_TYPE_TIME:
            column.kind = Kind::Moment;
            break;
        default:
            column.described.sqlsubtype = 0;
            column.described.sqllen = LONGEST_OTHER;
        }
        if (column.kind == Kind::Moment)
            column.described.sqllen = LONGEST_OTHER;
        column.text.resize(sizeof(ISC_USHORT) + static_cast<std::size_t>(column.described.sqllen));
        m_columns.push_back(std::move(column));
    }
}

void FirebirdInserter::Insert(const StoredRow& row) {
    if (row.size() != m_columns.size())
        throw ServerFault("the server answers with another statement");
    for (std::size_t i = 0; i < row.size(); ++i)
        Bind(i, row[i]);
    FirebirdStatus status;
    ::isc_dsql_execute(status.Get(), m_transaction.GetHandle(), &m_handle, SQLDA_VERSION1,
                       m_values.Get());
    status.Check();
}

void FirebirdInserter::Bind(std::size_t i, const StoredValue& value) {
    Column& column = m_columns[i];
    XSQLVAR& bound = m_values[static_cast<short>(i)];
    bound = column.described;
    bound.sqlind = &column.null;
    if (column.kind == Kind::Blob) {
        column.blob = MakeBlob(value.text);
        bound.sqltype = SQL_BLOB + 1;
        bound.sqldata = reinterpret_cast<char*>(&column.blob);
    } else if (value.type == KwStorageValuesMap::Int) {
        bound.sqltype = SQL_INT64 + 1;
        bound.sqlsubtype = 0;
        bound.sqlscale = 0;
        bound.sqllen = sizeof(value.number);
        bound.sqldata = reinterpret_cast<char*>(const_cast<long long*>(&value.number));
    } else if (value.type == KwStorageValuesMap::Timestamp && column.kind == Kind::Moment) {
        column.moment = ReadFirebirdTime(value.text);
        bound.sqltype = SQL_TIMESTAMP + 1;
        bound.sqllen = sizeof(column.moment);
        bound.sqldata = reinterpret_cast<char*>(&column.moment);
    } else {
        BindText(i, value.text);
    }
}

void FirebirdInserter::BindText(std::size_t i, const std::string& text) {
    Column& column = m_columns[i];
    XSQLVAR& bound = m_values[static_cast<short>(i)];
    const std::string name = "'" + m_insert.GetName(i) + "'";
    if (column.limit.IsUtf8() && !kwlookup::IsUtf8(text))
        throw QuestionFault(name + " is not UTF-8");
    if (column.kind == Kind::Text ? !column.limit.CanHold(text)
                                  : text.size() > static_cast<std::size_t>(LONGEST_OTHER))
        throw QuestionFault(name + " is longer than its column");
    const auto length = static_cast<ISC_USHORT>(text.size());
    std::memcpy(column.text.data(), &length, sizeof(length));
    std::copy(text.begin(), text.end(), column.text.begin() + sizeof(length));
    bound.sqltype = SQL_VARYING + 1;
    bound.sqlscale = 0;
    bound.sqldata = column.text.data();
}

ISC_QUAD FirebirdInserter::MakeBlob(const std::string& text) {
    struct Blob {
        isc_blob_handle handle = 0;
        ~Blob() {
            FirebirdStatus ignored;
            if (handle != 0)
                ::isc_cancel_blob(ignored.Get(), &handle);
        }
    };
    Blob blob;
    ISC_QUAD id{};
    FirebirdStatus status;
    ::isc_create_blob2(status.Get(), m_attachment.GetHandle(), m_transaction.GetHandle(),
                       &blob.handle, &id, 0, nullptr);
    status.Check();
    for (std::size_t at = 0; at < text.size(); at += SEGMENT) {
        const std::size_t length = std::min(SEGMENT, text.size() - at);
        ::isc_put_segment(status.Get(), &blob.handle, static_cast<unsigned short>(length),
                          text.data() + at);
        status.Check();
    }
    ::isc_close_blob(status.Get(), &blob.handle);
    status.Check();
    return id;
}

} // namespace kwlookup
