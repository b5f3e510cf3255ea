// SPDX-License-Identifier: MIT
#include "conf/NumberRange.h"

#include "conf/ConfParser.h"
#include "host/LogClass.h"

#include <boost/algorithm/string/trim.hpp>

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace kwlookup {

namespace {

using Number = unsigned long long;

constexpr Number LARGEST_INT = std::numeric_limits<int>::max();

/// Returns true when the number at the start of `digits` is more than `largest`.
bool IsMore(std::string_view digits, int base, Number largest) {
    Number number = 0;
    const auto error =
        std::from_chars(digits.data(), digits.data() + digits.size(), number, base).ec;
    return error == std::errc::result_out_of_range || number > largest;
}

std::string IntPassed(std::string_view text) {
    bool passed = false;
    if (text[0] == '0') {
        // ConfParser ignores what follows the digits of such numbers.
        const bool hexadecimal = text.size() > 1 && (text[1] == 'x' || text[1] == 'X');
        passed =
            hexadecimal ? IsMore(text.substr(2), 16, LARGEST_INT) : IsMore(text, 8, LARGEST_INT);
    } else {
        const bool negative = text[0] == '-';
        if (negative || text[0] == '+')
            text.remove_prefix(1);
        passed = text.find_first_not_of("0123456789") == std::string_view::npos &&
                 IsMore(text, 10, LARGEST_INT + negative);
    }
    return passed ? "must be from " + std::to_string(std::numeric_limits<int>::min()) + " to " +
                        std::to_string(LARGEST_INT)
                  : std::string();
}

/// `convert` is ConfParser's function for numbers with units.
template <typename Value>
std::string QuantityPassed(std::string_view text, const char* noun,
                           bool (*convert)(const std::string&, const std::string&, Value*,
                                           const LogClass&)) {
    constexpr Number LARGEST = std::numeric_limits<Value>::max();
    Value unit = 1;
    if (text.back() < '0' || text.back() > '9') {
        if (!convert("", std::string("1") + text.back(), &unit, LogClass("")))
            return std::string();
        text.remove_suffix(1);
    }
    if (!text.empty() && text[0] == '+')
        text.remove_prefix(1);
    if (text.find_first_not_of("0123456789") != std::string_view::npos ||
        !IsMore(text, 10, LARGEST / static_cast<Number>(unit)))
        return std::string();
    return "must be at most " + std::to_string(LARGEST) + noun;
}

std::string ItemPassed(IfConfParser::VarType type, const std::string& text) {
    if (text.empty())
        return text;
    if (type == IfConfParser::VT_INT)
        return IntPassed(text);
    if (type == IfConfParser::VT_TIME)
        return QuantityPassed<int>(text, " seconds", ConfParser::ConvertTimeValToSeconds);
    return QuantityPassed<long long>(text, " bytes", ConfParser::ConvertSizeValToBytes);
}

std::string ListPassed(IfConfParser::VarType type, const std::string& text) {
    std::vector<std::string> items;
    try {
        ConfParser::SplitVector(text, items, ',');
    } catch (const std::invalid_argument&) {
        return std::string();
    }
    std::string passed;
    for (auto item = items.begin(); item != items.end() && passed.empty(); ++item)
        passed = ItemPassed(type, *item);
    return passed;
}

} // namespace

std::string PassedRange(IfConfParser::VarType type, const std::string& text) {
    switch (type) {
    case IfConfParser::VT_INT:
    case IfConfParser::VT_TIME:
    case IfConfParser::VT_SIZE:
        return ItemPassed(type, boost::algorithm::trim_copy(text));
    case IfConfParser::VT_INT_LIST:
        return ListPassed(IfConfParser::VT_INT, text);
    case IfConfParser::VT_TIME_LIST:
        return ListPassed(IfConfParser::VT_TIME, text);
    case IfConfParser::VT_SIZE_LIST:
        return ListPassed(IfConfParser::VT_SIZE, text);
    default:
        return std::string();
    }
}

} // namespace kwlookup
