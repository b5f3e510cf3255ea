// SPDX-License-Identifier: MIT
#include "families/servers/SystemUser.h"

#include <array>
#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace kwlookup {

namespace {

/// More than any entry of a user database needs.
constexpr std::size_t LONGEST_ENTRY = 16384;

} // namespace

std::string SystemUser() {
    std::array<char, LONGEST_ENTRY> texts;
    passwd entry;
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, texts.data(), texts.size(), &found);
    if (!found)
        throw std::invalid_argument("User is not set");
    return found->pw_name;
}

} // namespace kwlookup
