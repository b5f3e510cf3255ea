// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Postfix's protocol for policy services: a request is a line "NAME=VALUE" for each attribute, and
/// an empty line. The answer is "action=ACTION" and an empty line. A connection has many requests.
///
/// The rules of `Ask` are asked in order. The action is the result of the list, or REJECT for a
/// value without one. It is DUNNO when nothing is found, and DEFER_IF_PERMIT when a list could not
/// be asked, or its result is no line that Postfix reads. Every attribute whose value is empty is
/// left out, save `sender`: it is the null sender once the client has said MAIL FROM.
///
/// A request that breaks the protocol, or is too long, gets DEFER_IF_PERMIT, and ends the
/// connection.
class PolicySession : public Session {
public:
    /// Throws what CheckRules() throws.
    static void Check(const DoorConfig& config);

    /// Keeps a reference to `config`.
    explicit PolicySession(const DoorConfig& config)
        : m_config(config), m_values(config.rules.size()) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    Step ReadEnd(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool IsInsideRequest() const override { return m_size != 0; }

private:
    Step Break(const char* text, std::string_view& input, Output& output) const;
    bool TakeAttribute(std::string_view line);
    Step EndRequest(Query& query, Output& output);

    const DoorConfig& m_config;
    // What is known of the current request.
    std::vector<std::string> m_values; ///< of each rule's attribute
    std::size_t m_size = 0;
    bool m_has_sender = false;  ///< the attribute was sent
    bool m_before_mail = false; ///< the client has not said MAIL FROM yet
};

} // namespace kwlookup
