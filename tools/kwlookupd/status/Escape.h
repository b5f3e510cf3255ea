// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Returns `text` for an element or a quoted attribute of an HTML page. Bytes that are not UTF-8,
/// and control characters, become U+FFFD.
std::string EscapeHtml(std::string_view text);

/// Returns `text` for the value of a label in the text format of Prometheus. Bytes that are not
/// UTF-8 become U+FFFD.
std::string EscapeLabel(std::string_view text);

} // namespace kwlookup
