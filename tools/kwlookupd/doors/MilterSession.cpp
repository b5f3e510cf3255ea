// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/MilterSession.h"

#include "text/AsciiLower.h"
#include "tools/kwlookupd/doors/CheckRules.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <iterator>

namespace kwlookup {

namespace {

/// The largest packet of libmilter, with its length.
constexpr std::size_t MAX_MILTER_PACKET = 65536 + 4;

constexpr std::uint32_t OLDEST_VERSION = 2;
constexpr std::uint32_t NEWEST_VERSION = 6;

// What a mail server may offer to do.
constexpr std::uint32_t MAY_ADD_HEADERS = 0x01;
constexpr std::uint32_t MAY_QUARANTINE = 0x20;

// What a mail server may offer to leave out.
constexpr std::uint32_t LEAVE_OUT_CONNECT = 0x01;
constexpr std::uint32_t LEAVE_OUT_HELO = 0x02;
constexpr std::uint32_t LEAVE_OUT_MAIL = 0x04;
constexpr std::uint32_t LEAVE_OUT_RCPT = 0x08;
constexpr std::uint32_t LEAVE_OUT_BODY = 0x10;
constexpr std::uint32_t LEAVE_OUT_HEADERS = 0x20;
constexpr std::uint32_t LEAVE_OUT_END_OF_HEADERS = 0x40;
constexpr std::uint32_t LEAVE_OUT_UNKNOWN = 0x100;
constexpr std::uint32_t LEAVE_OUT_DATA = 0x200;

struct MilterAttribute {
    std::string_view name;
    char command; ///< that brings it
};

constexpr MilterAttribute MILTER_ATTRIBUTES[] = {{"client_address", 'C'}, {"client_name", 'C'},
                                                 {"helo_name", 'H'},      {"sender", 'M'},
                                                 {"sasl_username", 'M'},  {"recipient", 'R'}};

const MilterAttribute* FindMilterAttribute(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(MILTER_ATTRIBUTES), std::end(MILTER_ATTRIBUTES),
                     [&](const MilterAttribute& attribute) { return attribute.name == name; });
    return found == std::end(MILTER_ATTRIBUTES) ? nullptr : found;
}

bool AsksAt(const DoorConfig& config, std::string_view commands) {
    return std::any_of(config.rules.begin(), config.rules.end(), [&](const DoorConfig::Rule& rule) {
        return commands.find(FindMilterAttribute(rule.attribute)->command) !=
               std::string_view::npos;
    });
}

std::uint32_t ReadNumber(std::string_view bytes) {
    std::uint32_t number = 0;
    for (const char byte : bytes.substr(0, 4))
        number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

void AppendNumber(std::uint32_t number, std::string& bytes) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift & 0xff);
}

/// Takes a text that a NUL ends, or that is the rest, from the front of `data`.
std::string_view TakeText(std::string_view& data) {
    const std::size_t end = std::min(data.find('\0'), data.size());
    const std::string_view text = data.substr(0, end);
    data.remove_prefix(std::min(end + 1, data.size()));
    return text;
}

std::string_view WithoutAngles(std::string_view address) {
    return address.size() >= 2 && address.front() == '<' && address.back() == '>'
               ? address.substr(1, address.size() - 2)
               : address;
}

std::string_view WithoutIpv6Prefix(std::string_view address) {
    constexpr std::string_view PREFIX = "ipv6:"; // Sendmail's
    const bool has = address.size() > PREFIX.size() &&
                     std::equal(PREFIX.begin(), PREFIX.end(), address.begin(),
                                [](char a, char b) { return a == AsciiLower(b); });
    return has ? address.substr(PREFIX.size()) : address;
}

void WritePacket(char command, std::string_view data, Output& output) {
    std::string packet;
    AppendNumber(static_cast<std::uint32_t>(data.size() + 1), packet);
    packet += command;
    packet.append(data);
    output.Append(packet);
}

void WriteContinue(Output& output) {
    WritePacket('c', {}, output);
}

/// The mail server reads "%%" as a percent sign.
void WriteRefusal(std::string_view reply, Output& output) {
    std::string text;
    for (const char c : reply)
        text.append(c == '%' ? 2 : 1, c);
    text += '\0';
    WritePacket('y', text, output);
}

/// True if the mail server waits for an answer.
bool WantsAnswer(char command) {
    return std::string_view("BCEHLMNRTU").find(command) != std::string_view::npos;
}

} // namespace

void MilterSession::Check(const DoorConfig& config) {
    std::vector<std::string_view> names;
    for (const MilterAttribute& attribute : MILTER_ATTRIBUTES)
        names.push_back(attribute.name);
    CheckRules(config, names);
}

Session::Step MilterSession::Read(std::string_view& input, Query& query, Output& output) {
    query.asks.clear();
    if (m_skip != 0) {
        const std::size_t taken = std::min(m_skip, input.size());
        input.remove_prefix(taken);
        m_skip -= taken;
        return m_skip != 0 ? Step::NeedMore : EndCommand(m_skipped_command, query, output);
    }
    if (input.size() < 5)
        return Step::NeedMore;
    const std::size_t length = ReadNumber(input);
    const char command = input[4];
    if (length == 0 || (!m_negotiated && command != 'O'))
        return Break();
    if (std::string_view("OCDHMR").find(command) == std::string_view::npos) {
        // Nothing in it is of use, and it may be long.
        input.remove_prefix(5);
        m_skip = length - 1;
        m_skipped_command = command;
        return m_skip != 0 ? Step::Go : EndCommand(command, query, output);
    }
    if (length > MAX_MILTER_PACKET - 4)
        return Break();
    if (input.size() < 4 + length)
        return Step::NeedMore;
    const std::string_view data = input.substr(5, length - 1);
    input.remove_prefix(4 + length);
    return TakePacket(command, data, query, output);
}

Session::Step MilterSession::Break() const {
    m_config.refusals->Count(Refusals::Malformed, m_config.name,
                             [] { return "a packet breaks the protocol"; });
    return Step::Close;
}

Session::Step MilterSession::TakePacket(char command, std::string_view data, Query& query,
                                        Output& output) {
    switch (command) {
    case 'O':
        return Negotiate(data, output) ? Step::Go : Break();
    case 'D':
        TakeMacros(data);
        return Step::Go;
    case 'C':
        return TakeConnect(data, query, output);
    case 'H':
        m_helo = Verdict();
        AskFor("helo_name", TakeText(data), query);
        break;
    case 'M': {
        m_message = Verdict();
        const std::string_view sender = WithoutAngles(TakeText(data));
        for (const DoorConfig::Rule& rule : m_config.rules) { // in the order of the rules
            if (rule.attribute == "sender")
                query.asks.push_back(
                    {rule.list.number, sender.empty() ? "<>" : std::string(sender)});
            else if (rule.attribute == "sasl_username" && !m_user.empty())
                query.asks.push_back({rule.list.number, m_user});
        }
        break;
    }
    default:
        AskFor("recipient", WithoutAngles(TakeText(data)), query);
        break;
    }
    return EndCommand(command, query, output);
}

/// False if the mail server is too old.
bool MilterSession::Negotiate(std::string_view data, Output& output) {
    if (data.size() < 12)
        return false;
    const std::uint32_t version = std::min(ReadNumber(data), NEWEST_VERSION);
    if (version < OLDEST_VERSION)
        return false;
    m_actions = ReadNumber(data.substr(4)) & (MAY_ADD_HEADERS | MAY_QUARANTINE);
    std::uint32_t steps = LEAVE_OUT_BODY | LEAVE_OUT_HEADERS | LEAVE_OUT_END_OF_HEADERS |
                          LEAVE_OUT_UNKNOWN | LEAVE_OUT_DATA;
    if (!AsksAt(m_config, "C"))
        steps |= LEAVE_OUT_CONNECT;
    if (!AsksAt(m_config, "H"))
        steps |= LEAVE_OUT_HELO;
    if (!AsksAt(m_config, "CHM")) // a verdict on the client takes effect at MAIL
        steps |= LEAVE_OUT_MAIL;
    if (!AsksAt(m_config, "R"))
        steps |= LEAVE_OUT_RCPT;
    m_negotiated = true;
    std::string answer;
    AppendNumber(version, answer);
    AppendNumber(m_actions, answer);
    AppendNumber(steps & ReadNumber(data.substr(8)), answer);
    WritePacket('O', answer, output);
    return true;
}

/// The client: its name, '4' or '6' with a port of two bytes and an address, or another letter.
Session::Step MilterSession::TakeConnect(std::string_view data, Query& query, Output& output) {
    m_connection = m_helo = m_message = Verdict();
    m_user.clear();
    const std::string_view name = TakeText(data);
    const char family = data.empty() ? 'U' : data.front();
    std::string_view address;
    if ((family == '4' || family == '6') && data.size() > 3) {
        data.remove_prefix(3);
        address = TakeText(data);
        if (family == '6')
            address = WithoutIpv6Prefix(address);
    }
    for (const DoorConfig::Rule& rule : m_config.rules) { // in the order of the rules
        if (rule.attribute == "client_address" && !address.empty())
            query.asks.push_back({rule.list.number, std::string(address)});
        else if (rule.attribute == "client_name" && !name.empty())
            query.asks.push_back({rule.list.number, std::string(name)});
    }
    return EndCommand('C', query, output);
}

/// Macros are pairs of a name and a value, after the command that they belong to.
void MilterSession::TakeMacros(std::string_view data) {
    if (data.empty() || data.front() != 'M')
        return;
    m_user.clear();
    data.remove_prefix(1);
    while (!data.empty()) {
        const std::string_view name = TakeText(data);
        const std::string_view value = TakeText(data);
        if (name == "{auth_authen}")
            m_user = value;
    }
}

void MilterSession::AskFor(std::string_view attribute, std::string_view text, Query& query) const {
    if (text.empty())
        return;
    for (const DoorConfig::Rule& rule : m_config.rules)
        if (rule.attribute == attribute)
            query.asks.push_back({rule.list.number, std::string(text)});
}

/// Asks the query of a command, or answers the command when there is nothing to ask.
Session::Step MilterSession::EndCommand(char command, Query& query, Output& output) {
    if (command == 'Q')
        return Step::Close;
    if (command == 'K') // the next connection of a client follows
        m_connection = m_helo = m_message = Verdict();
    if (command == 'A')
        m_message = Verdict();
    if (!WantsAnswer(command))
        return Step::Go;
    const bool is_discarded = m_connection.discarded || m_helo.discarded;
    const bool is_passed = m_connection.passed || m_helo.passed || m_message.passed;
    if (command == 'E')
        EndMessage(output);
    else if (command == 'M' && is_discarded)
        WritePacket('d', {}, output);
    else if (!is_discarded && !is_passed && !query.asks.empty()) {
        query.tag = static_cast<unsigned char>(command);
        return Step::Ask;
    } else
        WriteContinue(output);
    return Step::Go;
}

bool MilterSession::Answer(const Query& query, const std::vector<Reply>& replies, Output& output) {
    const Reply& reply = replies.front();
    MailAction action;
    if (reply.outcome == Outcome::Unavailable)
        action = MailAction::ForFault();
    else if (reply.outcome == Outcome::Found)
        action =
            reply.has_result ? MailAction::FromResult(reply.text) : MailAction::ForPlainMatch();
    const std::uint32_t needed = action.kind == MailAction::Hold        ? MAY_QUARANTINE
                                 : action.kind == MailAction::AddHeader ? MAY_ADD_HEADERS
                                                                        : 0;
    if (!action.is_known)
        LogResult(query, reply, "is no action");
    if ((needed & ~m_actions) != 0) {
        LogResult(query, reply, "needs an action that the mail server does not offer");
        action = MailAction::ForFault();
    }
    Act(static_cast<char>(query.tag), action, output);
    return true;
}

void MilterSession::LogResult(const Query& query, const Reply& reply, const char* fault) const {
    m_config.refusals->Count(Refusals::Unsendable, m_config.name, [&] {
        return "the result of [" + Shortened(query.asks[reply.ask].text) + "] " + fault + ": [" +
               Shortened(reply.text) + ']';
    });
}

void MilterSession::Act(char command, const MailAction& action, Output& output) {
    const bool is_client = command == 'C' || command == 'H';
    Verdict& verdict = command == 'C' ? m_connection : command == 'H' ? m_helo : m_message;
    switch (action.kind) {
    case MailAction::Dunno:
        break;
    case MailAction::Pass:
        if (command == 'R') // a word to the mail server would let the others pass, too
            break;
        verdict.passed = true;
        if (m_connection.at_end.empty() && m_helo.at_end.empty()) {
            WritePacket('a', {}, output);
            return;
        }
        break;
    case MailAction::Refuse:
        WriteRefusal(action.text, output);
        return;
    case MailAction::Discard:
        verdict.discarded = true;
        if (!is_client) {
            WritePacket('d', {}, output);
            return;
        }
        break;
    case MailAction::Hold:
    case MailAction::AddHeader:
        verdict.at_end.push_back(action);
        break;
    }
    WriteContinue(output);
}

void MilterSession::EndMessage(Output& output) {
    for (const Verdict* verdict : {&m_connection, &m_helo, &m_message}) {
        for (const MailAction& action : verdict->at_end) {
            std::string data = action.text + '\0';
            if (action.kind == MailAction::AddHeader)
                data.append(action.value).append(1, '\0');
            WritePacket(action.kind == MailAction::AddHeader ? 'h' : 'q', data, output);
        }
    }
    m_message = Verdict();
    WriteContinue(output);
}

} // namespace kwlookup
