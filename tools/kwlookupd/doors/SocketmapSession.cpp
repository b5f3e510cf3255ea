// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/SocketmapSession.h"

#include "tools/lists/Report.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace kwlookup {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Returns true for a byte that begins no netstring, not even a malformed one.
bool BeginsLine(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

} // namespace

Session::Step SocketmapSession::Read(std::string_view& input, Query& query, Output&) {
    if (input.empty())
        return Step::NeedMore;
    if (m_dialect == Dialect::Unknown) {
        m_lines = BeginsLine(input.front());
        m_dialect = m_lines ? Dialect::Lines : Dialect::Netstrings;
    }
    if (m_dialect == Dialect::Broken) {
        input = {};
        return Step::NeedMore;
    }
    return m_lines ? ReadLine(input, query) : ReadNetstring(input, query);
}

Session::Step SocketmapSession::ReadEnd(std::string_view& input, Query& query, Output&) {
    if (m_dialect != Dialect::Lines || input.empty())
        return Step::Close;
    const std::string_view line = input;
    input = {};
    return Take(line, query);
}

Session::Step SocketmapSession::ReadNetstring(std::string_view& input, Query& query) {
    std::size_t length = 0, digits = 0;
    for (; digits < std::min(input.size(), MAX_DIGITS) && IsDigit(input[digits]); ++digits)
        length = length * 10 + static_cast<std::size_t>(input[digits] - '0');
    if (digits == 0 || (digits > 1 && input[0] == '0') || length > MAX_PAYLOAD)
        return Break(input, query);
    if (digits == input.size())
        return Step::NeedMore;
    const std::size_t begin = digits + 1;
    if (input[digits] != ':' || (input.size() > begin + length && input[begin + length] != ','))
        return Break(input, query);
    if (input.size() <= begin + length)
        return Step::NeedMore;
    const std::string_view request = input.substr(begin, length);
    input.remove_prefix(begin + length + 1);
    return Take(request, query);
}

Session::Step SocketmapSession::ReadLine(std::string_view& input, Query& query) {
    const std::size_t end = input.substr(0, MAX_LINE).find('\n');
    if (end == std::string_view::npos)
        return input.size() < MAX_LINE ? Step::NeedMore : Break(input, query);
    std::string_view line = input.substr(0, end);
    input.remove_prefix(end + 1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return Take(line, query);
}

Session::Step SocketmapSession::Refuse(Tag refusal, Query& query, std::string_view list) const {
    const bool is_unknown = refusal == UNKNOWN_LIST;
    m_config.refusals->Count(
        is_unknown ? Refusals::UnknownList : Refusals::Malformed, m_config.name, [&] {
            return is_unknown ? "there is no list [" + Shortened(std::string(list)) + ']'
                              : "a request is malformed";
        });
    query.asks.clear();
    query.tag = refusal;
    return Step::Ask;
}

Session::Step SocketmapSession::Take(std::string_view request, Query& query) const {
    const std::size_t blank = request.find(' ');
    if (blank == std::string_view::npos)
        return Refuse(NO_LIST, query);
    const std::string_view name = request.substr(0, blank);
    const auto list = std::find_if(m_config.lists.begin(), m_config.lists.end(),
                                   [&](const DoorConfig::List& l) { return l.name == name; });
    if (list == m_config.lists.end())
        return Refuse(UNKNOWN_LIST, query, name);
    const std::string_view key = request.substr(blank + 1);
    query.tag = REQUEST;
    query.asks.resize(1);
    query.asks[0].list = list->number;
    query.asks[0].text.assign(key.empty() ? std::string_view("<>") : key);
    return Step::Ask;
}

Session::Step SocketmapSession::Break(std::string_view& input, Query& query) {
    input = {};
    m_dialect = Dialect::Broken;
    return Refuse(MALFORMED, query);
}

bool SocketmapSession::Answer(const Query& query, const std::vector<Reply>& replies,
                              Output& output) {
    switch (query.tag) {
    case NO_LIST:
        Write("PERM ", "the request has no list and key", output);
        return true;
    case UNKNOWN_LIST:
        Write("PERM ", "unknown list", output);
        return true;
    case MALFORMED:
        Write("PERM ", "malformed request", output);
        return false;
    default:
        break;
    }
    const Reply& reply = replies.front();
    if (reply.outcome == Outcome::NotFound)
        Write("NOTFOUND ", {}, output);
    else if (reply.outcome == Outcome::Unavailable)
        Write("TEMP ", reply.text, output);
    else if (m_lines && reply.text.find('\n') != std::string::npos) {
        Write("TEMP ", "the result has a line end", output);
        m_config.refusals->Count(Refusals::Unsendable, m_config.name, [&] {
            return "the result of [" + Shortened(query.asks[0].text) + "] has a line end";
        });
    } else if (reply.text.size() <= MAX_ANSWER - 3)
        Write("OK ", reply.text, output);
    else {
        Write("TEMP ", "the result is too long", output);
        m_config.refusals->Count(Refusals::Unsendable, m_config.name, [&] {
            return "the result of [" + Shortened(query.asks[0].text) + "] has " +
                   std::to_string(reply.text.size()) + " bytes; the protocol allows " +
                   std::to_string(MAX_ANSWER - 3);
        });
    }
    return true;
}

void SocketmapSession::Write(std::string_view status, std::string_view text, Output& output) const {
    std::array<char, 256> begin; // at least the digits of any size, a colon and a status
    char* end = begin.data();
    if (!m_lines) {
        end = std::to_chars(end, end + 20, status.size() + text.size()).ptr;
        *end++ = ':';
    }
    end = std::copy(status.begin(), status.end(), end);
    // Most answers are short, and it is quicker to append them as a whole.
    const bool is_short = text.size() < 200;
    if (is_short)
        end = std::copy(text.begin(), text.end(), end);
    else {
        output.Append({begin.data(), static_cast<std::size_t>(end - begin.data())});
        output.Append(text);
        end = begin.data();
    }
    *end++ = m_lines ? '\n' : ',';
    output.Append({begin.data(), static_cast<std::size_t>(end - begin.data())});
}

} // namespace kwlookup
