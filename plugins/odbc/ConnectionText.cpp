// SPDX-License-Identifier: MIT
#include "plugins/odbc/ConnectionText.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <stdexcept>

namespace kwlookup {

const char* const HOST_CODE = "$h";
const char* const PORT_CODE = "$p";

namespace {

/// A value that contains one of these, or begins or ends with a blank, is written in braces.
const char* const NEEDS_BRACES = "[]{}(),;?*=!@";

std::string ValueOf(const std::string& text) {
    if (text.find_first_of(NEEDS_BRACES) == std::string::npos &&
        boost::algorithm::trim_copy(text) == text)
        return text;
    return '{' + boost::algorithm::replace_all_copy(text, "}", "}}") + '}';
}

/// The end of the value that begins at `at`: the semicolon after it, or the end of the text.
std::size_t EndOfValue(const std::string& text, std::size_t at) {
    if (text.compare(at, 1, "{") == 0)
        for (at = text.find('}', at); at != std::string::npos && text.compare(at, 2, "}}") == 0;)
            at = text.find('}', at + 2);
    return at == std::string::npos ? text.size() : std::min(text.find(';', at), text.size());
}

} // namespace

void CheckConnectionText(const std::string& text) {
    using boost::algorithm::iequals;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t equals = text.find('=', at);
        const std::string keyword =
            boost::algorithm::trim_copy(text.substr(at, std::min(equals, text.size()) - at));
        if (equals == std::string::npos && keyword.empty())
            return; // blanks at the end
        if (equals == std::string::npos || keyword.empty() ||
            keyword.find(';') != std::string::npos || text.find('\0') != std::string::npos)
            throw std::invalid_argument("Wrong Connection setting: wait KEYWORD=VALUE[;...]");
        if (iequals(keyword, "PWD") || iequals(keyword, "PASSWORD"))
            throw std::invalid_argument("Connection has a password: set Password");
        at = EndOfValue(text, equals + 1) + 1;
    }
}

std::string ConnectionTextFor(const Server& server, const ServerSettings& settings) {
    std::string text = settings.of_type;
    boost::algorithm::replace_all(text, HOST_CODE, server.host);
    boost::algorithm::replace_all(text, PORT_CODE, std::to_string(server.port));
    if (!settings.user.empty())
        text += ";UID=" + ValueOf(settings.user);
    if (!settings.password.empty())
        text += ";PWD=" + ValueOf(settings.password);
    return text;
}

} // namespace kwlookup
