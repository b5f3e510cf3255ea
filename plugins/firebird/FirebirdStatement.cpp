// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdStatement.h"

#include "families/servers/QuestionFault.h"
#include "families/sql/WholeNumber.h"
#include "plugins/firebird/FirebirdStatus.h"
#include "text/IsUtf8.h"

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

/// Character sets with more than one byte a character, by Firebird's fixed numbers.
constexpr int UNICODE_FSS = 3, UTF8 = 4;

constexpr unsigned short DIALECT = 3;

int TypeOf(const XSQLVAR& value) {
    return value.sqltype & ~1; // the last bit means that it may be null
}

std::size_t CharactersOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
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
                       static_cast<unsigned short>(text.size()), text.data(), DIALECT, m_row.Get());
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
    const int charset = parameter.sqlsubtype & 0xff;
    const int bytes = charset == UTF8 ? 4 : charset == UNICODE_FSS ? 3 : 1;
    switch (TypeOf(parameter)) {
    case SQL_TEXT:
    case SQL_VARYING:
        m_kind = Kind::Text;
        m_is_utf8 = charset == UTF8;
        m_most_characters = static_cast<std::size_t>(parameter.sqllen / bytes);
        m_text.resize(sizeof(ISC_USHORT) + static_cast<std::size_t>(parameter.sqllen));
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

/// The client library converts all values but blobs to texts.
void FirebirdStatement::BindCells() {
    std::size_t size = 0;
    for (short i = 0; i < m_row.Size(); ++i) {
        XSQLVAR& value = m_row[i];
        const int type = TypeOf(value);
        m_columns.push_back({size, type == SQL_BLOB, type == SQL_TEXT});
        if (type == SQL_BLOB) {
            size += sizeof(ISC_QUAD);
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
        if (m_is_utf8 && failure.GetCode() == isc_transliteration_failed)
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
    if (!CanHold(value))
        return false;
    m_characters = static_cast<long long>(m_is_utf8 ? CharactersOf(value) : value.size());
    const auto length = static_cast<ISC_USHORT>(value.size());
    std::memcpy(m_text.data(), &length, sizeof(length));
    std::copy(value.begin(), value.end(), m_text.begin() + sizeof(length));
    return true;
}

bool FirebirdStatement::CanHold(const std::string& value) const {
    if (!m_is_utf8)
        return value.size() <= m_most_characters;
    return value.size() <= 4 * m_most_characters && IsUtf8(value) &&
           CharactersOf(value) <= m_most_characters;
}

void FirebirdStatement::AddRow(Answer& answer) {
    answer.AddRow();
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        if (m_nulls[i] < 0)
            continue;
        const char* const cell = m_cells.data() + m_columns[i].at;
        if (m_columns[i].is_blob) {
            ISC_QUAD id;
            std::memcpy(&id, cell, sizeof(id));
            answer.AddValue(ReadBlob(id));
        } else {
            ISC_USHORT length;
            std::memcpy(&length, cell, sizeof(length));
            std::string_view text(cell + sizeof(length), length);
            if (m_columns[i].is_padded)
                text = text.substr(0, text.find_last_not_of(' ') + 1);
            answer.AddValue(text);
        }
        if (answer.GetResult().size() > LONGEST_RESULT)
            throw std::runtime_error("the result is longer than 16 MiB");
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
