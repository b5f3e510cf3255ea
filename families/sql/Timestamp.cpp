// SPDX-License-Identifier: MIT
#include "families/sql/Timestamp.h"

#include <boost/algorithm/string/predicate.hpp>

#include <cstdint>
#include <ctime>
#include <locale>
#include <string_view>

namespace kwlookup {

namespace {

constexpr std::int64_t DAY_S = 86400;

/// No zone is further from UTC than 14 hours, but some databases allow more.
constexpr int MAX_ZONE_HOURS = 15;

/// Takes pieces from the front of a text.
class Reader {
public:
    explicit Reader(std::string_view text) : m_rest(text) {}

    bool Take(char c) {
        if (m_rest.empty() || m_rest.front() != c)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    /// A number of exactly `digits` digits, up to `most`.
    bool TakeNumber(std::size_t digits, int most, int& number) {
        const std::string_view taken = Digits();
        if (taken.size() < digits)
            return false;
        number = 0;
        for (const char c : taken.substr(0, digits))
            number = 10 * number + (c - '0');
        m_rest.remove_prefix(digits);
        return number <= most;
    }

    std::string_view TakeDigits() {
        const std::string_view digits = Digits();
        m_rest.remove_prefix(digits.size());
        return digits;
    }

    bool AtEnd() const { return m_rest.empty(); }

private:
    std::string_view Digits() const {
        return m_rest.substr(0, m_rest.find_first_not_of("0123456789"));
    }

    std::string_view m_rest;
};

bool IsLeap(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int DaysOf(int year, int month) {
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeap(year) ? 29 : DAYS[month - 1];
}

/// Days since 1970-01-01, negative before.
std::int64_t DaysSinceEpoch(int year, int month, int day) {
    const std::int64_t before = year - 1;
    std::int64_t days = 365 * before + before / 4 - before / 100 + before / 400;
    for (int m = 1; m < month; ++m)
        days += DaysOf(year, m);
    constexpr std::int64_t EPOCH = 719162; // the days of the years 1 to 1969
    return days + day - 1 - EPOCH;
}

/// With zeros before it. Printing a format takes several times as long, for each record.
void AppendNumber(std::string& text, int number, int digits) {
    for (int power = digits == 4 ? 1000 : 10; power > 0; power /= 10)
        text += static_cast<char>('0' + number / power % 10);
}

void Write(const std::tm& parts, std::string_view fraction, std::string& utc) {
    utc.clear();
    AppendNumber(utc, parts.tm_year + 1900, 4);
    AppendNumber(utc += '-', parts.tm_mon + 1, 2);
    AppendNumber(utc += '-', parts.tm_mday, 2);
    AppendNumber(utc += ' ', parts.tm_hour, 2);
    AppendNumber(utc += ':', parts.tm_min, 2);
    AppendNumber(utc += ':', parts.tm_sec, 2);
    if (!fraction.empty())
        utc.append(1, '.').append(fraction);
}

bool Write(std::int64_t seconds, std::string_view fraction, std::string& utc) {
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (!::gmtime_r(&time, &parts) || parts.tm_year + 1900 < 1 || parts.tm_year + 1900 > 9999)
        return false;
    Write(parts, fraction, utc);
    return true;
}

/// How many seconds a zone is ahead of UTC.
bool ReadZone(Reader& in, std::int64_t& ahead) {
    if (in.Take('Z') || in.Take('z'))
        return true;
    const bool behind = in.Take('-');
    if (!behind && !in.Take('+'))
        return false;
    int hours = 0;
    int minutes = 0;
    if (!in.TakeNumber(2, MAX_ZONE_HOURS, hours))
        return false;
    if (!in.AtEnd() && (in.Take(':'), !in.TakeNumber(2, 59, minutes)))
        return false;
    ahead = (behind ? -1 : 1) * (60 * (60 * hours + minutes));
    return true;
}

} // namespace

bool ReadTimestamp(const std::string& text, std::string& utc) {
    if (boost::algorithm::iequals(text, "now", std::locale::classic()))
        return Write(std::time(nullptr), "", utc);
    Reader in(text);
    int year, month, day;
    if (!in.TakeNumber(4, 9999, year) || !in.Take('-') || !in.TakeNumber(2, 12, month) ||
        !in.Take('-') || !in.TakeNumber(2, 31, day))
        return false;
    if (year == 0 || month == 0 || day == 0 || day > DaysOf(year, month))
        return false;
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::string_view fraction;
    std::int64_t ahead = 0;
    if (!in.AtEnd()) {
        if (!in.Take(' ') && !in.Take('T') && !in.Take('t'))
            return false;
        if (!in.TakeNumber(2, 23, hour) || !in.Take(':') || !in.TakeNumber(2, 59, minute))
            return false;
        if (in.Take(':')) {
            if (!in.TakeNumber(2, 59, second))
                return false;
            if (in.Take('.')) {
                fraction = in.TakeDigits();
                if (fraction.empty() || fraction.size() > 6)
                    return false;
            }
        }
        if (!in.AtEnd() && !ReadZone(in, ahead))
            return false;
        if (!in.AtEnd())
            return false;
    }
    if (ahead == 0) { // nothing to convert, which saves time
        std::tm parts{};
        parts.tm_year = year - 1900;
        parts.tm_mon = month - 1;
        parts.tm_mday = day;
        parts.tm_hour = hour;
        parts.tm_min = minute;
        parts.tm_sec = second;
        Write(parts, fraction, utc);
        return true;
    }
    return Write(DaysSinceEpoch(year, month, day) * DAY_S + 3600 * hour + 60 * minute + second -
                     ahead,
                 fraction, utc);
}

} // namespace kwlookup
