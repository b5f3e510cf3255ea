// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/HttpDate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace kwlookup {

namespace {

constexpr std::array<const char*, 7> DAYS = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Reads a number that fills `text`; -1 if it is none.
int ReadDigits(std::string_view text) {
    int number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

} // namespace

std::string FormatHttpDate(std::time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[64];
    std::snprintf(text, sizeof(text), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                  DAYS[static_cast<std::size_t>(parts.tm_wday)], parts.tm_mday,
                  MONTHS[static_cast<std::size_t>(parts.tm_mon)], parts.tm_year + 1900,
                  parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

std::optional<std::time_t> ParseHttpDate(std::string_view text) {
    // Sun, 06 Nov 1994 08:49:37 GMT
    if (text.size() != 29)
        return std::nullopt;
    const auto month = std::find(MONTHS.begin(), MONTHS.end(), text.substr(8, 3));
    const int day = ReadDigits(text.substr(5, 2));
    const int year = ReadDigits(text.substr(12, 4));
    const int hour = ReadDigits(text.substr(17, 2));
    const int minute = ReadDigits(text.substr(20, 2));
    const int second = ReadDigits(text.substr(23, 2));
    if (month == MONTHS.end() || year < 1970 || day < 1 || hour < 0 || minute < 0 || second < 0)
        return std::nullopt;
    // Days since 1970, with years that begin in March so that a leap day is the last of its year.
    const int number = static_cast<int>(month - MONTHS.begin()) + 1;
    const long y = year - (number <= 2 ? 1 : 0);
    const long day_of_year = (153L * (number + (number > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const long days = y * 365 + y / 4 - y / 100 + y / 400 + day_of_year - 719'468;
    const std::time_t time = ((days * 24 + hour) * 60 + minute) * 60 + second;
    // Refuses what is no date, such as the 31st of February, or has other separators.
    return FormatHttpDate(time) == text ? std::optional(time) : std::nullopt;
}

} // namespace kwlookup
