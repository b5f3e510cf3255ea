// SPDX-License-Identifier: MIT
#include "plugins/oracle/OracleStatement.h"

#include "families/servers/QuestionFault.h"
#include "families/sql/WholeNumber.h"
#include "text/IsUtf8.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace kwlookup {
namespace {

/// Bounds the memory that the texts of many rows take.
constexpr std::size_t LONGEST_RESULT = 16 << 20;

/// One byte in the database may become that many here.
constexpr std::size_t MOST_BYTES = 4;

/// The longest text that a column or a parameter may have.
constexpr std::size_t LONGEST_TEXT = 32767;

/// More than a number, a date or a time takes as a text.
constexpr std::size_t LONGEST_CONVERTED = 256;

/// The length of a value is a number of two bytes.
constexpr std::size_t LONGEST_VALUE = 65534;

/// Few results have more rows, so one answer of the server brings them all.
constexpr std::uint32_t ROWS_AT_ONCE = 100;

constexpr std::int16_t IS_NULL = -1;

/// After these errors another connection may work: the session or the server has ended or has too
/// many of them, or the call took too long.
constexpr std::int32_t OF_SERVER[] = {18,   20,   28,   1012, 1013, 1033, 1034, 1089,
                                      1090, 1092, 2396, 3113, 3114, 3135, 3136, 3156};
/// The errors of the network.
constexpr std::int32_t FIRST_OF_NETWORK = 12150, LAST_OF_NETWORK = 12699;

/// A parameter that is too long for a comparison.
constexpr std::int32_t OF_LENGTH[] = {1460, 1461};

template <typename Codes>
bool Contains(const Codes& codes, std::int32_t code) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

} // namespace

OracleFailure::OracleFailure(const OracleClient& client, void* error)
    : OracleFailure(Read(client, error)) {}

OracleFailure::Record OracleFailure::Read(const OracleClient& client, void* error) {
    Record record{0, "no reason given"};
    char text[1024] = "";
    if (client.ErrorGet(error, 1, nullptr, &record.code, reinterpret_cast<unsigned char*>(text),
                        sizeof(text) - 1, oci::HTYPE_ERROR) == oci::SUCCESS) {
        record.reason = text;
        record.reason.resize(std::min(record.reason.find('\n'), record.reason.size()));
    }
    return record;
}

bool OracleFailure::IsOfServer() const {
    return (m_code >= FIRST_OF_NETWORK && m_code <= LAST_OF_NETWORK) || Contains(OF_SERVER, m_code);
}

bool OracleFailure::IsOfLength() const {
    return Contains(OF_LENGTH, m_code);
}

void OracleHandles::Check(int done) const {
    if (done != oci::SUCCESS && done != oci::SUCCESS_WITH_INFO)
        throw OracleFailure(client, error);
}

OracleStatement::OracleStatement(const OracleHandles& handles, const OracleTexts& texts)
    : m_handles(handles), m_column(FindColumn(texts.type_text)),
      m_statement(Prepare(handles, texts.text)) {
    // A hint: without it, rows come one by one.
    auto rows = ROWS_AT_ONCE;
    handles.client.AttrSet(m_statement, oci::HTYPE_STMT, &rows, sizeof(rows),
                           oci::ATTR_PREFETCH_ROWS, handles.error);
}

OracleStatement::~OracleStatement() {
    m_handles.client.StmtRelease(m_statement, m_handles.error, nullptr, 0, oci::DEFAULT);
}

void* OracleStatement::Prepare(const OracleHandles& handles, const std::string& text) {
    void* statement = nullptr;
    handles.Check(handles.client.StmtPrepare2(
        handles.service, &statement, handles.error, OracleText(text),
        static_cast<std::uint32_t>(text.size()), nullptr, 0, oci::NTV_SYNTAX, oci::DEFAULT));
    return statement;
}

OracleStatement::Column OracleStatement::Describe(void* statement, std::uint32_t position) const {
    const OracleClient& client = m_handles.client;
    void* parameter = nullptr;
    m_handles.Check(
        client.ParamGet(statement, oci::HTYPE_STMT, m_handles.error, &parameter, position));
    Column column{};
    const int type = client.AttrGet(parameter, oci::DTYPE_PARAM, &column.type, nullptr,
                                    oci::ATTR_DATA_TYPE, m_handles.error);
    const int size = client.AttrGet(parameter, oci::DTYPE_PARAM, &column.size, nullptr,
                                    oci::ATTR_DATA_SIZE, m_handles.error);
    client.DescriptorFree(parameter, oci::DTYPE_PARAM);
    m_handles.Check(type);
    m_handles.Check(size);
    return column;
}

OracleStatement::Column OracleStatement::FindColumn(const std::string& type_text) const {
    struct Release {
        const OracleHandles& handles;
        void* statement;
        ~Release() {
            handles.client.StmtRelease(statement, handles.error, nullptr, 0, oci::DEFAULT);
        }
    };
    const Release prepared{m_handles, Prepare(m_handles, type_text)};
    m_handles.Check(m_handles.client.StmtExecute(m_handles.service, prepared.statement,
                                                 m_handles.error, 0, 0, nullptr, nullptr,
                                                 oci::DESCRIBE_ONLY));
    return Describe(prepared.statement, 1);
}

void OracleStatement::Ask(const std::string& value, Answer& answer) {
    if (!CanHold(value))
        return;
    const OracleClient& client = m_handles.client;
    Bind(value);
    try {
        m_handles.Check(client.StmtExecute(m_handles.service, m_statement, m_handles.error, 0, 0,
                                           nullptr, nullptr, oci::DEFAULT));
    } catch (const OracleFailure& failure) {
        if (failure.IsOfLength() && value.size() > m_column.size)
            return;
        throw;
    }
    Define();
    for (;;) {
        const int fetched =
            client.StmtFetch2(m_statement, m_handles.error, 1, oci::FETCH_NEXT, 0, oci::DEFAULT);
        if (fetched == oci::NO_DATA)
            return;
        m_handles.Check(fetched);
        answer.AddRow();
        for (const Cell& cell : m_cells)
            AddCell(cell, answer);
    }
}

/// False if the condition's column cannot hold `value`. Oracle takes an empty text for NULL, and
/// bytes that are not UTF-8 for other characters.
bool OracleStatement::CanHold(const std::string& value) const {
    switch (m_column.type) {
    case oci::SQLT_CHR:
    case oci::SQLT_AFC:
        return !value.empty() && IsUtf8(value) &&
               value.size() <= std::min(MOST_BYTES * m_column.size, LONGEST_TEXT);
    case oci::SQLT_BIN:
        return !value.empty() && value.size() <= m_column.size;
    case oci::SQLT_NUM:
        if (!ReadWholeNumber(value))
            throw QuestionFault("the condition's column holds numbers, and the value is no whole "
                                "number");
        return true;
    default:
        throw QuestionFault("the condition's column holds neither texts nor whole numbers");
    }
}

void OracleStatement::Bind(const std::string& value) {
    std::uint16_t type = m_column.type;
    m_bound.clear();
    if (type == oci::SQLT_CHR) {
        // A value of this type has its length before it, and keeps blanks at its end.
        type = oci::SQLT_VCS;
        const auto length = static_cast<std::uint16_t>(value.size());
        m_bound.append(reinterpret_cast<const char*>(&length), sizeof(length));
    } else if (type == oci::SQLT_NUM) {
        type = oci::SQLT_CHR; // the server reads the number
    }
    m_bound += value;
    void* bind = nullptr;
    m_handles.Check(
        m_handles.client.BindByPos(m_statement, &bind, m_handles.error, 1, m_bound.data(),
                                   static_cast<std::int32_t>(m_bound.size()), type, nullptr,
                                   nullptr, nullptr, 0, nullptr, oci::DEFAULT));
}

/// Tells the client library where to put the values of a row, as texts. It knows that already
/// unless the table has changed.
void OracleStatement::Define() {
    const OracleClient& client = m_handles.client;
    std::uint32_t columns = 0;
    m_handles.Check(client.AttrGet(m_statement, oci::HTYPE_STMT, &columns, nullptr,
                                   oci::ATTR_PARAM_COUNT, m_handles.error));
    if (columns == m_cells.size())
        return;
    std::vector<Cell> cells(columns);
    for (std::uint32_t i = 0; i < columns; ++i) {
        const Column column = Describe(m_statement, i + 1);
        Cell& cell = cells[i];
        const bool is_long = column.type == oci::SQLT_LNG || column.type == oci::SQLT_CLOB;
        cell.is_padded = column.type == oci::SQLT_AFC;
        cell.text.resize(
            is_long ? LONGEST_VALUE
                    : std::min(MOST_BYTES * column.size + LONGEST_CONVERTED, LONGEST_VALUE));
        void* define = nullptr;
        m_handles.Check(
            client.DefineByPos(m_statement, &define, m_handles.error, i + 1, cell.text.data(),
                               static_cast<std::int32_t>(cell.text.size()), oci::SQLT_CHR,
                               &cell.indicator, &cell.length, &cell.code, oci::DEFAULT));
    }
    m_cells = std::move(cells);
}

void OracleStatement::AddCell(const Cell& cell, Answer& answer) const {
    if (cell.indicator == IS_NULL)
        return;
    if (cell.indicator != 0) // it was cut
        throw std::runtime_error("a value is longer than " + std::to_string(cell.text.size()) +
                                 " bytes");
    std::string_view text(cell.text.data(), cell.length);
    if (cell.is_padded)
        text = text.substr(0, text.find_last_not_of(' ') + 1);
    answer.AddValue(text);
    if (answer.GetResult().size() > LONGEST_RESULT)
        throw std::runtime_error("the result is longer than 16 MiB");
}

} // namespace kwlookup
