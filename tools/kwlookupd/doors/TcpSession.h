// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The protocol of Postfix's tcp tables: "get KEY" in lines of at most 4096 bytes, with %XX for
/// special bytes. All lists of the door are asked in order.
///
/// Answers are "200 RESULT", "500 not%20found" and "400 REASON". Every line gets an answer, since
/// Postfix tries again for ten seconds if there is none. A result that does not fit is a 400 and a
/// warning in the log. A longer line is a 400, and ends the connection.
///
/// Exim sends keys without encoding. So blanks, and a percent sign without two hexadecimal digits,
/// stand for themselves. An empty key is the null sender. Before a half-close, the last line needs
/// no line end.
class TcpSession : public Session {
public:
    /// Keeps a reference to `config`.
    explicit TcpSession(const DoorConfig& config) : m_config(config) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    Step ReadEnd(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool MayPipeline() const override { return true; }

private:
    /// The kind of a request; one without asks is refused.
    enum Tag : unsigned { REQUEST, UNKNOWN_COMMAND, TOO_LONG };

    /// The longest line, of a request and of an answer, with its line end.
    static constexpr std::size_t MAX_LINE = 4096;
    /// The longest encoded result: without "200 " and the line end.
    static constexpr std::size_t MAX_RESULT = MAX_LINE - 5;

    /// Makes the query of a line without its line feed.
    Step Take(std::string_view line, Query& query) const;
    static Step Refuse(Tag refusal, Query& query);

    const DoorConfig& m_config;
    bool m_broken = false; ///< an endless line was answered
};

} // namespace kwlookup
