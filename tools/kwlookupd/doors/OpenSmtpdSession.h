// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// OpenSMTPD's protocol for filters: lines with fields that a '|' divides. It is spoken on the
/// standard input and output of a program that smtpd starts. Any protocol version is accepted,
/// since fields are taken by their position.
///
/// The rules of `Ask` are asked when their attribute arrives: client_name and client_address at
/// connect, helo_name at HELO, sender at MAIL, recipient at RCPT. MailAction describes the results.
/// Such a filter can only pass or refuse. So a result that wants more, such as HOLD, refuses for
/// now, as does a list that cannot be asked.
///
/// Every request gets an answer, even if it is too long or no rule wants it, because a request
/// without one stops its mail session. Other lines are skipped. The answers may be given in any
/// order.
class OpenSmtpdSession : public Session {
public:
    /// Throws what CheckRules() throws.
    static void Check(const DoorConfig& config);

    /// Keeps a reference to `config`.
    explicit OpenSmtpdSession(const DoorConfig& config) : m_config(config) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool IsInsideRequest() const override { return m_skipping; }
    bool MayPipeline() const override { return true; }

private:
    Step TakeLine(std::string_view line, bool is_whole, Query& query);
    void AskFor(std::string_view phase, std::string_view data, Query& query) const;
    void Register(Output& output) const;

    const DoorConfig& m_config;
    bool m_skipping = false; ///< the rest of a line that is too long
};

} // namespace kwlookup
