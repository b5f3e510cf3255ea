// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/Escape.h"

#include "text/IsUtf8.h"

namespace kwlookup {

namespace {

constexpr std::string_view REPLACEMENT = "\xef\xbf\xbd"; // U+FFFD

/// Appends each character of `text` with `append`; bytes that are not UTF-8 as U+FFFD.
template <typename Append>
std::string Escape(std::string_view text, Append append) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        std::size_t size = 1;
        while (size <= 4 && size <= text.size() && !IsUtf8(text.substr(0, size)))
            ++size;
        if (size > 4 || size > text.size()) {
            escaped += REPLACEMENT;
            size = 1;
        } else {
            append(escaped, text.substr(0, size));
        }
        text.remove_prefix(size);
    }
    return escaped;
}

} // namespace

std::string EscapeHtml(std::string_view text) {
    return Escape(text, [](std::string& escaped, std::string_view character) {
        const auto c = static_cast<unsigned char>(character[0]);
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else if (c == '"')
            escaped += "&quot;";
        else if (c == '\'')
            escaped += "&#39;";
        else if ((c < ' ' && c != '\t' && c != '\n') || c == 0x7f)
            escaped += REPLACEMENT;
        else
            escaped += character;
    });
}

std::string EscapeLabel(std::string_view text) {
    return Escape(text, [](std::string& escaped, std::string_view character) {
        if (character == "\\")
            escaped += "\\\\";
        else if (character == "\"")
            escaped += "\\\"";
        else if (character == "\n")
            escaped += "\\n";
        else
            escaped += character;
    });
}

} // namespace kwlookup
