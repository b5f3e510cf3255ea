// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/OpenSmtpdSession.h"

#include "tools/kwlookupd/doors/CheckRules.h"
#include "tools/lists/MailAction.h"

#include <algorithm>
#include <iterator>

namespace kwlookup {

namespace {

/// smtpd's own lines have less than 2 KiB.
constexpr std::size_t MAX_FILTER_LINE = 65536;

/// What is to be answered to a line.
enum FilterTag : unsigned { REGISTRATION, VERDICT, TOO_LONG_TO_ASK };

struct FilterPhase {
    std::string_view name;
    std::string_view attribute;
};

constexpr FilterPhase FILTER_PHASES[] = {{"connect", "client_address"}, {"connect", "client_name"},
                                         {"helo", "helo_name"},         {"ehlo", "helo_name"},
                                         {"mail-from", "sender"},       {"rcpt-to", "recipient"}};

bool HasRule(const DoorConfig& config, std::string_view attribute) {
    return std::any_of(config.rules.begin(), config.rules.end(),
                       [&](const DoorConfig::Rule& rule) { return rule.attribute == attribute; });
}

/// Takes the next field from the front of `fields`.
std::string_view TakeFilterField(std::string_view& fields) {
    const std::size_t end = std::min(fields.find('|'), fields.size());
    const std::string_view field = fields.substr(0, end);
    fields.remove_prefix(std::min(end + 1, fields.size()));
    return field;
}

/// `text` without a pair of marks around it.
std::string_view WithoutMarks(std::string_view text, char first, char last) {
    return text.size() >= 2 && text.front() == first && text.back() == last
               ? text.substr(1, text.size() - 2)
               : text;
}

/// What `attribute` is in the data of a request. Those of "connect" are the client's name and
/// address, and more in later versions.
std::string_view AttributeText(std::string_view attribute, std::string_view data) {
    if (attribute == "client_name")
        return TakeFilterField(data);
    if (attribute == "client_address") {
        TakeFilterField(data);
        return WithoutMarks(TakeFilterField(data), '[', ']');
    }
    if (attribute == "helo_name")
        return data;
    data = WithoutMarks(data, '<', '>');
    return data.empty() && attribute == "sender" ? "<>" : data;
}

MailAction FilterAction(const Query& query, const Reply& reply) {
    if (query.tag == TOO_LONG_TO_ASK || reply.outcome == Outcome::Unavailable)
        return MailAction::ForFault();
    if (reply.outcome == Outcome::NotFound)
        return MailAction();
    return reply.has_result ? MailAction::FromResult(reply.text) : MailAction::ForPlainMatch();
}

} // namespace

void OpenSmtpdSession::Check(const DoorConfig& config) {
    CheckRules(config, {"client_address", "client_name", "helo_name", "sender", "recipient"});
}

Session::Step OpenSmtpdSession::Read(std::string_view& input, Query& query, Output&) {
    const std::size_t end = input.find('\n');
    const bool is_whole = end != std::string_view::npos;
    if (!is_whole && !m_skipping && input.size() < MAX_FILTER_LINE)
        return Step::NeedMore;
    const std::string_view line = input.substr(0, end);
    input.remove_prefix(is_whole ? end + 1 : input.size());
    const bool skip = m_skipping;
    m_skipping = !is_whole;
    if (!skip)
        return TakeLine(line.substr(0, MAX_FILTER_LINE), line.size() < MAX_FILTER_LINE, query);
    return is_whole ? Step::Go : Step::NeedMore;
}

Session::Step OpenSmtpdSession::TakeLine(std::string_view line, bool is_whole, Query& query) {
    query = Query();
    if (line == "config|ready") {
        query.tag = REGISTRATION;
        return Step::Ask;
    }
    if (TakeFilterField(line) != "filter")
        return Step::Go;
    for (int i = 0; i < 3; ++i) // version, time, subsystem
        TakeFilterField(line);
    const std::string_view phase = TakeFilterField(line);
    const std::string_view session = TakeFilterField(line);
    const std::string_view token = TakeFilterField(line);
    if (token.empty())
        return Step::Go;
    query.context.append(session).append("|").append(token);
    query.tag = is_whole ? VERDICT : TOO_LONG_TO_ASK;
    if (is_whole)
        AskFor(phase, line, query);
    return Step::Ask;
}

void OpenSmtpdSession::AskFor(std::string_view phase, std::string_view data, Query& query) const {
    for (const DoorConfig::Rule& rule : m_config.rules) {
        for (const FilterPhase& each : FILTER_PHASES) {
            if (each.name != phase || each.attribute != rule.attribute)
                continue;
            const std::string_view text = AttributeText(rule.attribute, data);
            if (!text.empty())
                query.asks.push_back({rule.list.number, std::string(text)});
        }
    }
}

void OpenSmtpdSession::Register(Output& output) const {
    std::string_view last;
    for (const FilterPhase& phase : FILTER_PHASES) {
        if (phase.name == last || !HasRule(m_config, phase.attribute))
            continue;
        last = phase.name;
        output.Append("register|filter|smtp-in|");
        output.Append(phase.name);
        output.Append("\n");
    }
    output.Append("register|ready\n");
}

bool OpenSmtpdSession::Answer(const Query& query, const std::vector<Reply>& replies,
                              Output& output) {
    if (query.tag == REGISTRATION) {
        Register(output);
        return true;
    }
    const MailAction action = FilterAction(query, replies.front());
    output.Append("filter-result|");
    output.Append(query.context);
    switch (action.kind) {
    case MailAction::Pass:
    case MailAction::Dunno:
        output.Append("|proceed\n");
        break;
    case MailAction::Refuse:
        output.Append("|reject|");
        output.Append(action.text);
        output.Append("\n");
        break;
    default:
        output.Append("|reject|");
        output.Append(MailAction::FromResult({}).text);
        output.Append("\n");
        break;
    }
    return true;
}

} // namespace kwlookup
