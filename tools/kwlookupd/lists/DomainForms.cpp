// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/DomainForms.h"

#include "text/AsciiLower.h"

#include <algorithm>
#include <idn2.h>
#include <memory>

namespace kwlookup {

namespace {

/// No domain has so many bytes in UTF-8. The library takes long ones, at some cost.
constexpr std::size_t MAX_SIZE = 1024;

using Text = std::unique_ptr<char, void (*)(void*)>;

bool MayBeInternational(const std::string& domain) {
    if (domain.size() > MAX_SIZE || domain.find('\0') != std::string::npos)
        return false;
    return AsciiLowerCase(domain).find("xn--") != std::string::npos ||
           std::any_of(domain.begin(), domain.end(),
                       [](char c) { return static_cast<unsigned char>(c) > 0x7f; });
}

} // namespace

std::vector<std::string> OtherDomainForms(const std::string& domain) {
    std::vector<std::string> forms;
    if (!MayBeInternational(domain))
        return forms;
    char* out = nullptr;
    if (::idn2_to_ascii_8z(domain.c_str(), &out, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK)
        return forms;
    const Text ascii(out, ::idn2_free);
    if (domain != ascii.get())
        forms.emplace_back(ascii.get());
    if (::idn2_to_unicode_8z8z(ascii.get(), &out, 0) != IDN2_OK)
        return forms;
    const Text unicode(out, ::idn2_free);
    if (domain != unicode.get())
        forms.emplace_back(unicode.get());
    return forms;
}

} // namespace kwlookup
