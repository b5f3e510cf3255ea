// SPDX-License-Identifier: MIT
#include "tools/lists/Hints.h"

#include "kwlog/Logging.h"
#include "lookup/KwFactory.h"
#include "objects/KwObjectHolder.h"
#include "tools/lists/Plugin.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <numeric>
#include <string_view>
#include <utility>

namespace kwlookup {

namespace {

using Factory = KwFactory<KwIfLookup>;

constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::string ShellQuoted(const std::string& argument) {
    constexpr std::string_view PLAIN = "0123456789@%+=:,./_-";
    const auto plain = [&](char c) {
        return LETTERS.find(c) != std::string_view::npos || PLAIN.find(c) != std::string_view::npos;
    };
    if (!argument.empty() && std::all_of(argument.begin(), argument.end(), plain))
        return argument;
    std::string quoted = "'";
    for (char c : argument)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// How many letters must be inserted, removed or replaced to turn `from` into `to`.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t(0));
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] != to[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

/// The item that corresponds to one of another program's type `type`; empty if none is known.
std::string ItemOfForeignType(const std::string& type, const std::string& params) {
    static const std::map<std::string, std::pair<const char*, const char*>> items = {
        {"btree", {"berkeley:Database=", ".db|$s"}},
        {"hash", {"berkeley:Database=", ".db|$s"}},
        {"lsearch", {"file:", ""}},
        {"pcre", {"rfile:", ""}},
        {"pgsql", {"postgres:", ""}},
        {"regexp", {"rfile:", ""}},
        {"texthash", {"file:", ""}}};
    const auto found = items.find(type);
    return found == items.end() ? std::string()
                                : found->second.first + params + found->second.second;
}

std::string HintForType(const std::string& type, const std::string& item) {
    const std::string params = item.substr(item.find(':') + 1);
    std::string meant = ItemOfForeignType(type, params);
    const std::vector<std::string> types = Factory::Instance().GetNames();
    if (const std::string near = NearestName(type, types); meant.empty() && !near.empty())
        meant = near + ":" + params;
    std::string hint = "'kwlookup types' lists the types; ";
    if (!meant.empty())
        return hint + "write " + ShellQuoted(meant);
    hint += "a value with a colon in it is written 'value:" + item + "'";
    return WhyNoTypeName(type).empty() ? hint + "; for a plug-in from elsewhere, add --type " + type
                                       : hint;
}

bool IsSetting(const std::string& text) {
    const std::size_t equals = text.find('=');
    return equals != std::string::npos && equals != 0 && text.find_first_not_of(LETTERS) == equals;
}

/// The item with quotes around what follows the settings, if a bar splits that.
std::string HintForBar(const std::string& type, const std::string& params) {
    std::size_t begin = 0, bar;
    while ((bar = params.find('|', begin)) != std::string::npos &&
           IsSetting(params.substr(begin, bar - begin)))
        begin = bar + 1;
    if (bar == std::string::npos)
        return std::string();
    // Do not quote what has quotes or backslashes already.
    if (params.find('"') != std::string::npos || params.find("\\|") != std::string::npos ||
        params.find("\\\\") != std::string::npos)
        return "a bar ends a setting: quote it";
    return "a bar ends a setting: quote it: " +
           ShellQuoted(type + ":" + params.substr(0, begin) + '"' + params.substr(begin) + '"');
}

} // namespace

std::string Quoted(const std::string& text, char separator) {
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\' || c == separator)
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

std::string CommandLine(const std::vector<std::string>& arguments) {
    std::string line = "kwlookup";
    for (const std::string& argument : arguments)
        line += ' ' + ShellQuoted(argument);
    return line;
}

std::string HintForItem(const std::string& item) {
    std::string type, params;
    KwObjectHolder::ParseObject(item, type, params);
    if (type.empty())
        return std::string();
    const LookupCreator* const known = Factory::Instance().Lookup(type);
    if (!known)
        return HintForType(type, item);
    if (*known)
        return std::string();
    const std::string package = HintForMissing(type);
    return package.empty() ? HintForBar(type, params) : package;
}

std::string HintForMissing(const std::string& type) {
    const std::string package = MissingPackage(type);
    return package.empty() ? package : "install the package " + package;
}

std::string HintForUnquotedList(const std::vector<std::string>& arguments) {
    std::vector<std::string> joined;
    for (const std::string& argument : arguments) {
        if (!joined.empty() && !joined.back().empty() && joined.back().back() == ',')
            joined.back() += ' ' + argument;
        else
            joined.push_back(argument);
    }
    if (joined.size() == arguments.size())
        return std::string();
    return "a list with blanks in it needs quotes: " + CommandLine(joined);
}

std::string NearestName(const std::string& word, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t least =
        std::min<std::size_t>(3, word.size()); // at most two errors, one letter right
    for (const std::string& name : names) {
        const std::size_t distance = Distance(word, name);
        if (distance < least) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

bool PrintHint(const std::string& hint) {
    const auto printable = [](char c) { return c >= 0x20 && c <= 0x7e; };
    constexpr std::size_t LONGEST = 1000; // nobody would read more
    if (hint.empty() || hint.size() > LONGEST || !std::all_of(hint.begin(), hint.end(), printable))
        return false;
    std::cerr << "kwlookup: hint: " << WithoutSecrets(hint) << '\n';
    return true;
}

} // namespace kwlookup
