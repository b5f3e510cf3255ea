// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/TcpSession.h"

#include "tools/kwlookupd/doors/HexValue.h"
#include "tools/lists/Report.h"

#include <string>

namespace kwlookup {

namespace {

void DecodePercent(std::string_view text, std::string& decoded) {
    decoded.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else
            decoded += text[i];
    }
}

/// Appends `text` with %XX for all bytes but printable ASCII, and for the percent sign.
void EncodePercent(std::string_view text, std::string& encoded) {
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 32 && byte < 127 && c != '%')
            encoded += c;
        else
            (encoded += '%').append({DIGITS[byte >> 4], DIGITS[byte & 15]});
    }
}

void WriteLine(std::string_view code, std::string_view text, Output& output) {
    output.Append(code);
    output.Append(text);
    output.Append("\n");
}

} // namespace

Session::Step TcpSession::Read(std::string_view& input, Query& query, Output&) {
    if (m_broken)
        input = {};
    const std::size_t end = input.substr(0, MAX_LINE).find('\n');
    if (end != std::string_view::npos) {
        const std::string_view line = input.substr(0, end);
        input.remove_prefix(end + 1);
        return Take(line, query);
    }
    if (input.size() < MAX_LINE)
        return Step::NeedMore;
    input = {};
    m_broken = true;
    return Refuse(TOO_LONG, query);
}

Session::Step TcpSession::ReadEnd(std::string_view& input, Query& query, Output&) {
    if (m_broken || input.empty())
        return Step::Close;
    const std::string_view line = input;
    input = {};
    return Take(line, query);
}

Session::Step TcpSession::Refuse(Tag refusal, Query& query) {
    query.asks.clear();
    query.tag = refusal;
    return Step::Ask;
}

Session::Step TcpSession::Take(std::string_view line, Query& query) const {
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.substr(0, 4) != "get ")
        return Refuse(UNKNOWN_COMMAND, query);
    query.tag = REQUEST;
    query.asks.resize(m_config.lists.size());
    for (std::size_t i = 0; i < query.asks.size(); ++i) {
        Query::Ask& ask = query.asks[i];
        ask.list = m_config.lists[i].number;
        DecodePercent(line.substr(4), ask.text);
        if (ask.text.empty())
            ask.text = "<>";
    }
    return Step::Ask;
}

bool TcpSession::Answer(const Query& query, const std::vector<Reply>& replies, Output& output) {
    if (query.tag == UNKNOWN_COMMAND) {
        WriteLine("400 ", "unknown%20command", output);
        m_config.refusals->Count(Refusals::Malformed, m_config.name,
                                 [] { return "a request has an unknown command"; });
        return true;
    }
    if (query.tag == TOO_LONG) {
        WriteLine("400 ", "the%20line%20is%20too%20long", output);
        m_config.refusals->Count(Refusals::Malformed, m_config.name,
                                 [] { return "the line of a request is too long"; });
        return false;
    }
    const Reply& reply = replies.front();
    if (reply.outcome == Outcome::NotFound) {
        WriteLine("500 ", "not%20found", output);
        return true;
    }
    std::string text;
    if (reply.text.size() <= MAX_RESULT)
        EncodePercent(reply.text, text);
    if (reply.outcome == Outcome::Unavailable)
        WriteLine("400 ", text.size() <= MAX_RESULT ? text : std::string(), output);
    else if (reply.text.size() <= MAX_RESULT && text.size() <= MAX_RESULT)
        WriteLine("200 ", text, output);
    else {
        WriteLine("400 ", "the%20result%20is%20too%20long", output);
        m_config.refusals->Count(Refusals::Unsendable, m_config.name, [&] {
            return "the result of [" + Shortened(query.asks[reply.ask].text) + "] has " +
                   std::to_string(reply.text.size()) + " bytes; the protocol allows " +
                   std::to_string(MAX_RESULT) + " with %XX for special ones";
        });
    }
    return true;
}

} // namespace kwlookup
