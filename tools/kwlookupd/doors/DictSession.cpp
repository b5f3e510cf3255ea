// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/DictSession.h"

#include "tools/lists/Report.h"

#include <algorithm>

namespace kwlookup {

namespace {

/// Dovecot's own limit of a line.
constexpr std::size_t MAX_DICT_LINE = 65536;

constexpr char DICT_ESCAPE = '\001';
/// An escaped byte is DICT_ESCAPE and the second of its pair.
constexpr char DICT_ESCAPES[][2] = {
    {'\0', '0'}, {DICT_ESCAPE, '1'}, {'\t', 't'}, {'\n', 'n'}, {'\r', 'r'}};

std::string FromDictText(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != DICT_ESCAPE || i + 1 == text.size()) {
            bytes += text[i];
            continue;
        }
        char byte = text[++i];
        for (const auto& [plain, letter] : DICT_ESCAPES) {
            if (byte == letter) {
                byte = plain;
                break;
            }
        }
        bytes += byte;
    }
    return bytes;
}

std::string ToDictText(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        const auto* const pair =
            std::find_if(std::begin(DICT_ESCAPES), std::end(DICT_ESCAPES),
                         [&](const char(&each)[2]) { return each[0] == byte; });
        if (pair == std::end(DICT_ESCAPES))
            escaped += byte;
        else
            escaped.append({DICT_ESCAPE, (*pair)[1]});
    }
    return escaped;
}

/// Takes the next field from the front of `fields`.
std::string_view TakeDictField(std::string_view& fields) {
    const std::size_t end = std::min(fields.find('\t'), fields.size());
    const std::string_view field = fields.substr(0, end);
    fields.remove_prefix(std::min(end + 1, fields.size()));
    return field;
}

/// The key that the client's user wrote, without the name space that Dovecot puts before it.
std::string_view WithoutNamespace(std::string_view key) {
    for (const std::string_view space : {"shared/", "priv/"})
        if (key.substr(0, space.size()) == space)
            return key.substr(space.size());
    return key;
}

void WriteDictFailure(std::string_view reason, Output& output) {
    output.Append("F");
    output.Append(reason);
    output.Append("\n");
}

} // namespace

Session::Step DictSession::Read(std::string_view& input, Query& query, Output& output) {
    const std::size_t end = input.find('\n');
    if (std::min(end, input.size()) >= MAX_DICT_LINE) {
        input = {};
        WriteDictFailure("the line is too long", output);
        m_config.refusals->Count(Refusals::Malformed, m_config.name,
                                 [] { return "the line of a request is too long"; });
        return Step::Close;
    }
    if (end == std::string_view::npos)
        return Step::NeedMore;
    const std::string_view line = input.substr(0, end);
    input.remove_prefix(end + 1);
    return TakeLine(line, query, output);
}

Session::Step DictSession::ReadEnd(std::string_view& input, Query& query, Output& output) {
    const Step step = Read(input, query, output);
    return step == Step::NeedMore ? Step::Close : step;
}

Session::Step DictSession::TakeLine(std::string_view line, Query& query, Output& output) {
    std::string_view fields = line.substr(std::min<std::size_t>(1, line.size()));
    switch (line.empty() ? '\0' : line.front()) {
    case 'H': { // major version, minor version, type of values, user, dictionary
        for (int i = 0; i < 4; ++i)
            TakeDictField(fields);
        const std::string name = FromDictText(TakeDictField(fields));
        const auto list =
            std::find_if(m_config.lists.begin(), m_config.lists.end(),
                         [&](const DoorConfig::List& each) { return each.name == name; });
        m_list = list == m_config.lists.end() ? nullptr : &*list;
        m_name = m_list ? std::string() : Shortened(name);
        return Step::Go;
    }
    case 'L': // look up: key, user
        return TakeLookup(fields, query, output);
    case 'I': // iterate
        WriteDictFailure("this dictionary cannot be iterated", output);
        return Step::Go;
    case 'C': // commit: transaction
    case 'D': // commit, without waiting for the answer
        WriteDictFailure(std::string(TakeDictField(fields)) + "\tthis dictionary is read-only",
                         output);
        return Step::Go;
    case 'B': // begin a transaction
    case 'R': // roll it back
    case 'S': // set
    case 'U': // unset
    case 'A': // increment
    case 'T': // set the time of the changes
    case 'V': // keep values out of the log
        return Step::Go;
    default:
        WriteDictFailure("unknown command", output);
        m_config.refusals->Count(Refusals::Malformed, m_config.name,
                                 [] { return "a request has an unknown command"; });
        return Step::Close;
    }
}

Session::Step DictSession::TakeLookup(std::string_view fields, Query& query, Output& output) const {
    if (!m_list) {
        WriteDictFailure("there is no such dictionary", output);
        m_config.refusals->Count(Refusals::UnknownList, m_config.name,
                                 [&] { return "there is no list [" + m_name + ']'; });
        return Step::Go;
    }
    query = Query();
    const std::string key = FromDictText(TakeDictField(fields));
    const std::string_view text = WithoutNamespace(key);
    query.asks.push_back({m_list->number, text.empty() ? "<>" : std::string(text)});
    return Step::Ask;
}

bool DictSession::Answer(const Query&, const std::vector<Reply>& replies, Output& output) {
    const Reply& reply = replies.front();
    switch (reply.outcome) {
    case Outcome::Found:
        output.Append("O");
        output.Append(ToDictText(reply.text));
        output.Append("\n");
        break;
    case Outcome::NotFound:
        output.Append("N\n");
        break;
    case Outcome::Unavailable:
        WriteDictFailure(ToDictText(reply.text), output);
        break;
    }
    return true;
}

} // namespace kwlookup
