// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

/// Who may use a door: `AllowFrom` lists the networks of TCP clients, `AllowUser` and `AllowGroup`
/// the users and groups of programs at UNIX sockets. A client must match one entry if there are any
/// for its kind of socket. Threads: any.
class AccessRules {
public:
    /// Takes the settings by their names in lower case; ignores all others. Throws
    /// std::invalid_argument with the reason.
    explicit AccessRules(const std::map<std::string, std::string>& settings);
    ~AccessRules();
    AccessRules(const AccessRules&) = delete;
    AccessRules& operator=(const AccessRules&) = delete;

    /// True if the client at the other end of `socket` may ask.
    bool Allows(int socket) const;

private:
    struct Networks;

    bool AllowsAddress(int socket) const;
    bool AllowsUser(int socket) const;

    std::unique_ptr<Networks> m_networks;
    std::vector<uid_t> m_users;
    std::vector<gid_t> m_groups;
};

} // namespace kwlookup
