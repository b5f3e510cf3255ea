// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/LogClass.h"

#include <cstddef>
#include <string>

namespace kwlookup {

/// Where the messages of every LogClass go.
enum class LogTarget { StandardError, Syslog, File };

/// Sends the messages of every LogClass, those made before included, to `target`, and enables the
/// levels up to `level`. Before the first call it is standard error and LEVEL_WARN.
///
/// `name` is the program's name for syslog, or the file to append to; standard error ignores it.
/// One event is one line: bytes outside 0x20 to 0x7e, and the backslash, come out as \xHH. A line
/// has at most 1,000 bytes, the date before it not counted. A longer one keeps its beginning and
/// the last 200 bytes, where reasons stand, with "... (N bytes) ..." between them: how long its
/// message is. Throws std::runtime_error when the file cannot be opened; the old target then stays.
///
/// Threads: may be called at any time, also beside writing threads.
KW_EXPORT void SetLogging(LogTarget target, log4cxx::Level::LevelEnum level,
                          const std::string& name = std::string());

/// `text` with every byte that a log line cannot show escaped: bytes outside 0x20 to 0x7e, and the
/// backslash, as \xHH.
KW_EXPORT std::string PrintableText(const std::string& text);

/// Lets every message show *** for `secret` from now on, in whatever text it appears. Blanks and
/// one pair of quotes around it do not count. A secret of less than 4 bytes is not looked for: it
/// would be found by chance. Threads: any.
KW_EXPORT void HideInMessages(const std::string& secret);

/// `text` with *** for every secret that HideInMessages() was given, and for the value of every
/// setting in it that is named like a password, as in "ldap:BindPassword=...|uid=$u". Our LogClass
/// does this to each line; a host's own does well to. Cost: linear in the text, for each secret.
/// Threads: any.
KW_EXPORT std::string WithoutSecrets(const std::string& text);

/// How many events of level error this process has written. Tells whether a plug-in that is to
/// ignore its errors met one: it writes it to the log. Threads: any.
KW_EXPORT std::size_t CountLoggedErrors();

} // namespace kwlookup
