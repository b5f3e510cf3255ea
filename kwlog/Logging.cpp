// SPDX-License-Identifier: MIT
#include "kwlog/Logging.h"

#include "kwlog/LogBackend.h"

namespace kwlookup {

void SetLogging(LogTarget target, log4cxx::Level::LevelEnum level, const std::string& name) {
    LogBackend::Instance().Set(target, level, name);
}

std::size_t CountLoggedErrors() {
    return LogBackend::Instance().GetErrorCount();
}

std::string PrintableText(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    std::string printable;
    printable.reserve(text.size());
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte <= 0x7e && c != '\\') {
            printable += c;
        } else {
            printable += "\\x";
            printable += digits[byte >> 4];
            printable += digits[byte & 0xf];
        }
    }
    return printable;
}

} // namespace kwlookup
