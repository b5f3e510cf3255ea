// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Dovecot's protocol for dictionaries: lines with fields that a TAB divides. The client's hello
/// names the dictionary, which is a list. Any protocol version is accepted, since fields are taken
/// by their position.
///
/// A lookup asks the list for the key without "shared/" or "priv/". The answers are "OVALUE", "N"
/// and "FREASON". They have no other letters, because doveadm crashes on those. Iteration and the
/// commit of a transaction get an F, since a list is read-only. Lines that want no answer get none.
/// A line that breaks the protocol gets an F, and ends the connection.
class DictSession : public Session {
public:
    /// Keeps a reference to `config`.
    explicit DictSession(const DoorConfig& config) : m_config(config) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    Step ReadEnd(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;

private:
    Step TakeLine(std::string_view line, Query& query, Output& output);
    Step TakeLookup(std::string_view fields, Query& query, Output& output) const;

    const DoorConfig& m_config;
    const DoorConfig::List* m_list = nullptr; ///< null until the hello has named a list
    std::string m_name;                       ///< that the hello has, if there is no such list
};

} // namespace kwlookup
