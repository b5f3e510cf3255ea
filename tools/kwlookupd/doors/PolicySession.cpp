// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/PolicySession.h"

#include "tools/kwlookupd/doors/CheckRules.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <iterator>

namespace kwlookup {

namespace {

/// Postfix sends about 1 KiB, and no value of more than 8 KiB.
constexpr std::size_t MAX_POLICY_REQUEST = 65536;
/// Postfix reads no longer value, and takes the answer for a fault of its configuration.
constexpr std::size_t MAX_POLICY_ACTION = 8192;

/// What Postfix sends and a list can have.
constexpr std::string_view POLICY_ATTRIBUTES[] = {"ccert_fingerprint",
                                                  "ccert_issuer",
                                                  "ccert_pubkey_fingerprint",
                                                  "ccert_subject",
                                                  "client_address",
                                                  "client_name",
                                                  "etrn_domain",
                                                  "helo_name",
                                                  "policy_context",
                                                  "queue_id",
                                                  "recipient",
                                                  "reverse_client_name",
                                                  "sasl_method",
                                                  "sasl_sender",
                                                  "sasl_username",
                                                  "sender",
                                                  "server_address"};

/// The states of a mail session in which there is no sender yet.
constexpr std::string_view STATES_BEFORE_MAIL[] = {"CONNECT", "EHLO", "ETRN", "HELO", "VRFY"};

template <std::size_t COUNT>
bool Contains(const std::string_view (&texts)[COUNT], std::string_view text) {
    return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

void WriteAction(std::string_view action, Output& output) {
    output.Append("action=");
    output.Append(action);
    output.Append("\n\n");
}

void Defer(std::string_view text, Output& output) {
    output.Append("action=DEFER_IF_PERMIT 4.3.0 ");
    output.Append(text);
    output.Append("\n\n");
}

} // namespace

void PolicySession::Check(const DoorConfig& config) {
    CheckRules(config, {std::begin(POLICY_ATTRIBUTES), std::end(POLICY_ATTRIBUTES)});
}

Session::Step PolicySession::Read(std::string_view& input, Query& query, Output& output) {
    for (;;) {
        const std::size_t end = input.find('\n');
        if (m_size + std::min(end, input.size()) >= MAX_POLICY_REQUEST)
            return Break("the request is too long", input, output);
        if (end == std::string_view::npos)
            return Step::NeedMore;
        const std::string_view line = input.substr(0, end);
        input.remove_prefix(end + 1);
        m_size += end + 1;
        if (line.empty())
            return EndRequest(query, output);
        if (!TakeAttribute(line))
            return Break("the request is malformed", input, output);
    }
}

Session::Step PolicySession::ReadEnd(std::string_view& input, Query& query, Output& output) {
    const Step step = Read(input, query, output);
    return step == Step::NeedMore ? Step::Close : step;
}

Session::Step PolicySession::Break(const char* text, std::string_view& input,
                                   Output& output) const {
    input = {};
    Defer(text, output);
    m_config.refusals->Count(Refusals::Malformed, m_config.name, [&] { return text; });
    return Step::Close;
}

/// False if `line` is no attribute.
bool PolicySession::TakeAttribute(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return false;
    const std::string_view name = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    for (std::size_t i = 0; i < m_values.size(); ++i)
        if (m_config.rules[i].attribute == name)
            m_values[i] = value;
    m_has_sender |= name == "sender";
    if (name == "protocol_state")
        m_before_mail = Contains(STATES_BEFORE_MAIL, value);
    return true;
}

Session::Step PolicySession::EndRequest(Query& query, Output& output) {
    query = Query();
    for (std::size_t i = 0; i < m_values.size(); ++i) {
        const DoorConfig::Rule& rule = m_config.rules[i];
        if (m_values[i].empty() && rule.attribute == "sender" && m_has_sender && !m_before_mail)
            m_values[i] = "<>";
        if (!m_values[i].empty())
            query.asks.push_back({rule.list.number, m_values[i]});
        m_values[i].clear();
    }
    m_size = 0;
    m_has_sender = m_before_mail = false;
    if (!query.asks.empty())
        return Step::Ask;
    WriteAction("DUNNO", output);
    return Step::Go;
}

bool PolicySession::Answer(const Query& query, const std::vector<Reply>& replies, Output& output) {
    const Reply& reply = replies.front();
    switch (reply.outcome) {
    case Outcome::Found:
        if (!reply.has_result)
            WriteAction("REJECT", output);
        else if (reply.text.size() <= MAX_POLICY_ACTION &&
                 reply.text.find_first_of(std::string_view("\n\0", 2)) == std::string::npos)
            WriteAction(reply.text, output);
        else {
            Defer("the action cannot be sent", output);
            m_config.refusals->Count(Refusals::Unsendable, m_config.name, [&] {
                return "the result of [" + Shortened(query.asks[reply.ask].text) +
                       "] is no action: it has a line end or a NUL, or more than " +
                       std::to_string(MAX_POLICY_ACTION) + " bytes";
            });
        }
        break;
    case Outcome::NotFound:
        WriteAction("DUNNO", output);
        break;
    case Outcome::Unavailable:
        Defer("cannot look this up now, try again later", output);
        break;
    }
    return true;
}

} // namespace kwlookup
