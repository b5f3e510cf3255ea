// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/LogClass.h"

#include <cstddef>
#include <string>

namespace kwlookup {

/// The level of a program's own notices, which are neither errors nor warnings.
/// LogClass::forcedLog() writes them as "info". The library has no such messages.
constexpr auto LEVEL_NOTICE = static_cast<log4cxx::Level::LevelEnum>(4);

/// The destination of log messages.
enum class LogTarget { StandardError, Syslog, File };

/// Sends the messages of every LogClass, existing ones included, to `target`, and enables the
/// levels up to `level`. The initial setting is standard error and LEVEL_WARN.
///
///     kwlookup::SetLogging(kwlookup::LogTarget::Syslog, log4cxx::Level::LEVEL_WARN, "myhost");
///
/// `name` is the program's name for syslog, or the file to append to; standard error ignores it.
/// Each event is one line. Bytes outside 0x20 to 0x7e, and the backslash, are written as `\xHH`. A
/// line has at most 1,000 bytes without its date. A longer line keeps its beginning and its last
/// 200 bytes, which hold the reason, with "... (N bytes) ..." between them, where N is the length
/// of the message. Throws std::runtime_error when the file cannot be opened, and keeps the old
/// target then.
///
/// Threads: may be called at any time, also while other threads log.
KW_EXPORT void SetLogging(LogTarget target, log4cxx::Level::LevelEnum level,
                          const std::string& name = std::string());

/// Returns `text` with bytes outside 0x20 to 0x7e, and the backslash, escaped as `\xHH`.
KW_EXPORT std::string PrintableText(const std::string& text);

/// Replaces `secret` by *** in every message from now on, wherever it appears. Blanks and one pair
/// of quotes around it are ignored. A secret of fewer than 4 bytes is not replaced, because it
/// would be found by chance. Threads: any.
KW_EXPORT void HideInMessages(const std::string& secret);

/// Returns `text` with *** in place of every secret that HideInMessages() got, and of the value of
/// every setting that is named like a password, as in "ldap:BindPassword=...|uid=$u". Our LogClass
/// applies it to each line; a host's own LogClass should too. The cost is linear in the length of
/// the text, for each secret. Threads: any.
KW_EXPORT std::string WithoutSecrets(const std::string& text);

/// Returns how many error events this process has written. A plug-in with `OnError = ignore` logs
/// its errors, so a change of this number shows that a search failed. Threads: any.
KW_EXPORT std::size_t CountLoggedErrors();

} // namespace kwlookup
