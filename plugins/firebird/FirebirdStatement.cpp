// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdStatement.h"

#include "families/servers/QuestionFault.h"
#include "families/sql/WholeNumber.h"
#include "plugins/firebird/FirebirdStatus.h"
#include "plugins/firebird/FirebirdTime.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace kwlookup {

namespace {

/// A result is a line of text. This limits the memory of many rows.
constexpr std::size_t LONGEST_RESULT = 16 << 20;

/// Longer than the text of any number, date or time.
constexpr short LONGEST_CONVERTED = 128;

/// The alignment of values, enough for any type.
constexpr std::size_t ALIGNMENT = 8;

int TypeOf(const XSQLVAR& value) {
    return value.sqltype & ~1; // the last bit means that it may be null
}

bool IsTime(int type) {
    return type == SQL_TIMESTAMP || type == SQL_TYPE_DATE || type == SQL_TYPE_TIME;
}

template <typename T>
T ReadCell(const char* cell) {
    T value;
    std::memcpy(&value, cell, sizeof(value));
    return value;
}

} // namespace

FirebirdStatement::FirebirdStatement(FirebirdAttachment& attachment, const std::string& text)
    : m_attachment(attachment) {
    FirebirdStatus status;
    ::isc_dsql_allocate_statement(status.Get(), attachment.GetHandle(), &m_handle);
    status.Check();
    try {
        Prepare(text);
    } catch (...) {
        ::isc_dsql_free_statement(status.Get(), &m_handle, DSQL_drop);
        throw;
    }
}

FirebirdStatement::~FirebirdStatement() {
    FirebirdStatus status;
    ::isc_dsql_free_statement(status.Get(), &m_handle, DSQL_drop);
}

void FirebirdStatement::Prepare(const std::string& text) {
    FirebirdStatus status;
    ::isc_dsql_prepare(status.Get(), m_attachment.GetTransaction(), &m_handle,
                       static_cast<unsigned short>(text.size()), text.data(), SQL_DIALECT_V6,
                       m_row.Get());
    status.Check();
    if (!m_row.IsWhole()) {
        m_row = Sqlda(m_row.Size());
        ::isc_dsql_describe(status.Get(), &m_handle, SQLDA_VERSION1, m_row.Get());
        status.Check();
    }
    ::isc_dsql_describe_bind(status.Get(), &m_handle, SQLDA_VERSION1, m_parameter.Get());
    status.Check();
    FindKind();
    BindCells();
}

void FirebirdStatement::FindKind() {
    XSQLVAR& parameter = m_parameter[0];
    switch (TypeOf(parameter)) {
    case SQL_TEXT:
    case SQL_VARYING:
        m_kind = Kind::Text;
        m_limit = TextLimit(parameter);
        m_text.resize(sizeof(ISC_USHORT) + m_limit.GetMostBytes());
        parameter.sqltype = SQL_VARYING + 1;
        parameter.sqldata = m_text.data();
        break;
    case SQL_SHORT:
    case SQL_LONG:
    case SQL_INT64:
        m_kind = Kind::WholeNumber;
        BindNumber(parameter, m_number);
        break;
    default:
        m_kind = Kind::Other;
    }
    parameter.sqlind = &m_null;
    if (m_parameter.Size() == 2)
        BindNumber(m_parameter[1], m_characters);
}

void FirebirdStatement::BindNumber(XSQLVAR& parameter, long long& number) {
    parameter.sqltype = SQL_INT64 + 1;
    parameter.sqlscale = 0;
    parameter.sqllen = sizeof(number);
    parameter.sqldata = reinterpret_cast<char*>(&number);
    parameter.sqlind = &m_null;
}

/// The client library converts all values to texts but blobs, and times, which it would write as no
/// other database does.
void FirebirdStatement::BindCells() {
    std::size_t size = 0;
    for (short i = 0; i < m_row.Size(); ++i) {
        XSQLVAR& value = m_row[i];
        const int type = TypeOf(value);
        m_columns.push_back({size, type});
        if (type == SQL_BLOB || IsTime(type)) {
            size += ALIGNMENT; // none of them takes more
            continue;
        }
        if (type != SQL_TEXT && type != SQL_VARYING) {
            value.sqllen = LONGEST_CONVERTED;
            value.sqlsubtype = 0;
            value.sqlscale = 0;
        }
        value.sqltype = SQL_VARYING + 1;
        size += sizeof(ISC_USHORT) + static_cast<std::size_t>(value.sqllen);
        size += ALIGNMENT - size % ALIGNMENT;
    }
    m_cells.resize(size);
    m_nulls.resize(m_columns.size());
    for (short i = 0; i < m_row.Size(); ++i) {
        const auto column = static_cast<std::size_t>(i);
        m_row[i].sqldata = m_cells.data() + m_columns[column].at;
        m_row[i].sqlind = &m_nulls[column];
    }
}

void FirebirdStatement::Ask(const std::string& value, Answer& answer) {
    if (!Bind(value))
        return;
    FirebirdStatus status;
    ::isc_dsql_execute(status.Get(), m_attachment.GetTransaction(), &m_handle, SQLDA_VERSION1,
                       m_parameter.Get());
    try {
        status.Check();
    } catch (const FirebirdFailure& failure) {
        // Any value of the column can be converted to UTF-8, so it must be the searched value that
        // cannot be converted to the column's character set.
        if (m_limit.IsUtf8() && failure.GetCode() == isc_transliteration_failed)
            return;
        throw;
    }
    struct Cursor {
        isc_stmt_handle* statement;
        ~Cursor() {
            FirebirdStatus ignored;
            ::isc_dsql_free_statement(ignored.Get(), statement, DSQL_close);
        }
    };
    const Cursor cursor{&m_handle};
    constexpr ISC_STATUS END = 100;
    while (::isc_dsql_fetch(status.Get(), &m_handle, SQLDA_VERSION1, m_row.Get()) != END) {
        status.Check();
        AddRow(answer);
    }
}

/// False if the column cannot contain `value`.
bool FirebirdStatement::Bind(const std::string& value) {
    if (m_kind == Kind::Other)
        throw QuestionFault("the condition's column holds neither texts nor whole numbers");
    if (m_kind == Kind::WholeNumber) {
        const auto number = ReadWholeNumber(value);
        if (!number)
            throw QuestionFault("the condition's column holds numbers, and the value is no whole "
                                "number");
        m_number = *number;
        return true;
    }
    if (!m_limit.CanHold(value))
        return false;
    m_characters = static_cast<long long>(m_limit.Length(value));
    const auto length = static_cast<ISC_USHORT>(value.size());
    std::memcpy(m_text.data(), &length, sizeof(length));
    std::copy(value.begin(), value.end(), m_text.begin() + sizeof(length));
    return true;
}

void FirebirdStatement::AddRow(Answer& answer) {
    answer.AddRow();
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        if (m_nulls[i] < 0)
            continue;
        AddCell(m_cells.data() + m_columns[i].at, m_columns[i].type, answer);
        if (answer.GetResult().size() > LONGEST_RESULT)
            throw std::runtime_error("the result is longer than 16 MiB");
    }
}

void FirebirdStatement::AddCell(const char* cell, int type, Answer& answer) {
    switch (type) {
    case SQL_BLOB:
        return answer.AddValue(ReadBlob(ReadCell<ISC_QUAD>(cell)));
    case SQL_TIMESTAMP: {
        const auto time = ReadCell<ISC_TIMESTAMP>(cell);
        return answer.AddValue(DateText(time.timestamp_date) + ' ' + TimeText(time.timestamp_time));
    }
    case SQL_TYPE_DATE:
        return answer.AddValue(DateText(ReadCell<ISC_DATE>(cell)));
    case SQL_TYPE_TIME:
        return answer.AddValue(TimeText(ReadCell<ISC_TIME>(cell)));
    default:
        std::string_view text(cell + sizeof(ISC_USHORT), ReadCell<ISC_USHORT>(cell));
        if (type == SQL_TEXT) // padded
            text = text.substr(0, text.find_last_not_of(' ') + 1);
        answer.AddValue(text);
    }
}

std::string FirebirdStatement::ReadBlob(ISC_QUAD id) {
    struct Blob {
        isc_blob_handle handle = 0;
        ~Blob() {
            FirebirdStatus ignored;
            if (handle != 0)
                ::isc_close_blob(ignored.Get(), &handle);
        }
    };
    Blob blob;
    FirebirdStatus status;
    ::isc_open_blob2(status.Get(), m_attachment.GetHandle(), m_attachment.GetTransaction(),
                     &blob.handle, &id, 0, nullptr);
    status.Check();
    std::string text;
    char segment[16384];
    for (unsigned short length = 0; text.size() <= LONGEST_RESULT;) {
        const ISC_STATUS read =
            ::isc_get_segment(status.Get(), &blob.handle, &length, sizeof(segment), segment);
        if (read == isc_segstr_eof)
            break;
        if (read != isc_segment) // that is: the segment continues
            status.Check();
        text.append(segment, length);
    }
    return text;
}

} // namespace kwlookup
