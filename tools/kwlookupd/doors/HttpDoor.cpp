// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/HttpDoor.h"

#include "text/AsciiLower.h"
#include "tools/kwlookupd/doors/HttpSession.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdexcept>
#include <utility>

namespace kwlookup {

namespace {

/// Shorter tokens can be guessed.
constexpr std::size_t SHORTEST_TOKEN = 16;

/// Returns the host of "HOST:PORT", without the brackets of an IPv6 address.
std::string HostOf(std::string_view address) {
    if (!address.empty() && address[0] == '[')
        return std::string(address.substr(1, address.find(']') - 1));
    return std::string(address.substr(0, address.rfind(':')));
}

/// Only addresses: a name might point elsewhere.
bool IsLoopback(const std::string& host) {
    in_addr v4{};
    in6_addr v6{};
    if (::inet_pton(AF_INET, host.c_str(), &v4) == 1)
        return ntohl(v4.s_addr) >> 24 == 127;
    return ::inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

bool IsAddress(const std::string& host) {
    in6_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool IsUnixSocket(const std::string& address) {
    return address.compare(0, 5, "unix:") == 0;
}

/// Throws std::invalid_argument unless `token` can be sent in a header and is hard to guess.
void CheckToken(const std::string& token) {
    if (token.size() < SHORTEST_TOKEN)
        throw std::invalid_argument("Token has less than " + std::to_string(SHORTEST_TOKEN) +
                                    " characters");
    if (std::any_of(token.begin(), token.end(), [](char c) { return c <= ' ' || c > '~'; }))
        throw std::invalid_argument("Token has a character that is not printable ASCII");
}

std::vector<std::string> SplitHosts(std::string_view names) {
    std::vector<std::string> hosts;
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(','), names.size());
        std::string host = AsciiLowerCase(std::string(names.substr(0, end)));
        host.erase(0, host.find_first_not_of(' '));
        host.erase(host.find_last_not_of(' ') + 1);
        hosts.push_back(std::move(host));
        names.remove_prefix(std::min(end + 1, names.size()));
    }
    return hosts;
}

/// Compares without telling by the time where the texts differ.
bool EqualInConstantTime(std::string_view left, std::string_view right) {
    if (left.size() != right.size())
        return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i)
        difference |= static_cast<unsigned char>(left[i]) ^ static_cast<unsigned char>(right[i]);
    return difference == 0;
}

/// Returns what Base64 stands for; ends at the first byte that is none.
std::string DecodeBase64(std::string_view text) {
    constexpr std::string_view DIGITS =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string decoded;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        const std::size_t digit = DIGITS.find(c);
        if (digit == std::string_view::npos)
            break;
        bits = (bits << 6 | static_cast<unsigned>(digit)) & 0xffff;
        count += 6;
        if (count >= 8) {
            count -= 8;
            decoded += static_cast<char>(bits >> count & 0xff);
        }
    }
    return decoded;
}

} // namespace

HttpDoor::HttpDoor(DoorConfig config, const DaemonView& view)
    : m_config(std::move(config)), m_view(view) {
    const auto& settings = m_config.settings;
    if (const auto token = settings.find("token"); token != settings.end()) {
        CheckToken(token->second);
        m_token = token->second;
    }
    if (const auto hosts = settings.find("host"); hosts != settings.end())
        m_hosts = SplitHosts(hosts->second);
    for (const DoorConfig::List& list : m_config.lists)
        if (list.name == "metrics" || list.name == "healthz")
            throw std::invalid_argument("the path of a list named \"" + list.name +
                                        "\" has another meaning");
    bool only_unix = true;
    for (const std::string& address : m_config.addresses) {
        if (IsUnixSocket(address))
            continue;
        only_unix = false;
        if (m_token.empty() && !IsLoopback(HostOf(address)))
            throw std::invalid_argument("it needs Token.file, because the Address " + address +
                                        " may be open to other machines");
    }
    m_any_host = !m_token.empty() || only_unix; // browsers cannot ask by a UNIX socket
}

std::unique_ptr<Session> HttpDoor::NewSession() const {
    return std::make_unique<HttpSession>(*this);
}

const DoorConfig::List* HttpDoor::FindList(std::string_view name) const {
    for (const DoorConfig::List& list : m_config.lists)
        if (list.name == name)
            return &list;
    return nullptr;
}

bool HttpDoor::MayAsk(std::string_view authorization) const {
    if (m_token.empty())
        return true;
    const std::size_t blank = std::min(authorization.find(' '), authorization.size());
    const std::string scheme = AsciiLowerCase(std::string(authorization.substr(0, blank)));
    authorization.remove_prefix(blank);
    authorization.remove_prefix(
        std::min(authorization.find_first_not_of(' '), authorization.size()));
    if (scheme == "bearer")
        return EqualInConstantTime(authorization, m_token);
    if (scheme != "basic")
        return false;
    const std::string user_and_password = DecodeBase64(authorization);
    const std::size_t colon = user_and_password.find(':');
    return colon != std::string::npos &&
           EqualInConstantTime(std::string_view(user_and_password).substr(colon + 1), m_token);
}

bool HttpDoor::IsOwnHost(std::string_view host) const {
    if (m_any_host)
        return true;
    // A port is a colon and digits. In an IPv6 address, colons stand in brackets.
    const bool has_port = host.rfind(':') != std::string_view::npos && host.back() != ']';
    const std::string name = AsciiLowerCase(
        has_port || (!host.empty() && host[0] == '[') ? HostOf(host) : std::string(host));
    return name == "localhost" || IsAddress(name) ||
           std::find(m_hosts.begin(), m_hosts.end(), name) != m_hosts.end();
}

} // namespace kwlookup
