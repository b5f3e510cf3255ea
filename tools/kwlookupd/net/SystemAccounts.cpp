// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/SystemAccounts.h"

#include <cerrno>
#include <charconv>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace kwlookup {

namespace {

/// Reads a number that is the whole text.
template <typename Number>
bool ReadNumber(const std::string& text, Number& number) {
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
}

/// Enough for a group of some ten thousand members. The number of a larger one can be written.
constexpr std::size_t LONGEST_ENTRY = 1024 * 1024;

/// Returns the user or group of that name, without its texts. `get` reads it.
template <typename Entry, typename Get>
std::optional<Entry> FindEntry(const Get& get, const std::string& name) {
    std::vector<char> texts(LONGEST_ENTRY);
    Entry entry;
    Entry* found = nullptr;
    get(name.c_str(), &entry, texts.data(), texts.size(), &found);
    return found ? std::optional<Entry>(entry) : std::nullopt;
}

void CheckSystem(int result, const char* call) {
    if (result != 0)
        throw std::system_error(errno, std::system_category(), call);
}

} // namespace

uid_t FindUser(const std::string& name) {
    uid_t number;
    if (const auto user = FindEntry<passwd>(::getpwnam_r, name))
        return user->pw_uid;
    if (ReadNumber(name, number))
        return number;
    throw std::invalid_argument("there is no user " + name);
}

gid_t FindGroup(const std::string& name) {
    gid_t number;
    if (const auto found = FindEntry<group>(::getgrnam_r, name))
        return found->gr_gid;
    if (ReadNumber(name, number))
        return number;
    throw std::invalid_argument("there is no group " + name);
}

void BecomeUser(const std::string& name) {
    const auto user = FindEntry<passwd>(::getpwnam_r, name);
    if (!user)
        throw std::invalid_argument("there is no user " + name);
    const uid_t uid = user->pw_uid;
    const gid_t gid = user->pw_gid;
    if (::getuid() == uid && ::geteuid() == uid)
        return;
    CheckSystem(::initgroups(name.c_str(), gid), "initgroups");
    CheckSystem(::setgid(gid), "setgid");
    CheckSystem(::setuid(uid), "setuid");
    if (uid != 0 && ::setuid(0) == 0)
        throw std::runtime_error("the rights of root could be taken back");
}

} // namespace kwlookup
