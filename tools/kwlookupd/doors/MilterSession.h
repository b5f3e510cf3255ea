// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"
#include "tools/lists/MailAction.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The milter protocol of Sendmail and Postfix, versions 2 to 6. A packet is a length of four
/// bytes, a letter and data.
///
/// The rules of `Ask` are asked when their attribute arrives: client_name and client_address at
/// connect, helo_name at HELO, sender and sasl_username at MAIL, recipient at RCPT. MailAction
/// describes the results. A refusal is the answer to the command that it concerns. Headers and
/// quarantine are asked for at the end of the message. OK for a client or a sender ends the
/// questions about its mails; OK for a recipient ends those about this recipient only.
///
/// An action that the mail server does not offer to take is a refusal for now. The mail server
/// is asked to leave out everything that no rule needs, such as the body. What it sends
/// nevertheless is skipped. A packet that breaks the protocol ends the connection.
class MilterSession : public Session {
public:
    /// Throws what CheckRules() throws.
    static void Check(const DoorConfig& config);

    /// Keeps a reference to `config`.
    explicit MilterSession(const DoorConfig& config) : m_config(config) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool IsInsideRequest() const override { return m_skip != 0; }

private:
    /// What is to happen to a message.
    struct Verdict {
        bool passed = false; ///< ask nothing more
        bool discarded = false;
        std::vector<MailAction> at_end; ///< headers and quarantine
    };

    Step Break() const;
    Step TakePacket(char command, std::string_view data, Query& query, Output& output);
    bool Negotiate(std::string_view data, Output& output);
    Step TakeConnect(std::string_view data, Query& query, Output& output);
    void TakeMacros(std::string_view data);
    void AskFor(std::string_view attribute, std::string_view text, Query& query) const;
    Step EndCommand(char command, Query& query, Output& output);
    void LogResult(const Query& query, const Reply& reply, const char* fault) const;
    void Act(char command, const MailAction& action, Output& output);
    void EndMessage(Output& output);

    const DoorConfig& m_config;
    bool m_negotiated = false;
    std::uint32_t m_actions = 0; ///< that the mail server offers to take
    std::size_t m_skip = 0;      ///< how many bytes of a packet are left to skip
    char m_skipped_command = 0;
    std::string m_user; ///< who has logged in
    Verdict m_connection;
    Verdict m_helo; ///< of the last HELO: there is another after STARTTLS
    Verdict m_message;
};

} // namespace kwlookup
