// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdTime.h"

#include <cstdio>
#include <ctime>

namespace kwlookup {

std::string DateText(ISC_DATE date) {
    std::tm parts{};
    ::isc_decode_sql_date(&date, &parts);
    char text[40]; // more than three ints take
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday);
    return text;
}

std::string TimeText(ISC_TIME time) {
    std::tm parts{};
    ::isc_decode_sql_time(&time, &parts);
    char text[40]; // more than three ints take
    std::snprintf(text, sizeof(text), "%02d:%02d:%02d", parts.tm_hour, parts.tm_min, parts.tm_sec);
    const auto fraction = static_cast<unsigned>(time % ISC_TIME_SECONDS_PRECISION);
    if (fraction == 0)
        return text;
    char digits[20];
    std::snprintf(digits, sizeof(digits), ".%04u", fraction);
    std::string all = std::string(text) + digits;
    return all.erase(all.find_last_not_of('0') + 1);
}

ISC_TIMESTAMP ReadFirebirdTime(const std::string& text) {
    std::tm parts{};
    char fraction[] = "0000";
    std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &parts.tm_year, &parts.tm_mon,
                &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec);
    parts.tm_year -= 1900;
    --parts.tm_mon;
    const std::size_t point = text.find('.');
    if (point != std::string::npos)
        text.copy(fraction, sizeof(fraction) - 1, point + 1);
    ISC_TIMESTAMP time;
    ::isc_encode_timestamp(&parts, &time);
    time.timestamp_time += static_cast<ISC_TIME>(std::stoul(fraction));
    return time;
}

} // namespace kwlookup
