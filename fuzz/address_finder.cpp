// SPDX-License-Identifier: MIT
// Matches the text on the first line with the values on the others, and compares the answers with
// the rules in the header.
#include "fuzz/Require.h"
#include "kwhost/AddressFinder.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

using namespace kwlookup;

const char SPACES[] = " \t\n\r\v\f";

std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Trim(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(SPACES);
    if (begin == std::string::npos)
        return std::string();
    return text.substr(begin, text.find_last_not_of(SPACES) + 1 - begin);
}

bool EndsIn(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

/// True if `key` matches `text`; both are in lower case.
bool IsKey(const std::string& key, const std::string& text) {
    const bool bracketed = text.size() >= 2 && text.front() == '<' && text.back() == '>';
    const std::string address = bracketed ? text.substr(1, text.size() - 2) : text;
    const std::size_t at = address.rfind('@');
    const std::string domain = at == std::string::npos ? address : address.substr(at + 1);
    if (key == text)
        return true;
    if (key.empty())
        return false;
    if (key == address)
        return true;
    if (key.size() > 1 && key.back() == '@' && at != std::string::npos)
        return key == address.substr(0, at) + "@";
    if (domain.empty())
        return false;
    if (key.front() == '.')
        return key.size() > 1 && EndsIn(domain, key);
    return key == domain || key == "@" + domain;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream in(std::string(data, data + size));
    std::string text;
    std::getline(in, text);
    const AddressFinder finder(text);
    const TextRange request = finder.GetRequest();
    Require(std::string(request.begin(), request.end()) == text);
    Require(finder.GetRes().empty() && finder.GetMatchedValue().empty());

    std::string matched;
    for (std::string value; std::getline(in, value);) {
        const std::string trimmed = Trim(value);
        const std::size_t key_end = trimmed.find_first_of(SPACES);
        const std::string key = trimmed.substr(0, key_end);
        const std::string result =
            key_end == std::string::npos ? std::string() : Trim(trimmed.substr(key_end));
        const bool is_key = IsKey(Lower(key), Lower(text));
        const bool is_text = Lower(value) == Lower(text);
        if (is_key || is_text)
            matched = value;

        const bool plain = finder.Match(value);
        Require(plain == (is_key ? result.empty() : is_text));
        Require(finder.GetRes() == (is_key ? result : std::string()));
        Require(finder.GetMatchedValue() == matched);
        if (is_key && !result.empty()) {
            // Until the result is cleared, it stays and nothing matches.
            Require(!finder.Match(text) && !finder.Match(value));
            Require(finder.GetRes() == result && finder.GetMatchedValue() == matched);
            finder.ClearRes();
            Require(finder.GetRes().empty() && finder.GetMatchedValue() == matched);
        }
    }
    return 0;
}
