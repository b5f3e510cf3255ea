// SPDX-License-Identifier: MIT
// The input is a filter or a base, a NUL byte, and a text to search for. What is accepted must be a
// filter or a name for libldap too, and a text must change only the values with codes.
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "fuzz/Require.h"
#include "plugins/ldap/LdapBase.h"
#include "plugins/ldap/LdapConfig.h"
#include "plugins/ldap/LdapConnection.h"
#include "plugins/ldap/LdapFilter.h"
#include "plugins/ldap/LdapQuery.h"
#include "plugins/ldap/tests/Ber.h"
#include "support/TextFinder.h"

#include <ldap.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace kwlookup;

/// The function that ldap_search_ext() calls for its filter.
extern "C" int ldap_pvt_put_filter(BerElement* ber, const char* filter);

namespace {

/// A text that occurs only in the place of codes.
constexpr char HARMLESS[] = "xqzjx@xqzjx";
constexpr char PART[] = "xqzjx";

std::optional<LdapTemplate> Read(LdapTemplate (*read)(const std::string&),
                                 const std::string& text) {
    try {
        return read(text);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::vector<ber::Node> TreeOf(const std::string& filter) {
    const std::unique_ptr<BerElement, void (*)(BerElement*)> element(
        ::ber_alloc_t(LBER_USE_DER), [](BerElement* owned) { ::ber_free(owned, 1); });
    Require(::ldap_pvt_put_filter(element.get(), filter.c_str()) == 0);
    berval bytes{};
    Require(::ber_flatten2(element.get(), &bytes, 0) == 0);
    return ber::Read(std::string_view(bytes.bv_val, bytes.bv_len));
}

/// One node for each part of a name.
std::vector<ber::Node> PartsOf(const std::string& name) {
    LDAPDN read = nullptr;
    Require(::ldap_str2dn(name.c_str(), &read, LDAP_DN_FORMAT_LDAPV3) == LDAP_SUCCESS);
    const std::unique_ptr<LDAPRDN, void (*)(LDAPRDN*)> owned(read, ::ldap_dnfree);
    std::vector<ber::Node> nodes;
    int depth = 0;
    for (LDAPRDN* rdn = read; rdn && *rdn; ++rdn, ++depth)
        for (LDAPAVA** ava = *rdn; *ava; ++ava) {
            nodes.push_back({depth, 0, {(*ava)->la_attr.bv_val, (*ava)->la_attr.bv_len}});
            nodes.push_back({depth, 1, {(*ava)->la_value.bv_val, (*ava)->la_value.bv_len}});
        }
    return nodes;
}

void Compare(const LdapTemplate& made, const std::string& searched,
             std::vector<ber::Node> (*parse)(const std::string&)) {
    static const LogClass log("fuzz");
    static const ServerLookup<LdapConfig, LdapQuery, ServerSet<LdapConnection>> lookup(log);
    std::string harmless_text, text, first;
    Require(made.Expand(lookup, TextFinder(HARMLESS), 0, harmless_text, first));
    const std::vector<ber::Node> harmless = parse(harmless_text);
    if (!made.Expand(lookup, TextFinder(searched), 0, text, first))
        return;
    const std::vector<ber::Node> nodes = parse(text);
    Require(nodes.size() == harmless.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        Require(nodes[i].depth == harmless[i].depth && nodes[i].tag == harmless[i].tag);
        Require(nodes[i].bytes == harmless[i].bytes ||
                harmless[i].bytes.find(PART) != std::string::npos);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    const std::size_t end = std::min(input.find('\0'), input.size());
    const std::string text = input.substr(0, end);
    const std::string searched = end < size ? input.substr(end + 1) : "";
    if (const auto filter = Read(ReadLdapFilter, text))
        Compare(*filter, searched, TreeOf);
    if (const auto base = Read(ReadLdapBase, text))
        Compare(*base, searched, PartsOf);
    return 0;
}
