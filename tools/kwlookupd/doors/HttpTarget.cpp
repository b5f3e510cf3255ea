// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/HttpTarget.h"

#include "tools/kwlookupd/doors/HexValue.h"

#include <algorithm>

namespace kwlookup {

namespace {

/// Appends the decoded `text` to `decoded`. False if a "%" has no two digits.
bool Decode(std::string_view text, bool plus_is_blank, std::string& decoded) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+' && plus_is_blank) {
            decoded += ' ';
        } else if (text[i] != '%') {
            decoded += text[i];
        } else {
            const int high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
            if (high < 0 || low < 0)
                return false;
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        }
    }
    return true;
}

/// Takes what is before `separator`, and the separator, from the front of `text`.
std::string_view TakeUntil(std::string_view& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

} // namespace

std::optional<HttpTarget> HttpTarget::Parse(std::string_view target) {
    if (target.empty() || target[0] != '/')
        return std::nullopt;
    HttpTarget parsed;
    std::string_view query = target;
    std::string_view path = TakeUntil(query, '?').substr(1);
    while (!path.empty()) {
        parsed.path.emplace_back();
        if (!Decode(TakeUntil(path, '/'), false, parsed.path.back()))
            return std::nullopt;
    }
    while (!query.empty()) {
        std::string_view value = TakeUntil(query, '&');
        const std::string_view name = TakeUntil(value, '=');
        auto& parameter = parsed.parameters.emplace_back();
        const bool is_form = parsed.path.empty();
        if (!Decode(name, is_form, parameter.first) || !Decode(value, is_form, parameter.second))
            return std::nullopt;
    }
    return parsed;
}

const std::string* HttpTarget::Find(std::string_view name) const {
    for (const auto& parameter : parameters)
        if (parameter.first == name)
            return &parameter.second;
    return nullptr;
}

bool HttpTarget::HasTwice(std::string_view name) const {
    return std::count_if(parameters.begin(), parameters.end(),
                         [&](const auto& parameter) { return parameter.first == name; }) > 1;
}

bool HttpTarget::HasOnly(std::initializer_list<std::string_view> names) const {
    return std::all_of(parameters.begin(), parameters.end(), [&](const auto& parameter) {
        return std::find(names.begin(), names.end(), parameter.first) != names.end();
    });
}

} // namespace kwlookup
