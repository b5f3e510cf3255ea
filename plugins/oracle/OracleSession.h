// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "plugins/oracle/OracleStatement.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace kwlookup {

/// A connection to an Oracle server, with the statements that are prepared there.
///
/// Threads: one at a time. All operations block as long as the client library does.
class OracleSession {
public:
    using Texts = std::shared_ptr<const OracleTexts>;

    /// Connects and logs in. Throws ServerFault.
    OracleSession(const Server& server, const ServerSettings& settings);
    ~OracleSession();
    OracleSession(const OracleSession&) = delete;
    OracleSession& operator=(const OracleSession&) = delete;

    /// Puts the rows for `value` into `answer`. Throws ServerFault and QuestionFault.
    void Ask(const Texts& texts, const std::string& value, Answer& answer);

private:
    void Connect(const Server& server, const ServerSettings& settings);
    void* Allocate(oci::HandleType type) const;
    void Set(void* target, oci::HandleType type, oci::Attribute attribute, const void* value,
             std::size_t size) const;
    void LimitCalls(const ServerSettings& settings) const;
    void Close();
    OracleStatement& Prepare(const OracleTexts& texts);

    OracleHandles m_handles;
    bool m_is_attached = false;
    bool m_has_begun = false;
    std::map<std::string, std::unique_ptr<OracleStatement>> m_statements; ///< by their texts
};

} // namespace kwlookup
