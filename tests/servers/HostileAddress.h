// SPDX-License-Identifier: MIT
#pragma once

#include "support/Rounds.h"

#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

namespace kwlookup {

/// The `i`th address that would do harm in a statement, a filter, a format or a C string. First
/// each byte inserted before, and in place of, each byte of an address. Then random mixtures of
/// special characters and words, of up to a megabyte.
inline std::string HostileAddress(unsigned i) {
    using namespace std::string_view_literals;
    static constexpr std::string_view BASE = "jdoe@corp.lan";
    static constexpr std::string_view PIECES[] = {
        "'",
        "\"",
        "`",
        "\\",
        "''",
        "\\'",
        "; drop table access; --",
        "' or '1'='1",
        "\" or \"\"=\"",
        "*)(",
        "*)(uid=*",
        ")(|(objectClass=*))",
        "*",
        "(",
        ")",
        "&",
        "|",
        "--",
        "/*",
        "*/",
        "#",
        "%00",
        "%s%n",
        "%",
        "_",
        "\0"sv,
        "\r\n",
        "\r\nFLUSHALL\r\n",
        "$1",
        "$s$u$d$$",
        "?",
        ":a",
        "{0}",
        "\xc0\xa7",
        "\xe0\x80\xa7",
        "\xed\xa0\x80",
        "\xff",
        "\xc3\xb6",
        "\xc3",
        "\xf4\x90\x80\x80",
        "@",
        " ",
        "\t",
        ",",
        "=",
        "+",
        "<",
        ">",
        "jdoe@corp.lan",
        "corp.lan",
        "\x1b[2J",
    };
    static constexpr unsigned PLACES = 2 * 256 * static_cast<unsigned>(BASE.size());
    std::string address(BASE);
    if (i < PLACES) {
        const std::size_t place = i / 2 / 256;
        address.replace(place, i % 2, 1, static_cast<char>(i / 2 % 256));
        return address;
    }
    std::minstd_rand random(i);
    address.clear();
    for (auto pieces = 1 + random() % 6; pieces > 0; --pieces)
        address += PIECES[random() % std::size(PIECES)];
    if (i % 5000 == 0) {
        const std::string piece = address;
        while (address.size() < 1 << 20)
            address += piece;
    }
    return address;
}

/// How many of them a test takes that sends them nowhere: Rounds(usual), or the number in the
/// environment. Five million take a quarter of an hour at most.
inline unsigned HostileAddresses(int usual) {
    const char* const wanted = std::getenv("KWLOOKUP_HOSTILE_ADDRESSES");
    return static_cast<unsigned>(wanted ? std::atoi(wanted) : Rounds(usual));
}

} // namespace kwlookup
