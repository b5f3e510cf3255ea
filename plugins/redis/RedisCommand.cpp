// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisCommand.h"

#include "families/servers/ServerFault.h"

#include <boost/algorithm/string/predicate.hpp>

#include <charconv>
#include <locale>
#include <stdexcept>

namespace kwlookup {
namespace {

constexpr std::string_view SPACE = " \t\n\v\f\r";

[[noreturn]] void RefuseCommand(const std::string& text) {
    throw std::invalid_argument("cannot read the command '" + text +
                                "': wait GET, HGET, HMGET, SISMEMBER, ZSCORE or EXISTS and its "
                                "arguments");
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> words;
    std::size_t at = 0;
    while ((at = text.find_first_not_of(SPACE, at)) != std::string::npos) {
        std::size_t end;
        if (text[at] == '\'' || text[at] == '"') {
            end = text.find(text[at], at + 1);
            if (end == std::string::npos)
                RefuseCommand(text);
            words.push_back(text.substr(at + 1, end - at - 1));
            if (++end < text.size() && SPACE.find(text[end]) == std::string_view::npos)
                RefuseCommand(text);
        } else {
            end = std::min(text.find_first_of(SPACE, at), text.size());
            words.push_back(text.substr(at, end - at));
            if (words.back().find_first_of("'\"") != std::string::npos)
                RefuseCommand(text);
        }
        at = end;
    }
    return words;
}

/// Append "TYPENUMBER\r\n". Formatting by the standard library would take most of the time of a
/// cached answer.
void AppendHead(char type, std::size_t number, std::string& out) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
    out += type;
    out.append(digits, end);
    out += "\r\n";
}

void AppendArgument(std::string_view argument, std::string& out) {
    AppendHead('$', argument.size(), out);
    out += argument;
    out += "\r\n";
}

/// Argument `number` of a request; the name of the command is number 0.
std::string_view ArgumentOf(const std::string& request, std::size_t number) {
    std::size_t at = request.find('\n') + 1;
    for (;;) {
        std::size_t size = 0;
        const std::size_t end = request.find('\r', at);
        std::from_chars(request.data() + at + 1, request.data() + end, size);
        if (number-- == 0)
            return std::string_view(request).substr(end + 2, size);
        at = end + 2 + size + 2;
    }
}

} // namespace

std::string RedisRequest(const std::vector<std::string>& arguments) {
    std::string request;
    AppendHead('*', arguments.size(), request);
    for (const std::string& argument : arguments)
        AppendArgument(argument, request);
    return request;
}

const RedisCommand::Known& RedisCommand::Find(const std::string& text, const std::string& name) {
    // Commands with one key, so that one node of a cluster can answer.
    static constexpr Known KNOWN[] = {
        {"EXISTS", 1, 1, Kind::Flag},    {"GET", 1, 1, Kind::Value},
        {"HGET", 2, 2, Kind::Value},     {"HMGET", 2, 100, Kind::Values},
        {"SISMEMBER", 2, 2, Kind::Flag}, {"ZSCORE", 2, 2, Kind::Value},
    };
    for (const Known& known : KNOWN)
        if (boost::algorithm::iequals(name, known.name, std::locale::classic()))
            return known;
    RefuseCommand(text);
}

RedisCommand::RedisCommand(const std::string& text) : m_text(text) {
    const std::vector<std::string> words = Split(text);
    if (words.empty())
        RefuseCommand(text);
    m_known = &Find(text, words[0]);
    m_matched = words.size() - 1;
    for (std::size_t i = 1; i < words.size(); ++i) {
        m_arguments.emplace_back(words[i]);
        if (words[i].find('$') != std::string::npos)
            m_matched = i;
    }
    if (m_arguments.size() < m_known->least || m_arguments.size() > m_known->most)
        throw std::invalid_argument("wrong number of arguments in '" + text + "'");
    AppendHead('*', words.size(), m_head);
    AppendArgument(m_known->name, m_head);
}

bool RedisCommand::Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                          std::string& question) const {
    static thread_local std::string text; // keeps its memory
    question = m_head;
    for (const QueryTemplate& argument : m_arguments) {
        if (!argument.Expand(lookup, finder, flags, text))
            return false;
        AppendArgument(text, question);
    }
    return true;
}

std::string RedisCommand::Matched(const std::string& question) const {
    return std::string(ArgumentOf(question, m_matched));
}

std::string_view RedisCommand::KeyOf(const std::string& question) {
    return ArgumentOf(question, 1);
}

void RedisCommand::Read(const RedisReply& reply, Answer& answer) const {
    using Type = RedisReply::Type;
    if (m_known->kind == Kind::Flag && reply.type == Type::Integer) {
        if (reply.integer != 0)
            answer.AddRow();
        return;
    }
    if (m_known->kind == Kind::Value && (reply.type == Type::String || reply.type == Type::Nil)) {
        if (reply.type == Type::String) {
            answer.AddRow();
            answer.AddValue(reply.text);
        }
        return;
    }
    if (m_known->kind == Kind::Values && reply.type == Type::Array &&
        reply.elements.size() == m_arguments.size() - 1) {
        bool found = false;
        bool good = true;
        for (const RedisReply& element : reply.elements) {
            found |= element.type == Type::String;
            good &= element.type == Type::String || element.type == Type::Nil;
        }
        if (good) {
            if (found)
                answer.AddRow();
            for (const RedisReply& element : reply.elements)
                answer.AddValue(element.text);
            return;
        }
    }
    throw ServerFault(std::string("the answer is not one to ") + m_known->name);
}

} // namespace kwlookup
