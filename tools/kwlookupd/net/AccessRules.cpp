// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/AccessRules.h"

#include "tools/kwlookupd/net/SystemAccounts.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>

#include <algorithm>
#include <cstring>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>

namespace kwlookup {

namespace ip = boost::asio::ip;

struct AccessRules::Networks {
    std::vector<ip::network_v4> v4;
    std::vector<ip::network_v6> v6;

    /// Adds a network such as 10.0.0.0/8, or one address.
    void Add(const std::string& text) {
        const std::size_t slash = text.find('/');
        boost::system::error_code error;
        const ip::address address = ip::make_address(text.substr(0, slash), error);
        if (!error && slash == std::string::npos) {
            if (address.is_v4())
                v4.emplace_back(address.to_v4(), 32);
            else
                v6.emplace_back(address.to_v6(), 128);
        } else if (!error && address.is_v4())
            v4.push_back(ip::make_network_v4(text, error));
        else if (!error)
            v6.push_back(ip::make_network_v6(text, error));
        if (error)
            throw std::invalid_argument("AllowFrom: \"" + text + "\" is no network");
    }

    bool Has(const ip::address_v4& address) const {
        return std::any_of(v4.begin(), v4.end(), [&](const ip::network_v4& network) {
            return ip::network_v4(address, network.prefix_length()).network() == network.network();
        });
    }
    bool Has(const ip::address_v6& address) const {
        return std::any_of(v6.begin(), v6.end(), [&](const ip::network_v6& network) {
            return ip::network_v6(address, network.prefix_length()).network() == network.network();
        });
    }
};

namespace {

/// Splits a setting at commas and blanks.
std::vector<std::string> SplitSetting(const std::map<std::string, std::string>& settings,
                                      const char* name) {
    std::vector<std::string> words;
    const auto found = settings.find(name);
    if (found == settings.end())
        return words;
    const std::string& text = found->second;
    static constexpr char SEPARATORS[] = ", \t";
    for (std::size_t begin = 0;
         (begin = text.find_first_not_of(SEPARATORS, begin)) != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(SEPARATORS, begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return words;
}

} // namespace

AccessRules::AccessRules(const std::map<std::string, std::string>& settings)
    : m_networks(std::make_unique<Networks>()) {
    for (const std::string& network : SplitSetting(settings, "allowfrom"))
        m_networks->Add(network);
    for (const std::string& user : SplitSetting(settings, "allowuser"))
        m_users.push_back(FindUser(user));
    for (const std::string& group : SplitSetting(settings, "allowgroup"))
        m_groups.push_back(FindGroup(group));
}

AccessRules::~AccessRules() = default;

bool AccessRules::Allows(int socket) const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return false;
    if (address.ss_family == AF_UNIX)
        return (m_users.empty() && m_groups.empty()) || AllowsUser(socket);
    return (m_networks->v4.empty() && m_networks->v6.empty()) || AllowsAddress(socket);
}

bool AccessRules::AllowsAddress(int socket) const {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    if (::getpeername(socket, reinterpret_cast<sockaddr*>(&storage), &size) != 0)
        return false;
    if (storage.ss_family == AF_INET) {
        sockaddr_in address;
        std::memcpy(&address, &storage, sizeof address);
        return m_networks->Has(ip::address_v4(ntohl(address.sin_addr.s_addr)));
    }
    sockaddr_in6 address;
    std::memcpy(&address, &storage, sizeof address);
    ip::address_v6::bytes_type bytes;
    std::memcpy(bytes.data(), &address.sin6_addr, bytes.size());
    const ip::address_v6 v6(bytes);
    return v6.is_v4_mapped() ? m_networks->Has(ip::make_address_v4(ip::v4_mapped, v6))
                             : m_networks->Has(v6);
}

bool AccessRules::AllowsUser(int socket) const {
#ifdef SO_PEERCRED
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    std::vector<gid_t> groups{peer.gid};
#ifdef SO_PEERGROUPS
    std::vector<gid_t> more(1024); // systems allow 65,536; no daemon is in so many
    size = static_cast<socklen_t>(more.size() * sizeof(gid_t));
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, more.data(), &size) == 0)
        groups.insert(groups.end(), more.begin(),
                      more.begin() + static_cast<std::ptrdiff_t>(size / sizeof(gid_t)));
#endif
    return std::find(m_users.begin(), m_users.end(), peer.uid) != m_users.end() ||
           std::any_of(groups.begin(), groups.end(), [this](gid_t group) {
               return std::find(m_groups.begin(), m_groups.end(), group) != m_groups.end();
           });
#else
    static_cast<void>(socket);
    return false;
#endif
}

} // namespace kwlookup
