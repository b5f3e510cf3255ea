// SPDX-License-Identifier: MIT
#include "tools/lists/MailAction.h"

#include "text/AsciiLower.h"

#include <algorithm>
#include <iterator>

namespace kwlookup {

namespace {

/// A reply line of SMTP has at most 512 bytes, with code, enhanced status code and line end.
constexpr std::size_t MAX_REPLY_TEXT = 480;
/// A longer result is no action: a header of this size fits into every protocol.
constexpr std::size_t MAX_ACTION_RESULT = 8192;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view SkipBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    return text;
}

/// Takes the first word and the white space after it from the front of `text`.
std::string_view TakeWord(std::string_view& text) {
    const auto* const end = std::find_if(text.begin(), text.end(), IsBlank);
    const std::string_view word = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text = SkipBlanks(text.substr(word.size()));
    return word;
}

/// True for digits, a dot, one to three digits, a dot, one to three digits.
bool IsEnhancedStatus(std::string_view word) {
    std::size_t part = 0, digits = 0;
    for (const char c : word) {
        if (c == '.' && digits != 0 && part < 2)
            ++part, digits = 0;
        else if (!IsDigit(c) || ++digits > (part == 0 ? 1U : 3U))
            return false;
    }
    return part == 2 && digits != 0;
}

bool IsReplyCode(std::string_view word) {
    return word.size() == 3 && (word[0] == '4' || word[0] == '5') && IsDigit(word[1]) &&
           IsDigit(word[2]);
}

/// `text` as it may stand in a reply.
std::string Printable(std::string_view text) {
    std::string printable(text.substr(0, MAX_REPLY_TEXT));
    std::replace_if(
        printable.begin(), printable.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return printable;
}

/// A refusal with `code`. `text` may begin with an enhanced status code, whose class must be that
/// of the code; `detail` is the rest of it otherwise.
MailAction Refusal(std::string_view code, std::string_view detail, std::string_view text) {
    std::string_view rest = text;
    const std::string_view status = TakeWord(rest);
    std::string reply(code);
    reply.append(" ").append(1, code.front());
    if (IsEnhancedStatus(status)) {
        reply.append(status.substr(1));
        text = rest;
    } else
        reply.append(".").append(detail);
    if (text.empty())
        text = code.front() == '5' ? "Access denied" : "Try again later";
    return {MailAction::Refuse, reply + " " + Printable(text), {}};
}

MailAction NoAction() {
    MailAction action = Refusal("451", "3.5", "Server configuration error");
    action.is_known = false;
    return action;
}

MailAction Header(std::string_view text) {
    const std::size_t colon = text.find(':');
    const std::string_view name = text.substr(0, colon);
    // As RFC 5322 has it: printable ASCII without a blank.
    if (colon == std::string_view::npos || name.empty() ||
        std::any_of(name.begin(), name.end(), [](char c) { return c <= ' ' || c > '~'; }))
        return NoAction();
    return {MailAction::AddHeader, std::string(name),
            std::string(SkipBlanks(text.substr(colon + 1)))};
}

struct Word {
    std::string_view word;
    MailAction (*make)(std::string_view text);
};

MailAction Deferral(std::string_view text) {
    return Refusal("451", "7.1", text);
}

MailAction Holding(std::string_view text) {
    return {MailAction::Hold, std::string(text.empty() ? "held by a list" : text), {}};
}

MailAction Passing(std::string_view) {
    return {MailAction::Pass, {}, {}};
}

constexpr Word WORDS[] = {
    {"accept", Passing},
    {"defer", Deferral},
    {"defer_if_permit", Deferral},
    {"defer_if_reject", Deferral},
    {"discard",
     [](std::string_view) {
         return MailAction{MailAction::Discard, {}, {}};
     }},
    {"dunno", [](std::string_view) { return MailAction(); }},
    {"hold", Holding},
    {"ok", Passing},
    {"prepend", Header},
    {"quarantine", Holding},
    {"reject", [](std::string_view text) { return Refusal("550", "7.1", text); }},
};

} // namespace

MailAction MailAction::FromResult(std::string_view result) {
    if (result.size() > MAX_ACTION_RESULT ||
        result.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
        return NoAction();
    std::string_view text = SkipBlanks(result);
    std::string word(TakeWord(text));
    if (IsReplyCode(word))
        return Refusal(word, "7.1", text);
    for (char& c : word)
        c = AsciiLower(c);
    const auto* const known = std::find_if(std::begin(WORDS), std::end(WORDS),
                                           [&](const Word& each) { return each.word == word; });
    return known == std::end(WORDS) ? NoAction() : known->make(text);
}

MailAction MailAction::ForPlainMatch() {
    return Refusal("550", "7.1", {});
}

MailAction MailAction::ForFault() {
    return Refusal("451", "3.0", "Cannot look this up now, try again later");
}

} // namespace kwlookup
