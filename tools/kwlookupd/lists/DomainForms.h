// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// Returns the other forms in which a list may have the international domain name `domain`: with
/// A-labels ("xn--grn-ioa.example"), and with U-labels in lower case ("grün.example"). Empty for a
/// domain with neither, and for one that is not valid. Throws std::bad_alloc.
std::vector<std::string> OtherDomainForms(const std::string& domain);

} // namespace kwlookup
