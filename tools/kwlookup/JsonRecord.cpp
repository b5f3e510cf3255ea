// SPDX-License-Identifier: MIT
#include "JsonRecord.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <utility>

namespace kwlookup {

namespace {

using Json = nlohmann::json;

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
    record.m_values.clear();
    RecordHandler handler(record);
    Json::sax_parse(text, &handler);
    return handler.GetReason();
}

} // namespace kwlookup
