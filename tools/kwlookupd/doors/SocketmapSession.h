// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The protocol of socketmap tables: a request names a list and a key.
///
/// The first byte of a connection tells its dialect. A digit begins netstrings, as Postfix and
/// Sendmail send them: "10:list a@b.c,". A letter begins lines, as OpenSMTPD sends them. Exim sends
/// one request and half-closes; a last line needs no line end then.
///
/// Answers are "OK RESULT", "NOTFOUND ", "TEMP REASON" and "PERM REASON". The status is always
/// followed by a blank, because Sendmail crashes without it. A result that does not fit is a TEMP
/// and a warning in the log. A request that breaks the protocol is a PERM, and ends the connection.
/// An empty key is the null sender.
class SocketmapSession : public Session {
public:
    /// Keeps a reference to `config`.
    explicit SocketmapSession(const DoorConfig& config) : m_config(config) {}

    Step Read(std::string_view& input, Query& query, Output& output) override;
    Step ReadEnd(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool MayPipeline() const override { return true; }

private:
    enum class Dialect { Unknown, Netstrings, Lines, Broken };

    /// The kind of a request; one without asks is refused.
    enum Tag : unsigned { REQUEST, NO_LIST, UNKNOWN_LIST, MALFORMED };

    /// The longest payload of a request. Postfix sends keys of 100,000 bytes.
    static constexpr std::size_t MAX_PAYLOAD = 131072;
    /// The digits of its length.
    static constexpr std::size_t MAX_DIGITS = 6;
    /// The longest payload of an answer that Postfix reads, with its status.
    static constexpr std::size_t MAX_ANSWER = 100000;
    /// The longest request in a line, which has one mail address.
    static constexpr std::size_t MAX_LINE = 8192;

    Step ReadNetstring(std::string_view& input, Query& query);
    Step ReadLine(std::string_view& input, Query& query);
    /// Makes the query of a whole request.
    Step Take(std::string_view request, Query& query) const;
    Step Refuse(Tag refusal, Query& query, std::string_view list = {}) const;
    /// Drops the rest of the input: nothing tells where the next request would begin.
    Step Break(std::string_view& input, Query& query);
    void Write(std::string_view status, std::string_view text, Output& output) const;

    const DoorConfig& m_config;
    Dialect m_dialect = Dialect::Unknown;
    bool m_lines = false; ///< answer in lines
};

} // namespace kwlookup
