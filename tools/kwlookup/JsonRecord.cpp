// SPDX-License-Identifier: MIT
#include "JsonRecord.h"

#include "text/IsUtf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace kwlookup {

namespace {

using Json = nlohmann::json;

/// A whole number of more digits may have another value than its text shows.
constexpr std::size_t MOST_DIGITS = 18;

/// Reads an object whose names and values are what they look like: texts without a backslash, and
/// whole numbers. Nearly all lines are such objects, and the parser below takes several times as
/// long.
class PlainObject {
public:
    explicit PlainObject(std::string_view text) : m_rest(text) {}

    /// Set the values of `record`. False for another text, and if `record` had other names.
    bool Read(KwStorageValuesMap& record) {
        const std::string_view text = m_rest;
        std::size_t values = 0;
        if (!Take('{'))
            return false;
        do {
            std::string_view content;
            if (!TakeText(content) || !Take(':'))
                return false;
            auto& value = record.m_values[m_name.assign(content)];
            if (!TakeText(content) && !TakeNumber(content))
                return false;
            value.first = KwStorageValuesMap::Varchar;
            value.second.assign(content);
            ++values;
        } while (Take(','));
        if (!Take('}') || (SkipBlanks(), !m_rest.empty()) || values != record.m_values.size())
            return false;
        return std::none_of(text.begin(), text.end(), IsEightBit) || IsUtf8(text);
    }

private:
    static bool IsEightBit(char c) { return (c & 0x80) != 0; }

    void SkipBlanks() {
        while (!m_rest.empty() && m_rest.front() == ' ')
            m_rest.remove_prefix(1);
    }

    bool Take(char c) {
        SkipBlanks();
        if (m_rest.empty() || m_rest.front() != c)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    bool TakeText(std::string_view& content) {
        if (!Take('"'))
            return false;
        std::size_t size = 0;
        while (size < m_rest.size() && m_rest[size] != '"') {
            if (static_cast<unsigned char>(m_rest[size]) < ' ' || m_rest[size] == '\\')
                return false;
            ++size;
        }
        content = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        return Take('"');
    }

    bool TakeNumber(std::string_view& number) {
        const std::size_t sign = !m_rest.empty() && m_rest.front() == '-' ? 1 : 0;
        std::size_t size = sign;
        while (size < m_rest.size() && m_rest[size] >= '0' && m_rest[size] <= '9')
            ++size;
        number = m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        const std::string_view digits = number.substr(sign);
        return !digits.empty() && digits.size() <= MOST_DIGITS &&
               (digits.front() != '0' || number == "0");
    }

    std::string_view m_rest;
    std::string m_name;
};

/// Puts what the parser finds directly into a record, without a tree of values.
class RecordHandler : public nlohmann::json_sax<Json> {
public:
    explicit RecordHandler(KwStorageValuesMap& record) : m_record(record) {}

    const std::string& GetReason() const { return m_reason; }

    bool start_object(std::size_t) override {
        if (m_inside)
            return RefuseValue();
        m_inside = true;
        return true;
    }
    bool key(std::string& name) override {
        m_name = std::move(name);
        return true;
    }
    bool end_object() override { return true; }

    bool string(std::string& text) override { return Add(std::move(text)); }
    bool number_integer(std::int64_t number) override { return Add(std::to_string(number)); }
    bool number_unsigned(std::uint64_t number) override { return Add(std::to_string(number)); }
    bool number_float(double, const std::string& text) override { return Add(text); }

    bool null() override { return RefuseValue(); }
    bool boolean(bool) override { return RefuseValue(); }
    bool binary(Json::binary_t&) override { return RefuseValue(); }
    bool start_array(std::size_t) override { return RefuseValue(); }
    bool end_array() override { return true; }

    bool parse_error(std::size_t position, const std::string&,
                     const nlohmann::detail::exception& error) override {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: REASON"
        std::string reason = error.what();
        const std::size_t colon = reason.find(": ");
        if (colon != std::string::npos)
            reason.erase(0, colon + 2);
        m_reason = "not JSON at byte " + std::to_string(position) + ": " + reason;
        return false;
    }

private:
    bool Add(std::string text) {
        if (!m_inside)
            return RefuseValue();
        m_record.m_values[m_name] = {KwStorageValuesMap::Varchar, std::move(text)};
        return true;
    }

    bool RefuseValue() {
        m_reason = m_inside ? "'" + m_name + "' is neither a text nor a number" : "not an object";
        return false;
    }

    KwStorageValuesMap& m_record;
    bool m_inside = false; ///< true after the object has begun
    std::string m_name;
    std::string m_reason;
};

} // namespace

std::string ReadJsonRecord(const std::string& text, KwStorageValuesMap& record) {
    if (PlainObject(text).Read(record))
        return "";
    record.m_values.clear();
    if (PlainObject(text).Read(record))
        return "";
    record.m_values.clear();
    RecordHandler handler(record);
    Json::sax_parse(text, &handler);
    return handler.GetReason();
}

} // namespace kwlookup
