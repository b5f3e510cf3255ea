// SPDX-License-Identifier: MIT
// Reads a text as each kind of value, and compares with arithmetic that cannot overflow. The lowest
// bit of the first byte is set if the variable has a name, and the rest is the text.
#include "conf/ConfParser.h"
#include "fuzz/Require.h"
#include "support/RecordingLog.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace {

__extension__ using Wide = __int128;

/// Read a strict decimal within the range of Integer.
template <typename Integer>
std::optional<Integer> Decimal(const std::string& text) {
    std::size_t i = 0;
    const bool negative = !text.empty() && text[0] == '-';
    if (!text.empty() && (text[0] == '-' || text[0] == '+'))
        ++i;
    if (i == text.size())
        return std::nullopt;
    Wide number = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9')
            return std::nullopt;
        number = number * 10 + (text[i] - '0');
        if (number > Wide(std::numeric_limits<Integer>::max()) + 1)
            return std::nullopt;
    }
    if (negative)
        number = -number;
    if (number > std::numeric_limits<Integer>::max())
        return std::nullopt;
    return static_cast<Integer>(number);
}

template <typename Integer>
std::optional<Integer> WithUnit(std::string text, const std::string& letters,
                                const std::vector<long long>& units) {
    long long unit = 1;
    if (!text.empty()) {
        const int last = std::tolower(static_cast<unsigned char>(text.back()));
        const std::size_t found =
            last == 0 ? std::string::npos : letters.find(static_cast<char>(last));
        if (found != std::string::npos) {
            unit = units[found];
            text.pop_back();
        }
    }
    if (text.empty() || text[0] == '-')
        return std::nullopt;
    const std::optional<Integer> number = Decimal<Integer>(text);
    if (!number)
        return std::nullopt;
    return static_cast<Integer>(Wide(*number) * unit); // the low bits
}

/// The result of reading digits: none, a number, or one that does not fit into 32 bits.
struct Scanned {
    bool any = false;
    bool fits = true;
    std::uint32_t number = 0;
};

Scanned Scan(const std::string& text, std::size_t start, unsigned radix) {
    static const std::string DIGITS = "0123456789abcdef";
    Scanned scanned;
    std::uint64_t number = 0;
    for (std::size_t i = start; i < text.size(); ++i) {
        const int c = std::tolower(static_cast<unsigned char>(text[i]));
        const std::size_t digit = c == 0 ? DIGITS.npos : DIGITS.find(static_cast<char>(c));
        if (digit >= radix)
            break;
        scanned.any = true;
        number = number * radix + digit;
        if (number > 0xffffffff) {
            scanned.fits = false;
            break;
        }
    }
    scanned.number = static_cast<std::uint32_t>(number);
    return scanned;
}

std::string Shown(const std::string& text) {
    std::string shown;
    for (char c : text)
        shown += c == '\0' ? std::string("\\0") : std::string(1, c);
    return shown;
}

template <typename Integer>
void Check(bool (*convert)(const std::string&, const std::string&, Integer*, const LogClass&),
           const std::string& name, const std::string& text, std::optional<Integer> expected,
           const std::string& message, bool any_number = false) {
    RecordingLog::Reset();
    Integer out = 77;
    const bool converted = convert(name, text, &out, LogClass("fuzz"));
    Require(converted == expected.has_value());
    Require(any_number || out == expected.value_or(77));
    std::vector<std::string> lines;
    if (!converted && !message.empty())
        lines.push_back(Shown(message));
    Require(RecordingLog::GetLines().size() == lines.size());
    Require(RecordingLog::Texts(log4cxx::Level::LEVEL_WARN) == lines);
}

void CheckInt(const std::string& name, const std::string& text) {
    if (text.empty() || text[0] != '0') {
        Check(ConfParser::IntParse, name, text, Decimal<int>(text),
              name.empty() ? "" : "Wrong value [" + text + "] in integer variable " + name);
        return;
    }
    const bool hex = text.size() > 1 && (text[1] == 'x' || text[1] == 'X');
    const Scanned scanned = hex ? Scan(text, 2, 16) : Scan(text, 0, 8);
    std::optional<int> expected;
    if (scanned.any)
        expected = static_cast<int>(scanned.number);
    Check(ConfParser::IntParse, name, text, expected,
          "Can not recognize hex value in [" + text + "]", !scanned.fits);
}

bool IsWord(const std::string& text, const std::vector<std::string>& words) {
    std::string lower;
    for (char c : text)
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const std::string& word : words)
        if (lower == word)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const std::string name = data[0] & 1 ? "Name" : "";
    const std::string text(data + 1, data + size);
    CheckInt(name, text);
    Check(ConfParser::ConvertTimeValToSeconds, name, text,
          WithUnit<int>(text, "dhms", {86400, 3600, 60, 1}),
          name.empty() ? "" : "Wrong value [" + text + "] in time variable " + name);
    Check(ConfParser::ConvertSizeValToBytes, name, text,
          WithUnit<long long>(text, "bkmg", {1, 1024, 1048576, 1073741824}),
          name.empty() ? "" : "Wrong value [" + text + "] in size variable " + name);
    Require(ConfParser::IsTrue(text) == IsWord(text, {"yes", "on", "true"}));
    Require(ConfParser::IsFalse(text) == IsWord(text, {"no", "off", "false"}));

    std::string dir = text;
    Require(ConfParser::FixDir(dir));
    Require(dir == (!text.empty() && text.back() == '/' ? text : text + "/"));
    std::string trimmed = text;
    ConfParser::TrimString(trimmed);
    const bool quoted = text.size() > 1 && text[0] == '"' && text[text.size() - 1] == '"';
    Require(quoted ? '"' + trimmed + '"' == text : trimmed == text);
    return 0;
}
