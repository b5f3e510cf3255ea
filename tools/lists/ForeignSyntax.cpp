// SPDX-License-Identifier: MIT
#include "tools/lists/ForeignSyntax.h"

#include "objects/KwObjectHolder.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <sys/stat.h>

namespace kwlookup {

namespace {

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool ConsistsOf(std::string_view text, std::string_view bytes) {
    return text.find_first_not_of(bytes) == std::string_view::npos;
}

/// "10.0.0.0/8", "2001:db8::/32".
bool IsNetwork(std::string_view key) {
    const std::size_t slash = key.rfind('/');
    if (slash == std::string_view::npos)
        return false;
    const std::string_view address = key.substr(0, slash), bits = key.substr(slash + 1);
    return !bits.empty() && bits.size() <= 3 && ConsistsOf(bits, "0123456789") &&
           ConsistsOf(address, "0123456789abcdefABCDEF.:") &&
           address.find_first_of(".:") != std::string_view::npos;
}

bool IsPattern(std::string_view key) {
    return key.front() == '^' || (key.size() > 2 && key.front() == '/' && key.back() == '/');
}

bool NamesFile(const std::string& name) {
    struct stat status;
    return name.find('\0') == std::string::npos && ::stat(name.c_str(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

/// Cut the next word off the start of `text`.
std::string_view TakeWord(std::string_view& text) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const auto is_space = [&bytes](char c) { return bytes.IsSpace(c); };
    const auto begin = std::find_if_not(text.begin(), text.end(), is_space);
    const auto end = std::find_if(begin, text.end(), is_space);
    const std::string_view word = text.substr(static_cast<std::size_t>(begin - text.begin()),
                                              static_cast<std::size_t>(end - begin));
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
    return word;
}

/// An address, or a name with a dot in it.
bool LooksLikeKey(std::string_view word) {
    constexpr std::string_view NAME = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                      "0123456789-._@+";
    const std::size_t dot = word.find_first_of("@.");
    return dot != std::string_view::npos && dot + 1 < word.size() && ConsistsOf(word, NAME) &&
           !ConsistsOf(word, "0123456789.");
}

} // namespace

std::string ForeignKey(std::string_view key) {
    const std::string text(key.substr(0, 100)); // enough for a message
    if (key.empty())
        return std::string();
    if (StartsWith(key, "*@"))
        return "'*' stands for itself here; write '" + text.substr(1) + "' for the whole domain";
    if (StartsWith(key, "*."))
        return "'*' stands for itself here; write '" + text.substr(1) + "' for all sub-domains";
    if (key.find('*') != std::string_view::npos)
        return "'*' stands for itself here; patterns have the types regex and rfile";
    if (key.front() == '!')
        return "'!' is part of the key; it does not exclude '" + text.substr(1) + "'";
    if (key.front() == '#')
        return "'#' does not begin a comment here; '" + text + "' is a key";
    if (IsNetwork(key))
        return "'" + text + "' matches this text only, not the addresses of a network";
    if (IsPattern(key))
        return "'" + text + "' is not a pattern here; patterns have the types regex and rfile";
    if (key.find(';') != std::string_view::npos)
        return "';' does not separate keys here; it is part of the key '" + text + "'";
    if (key.size() > 1 && (key.back() == ':' || key.back() == ','))
        return std::string("the '") + key.back() + "' is part of the key '" + text + "'";
    if (key.front() == '"' && std::count(key.begin(), key.end(), '"') % 2 != 0)
        return "quotes do not join words here; the key is '" + text + "'";
    return std::string();
}

std::string ForeignItem(const std::string& item) {
    std::string type, text;
    KwObjectHolder::ParseObject(item, type, text);
    if (!type.empty())
        return std::string();
    if (!item.empty() && item.front() == ':')
        return "the colon at its start is dropped; write 'value:" + item + "' to keep it";
    if (text.size() != item.size())
        return std::string();
    if (NamesFile(text))
        return "it names a file but is not read; write 'file:" + text + "' to read it";
    std::string_view rest = text;
    const std::string_view key = TakeWord(rest);
    std::string foreign = ForeignKey(key);
    if (!foreign.empty())
        return foreign;
    if (!key.empty() && key.front() == '/')
        return "it is a value, not the name of a file; 'file:" + text + "' would be one";
    const std::string result(rest);
    bool keys = LooksLikeKey(key);
    std::size_t words = 0;
    for (std::string_view word = TakeWord(rest); keys && !word.empty(); word = TakeWord(rest)) {
        keys = LooksLikeKey(word);
        ++words;
    }
    if (keys && words != 0)
        return "only commas separate items; '" + result.substr(result.find_first_not_of(" \t")) +
               "' is the result of '" + std::string(key) + "'";
    return std::string();
}

} // namespace kwlookup
