// SPDX-License-Identifier: MIT
#include "plugins/rfile/RequiredLiterals.h"

#include "text/AsciiLower.h"

#include <algorithm>
#include <re2/filtered_re2.h>
#include <re2/re2.h>

namespace kwlookup {

namespace {

/// Shorter literals occur in too many texts.
constexpr int SHORTEST_LITERAL = 3;
/// Beyond these limits the answer is less exact, so that loading takes linear time.
constexpr std::size_t MOST_LITERALS = 256;
constexpr std::size_t MOST_SETS = 4;

bool IsOneOf(char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsAlphaNumeric(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsPunctuation(char c) {
    return c > ' ' && c < 0x7f && !IsAlphaNumeric(c);
}

int HexValue(char c) {
    return IsDigit(c)               ? c - '0'
           : (c >= 'a' && c <= 'f') ? c - 'a' + 10
           : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                    : -1;
}

/// Translates a pattern from PCRE2 to RE2. The result matches, in lower case, every text that the
/// pattern matches, and perhaps others. Gives up on anything that may mean something else in RE2.
class Translator {
public:
    explicit Translator(std::string_view pattern) : m_rest(pattern) {}

    /// False if it gave up.
    bool Run() {
        while (!m_rest.empty())
            if (!Item())
                return false;
        return true;
    }

    const std::string& GetOutput() const { return m_output; }

private:
    char Peek(std::size_t i = 0) const { return i < m_rest.size() ? m_rest[i] : '\0'; }

    bool NextIsOneOf(std::string_view set) const {
        return !m_rest.empty() && IsOneOf(m_rest.front(), set);
    }

    char Take() {
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }

    bool TakeIf(char c) {
        const bool is = NextIsOneOf(std::string_view(&c, 1));
        if (is)
            Take();
        return is;
    }

    bool WriteByte(char c) {
        const auto byte = static_cast<unsigned char>(c);
        if (IsAlphaNumeric(c))
            m_output += AsciiLower(c);
        else
            (m_output += "\\x").append({HEX_DIGITS[byte >> 4], HEX_DIGITS[byte & 15]});
        return true;
    }

    bool WriteAnyByte() {
        m_output += '.';
        return true;
    }

    bool Item() {
        if (NextIsOneOf("*+?{"))
            return Quantifier();
        const char c = Take();
        switch (c) {
        case '\\':
            return Escape();
        case '[':
            return Class();
        case '(':
            return Group();
        case ')':
        case '|':
            m_output += c;
            return true;
        case '^':
        case '$':
            return Assertion();
        case '.':
            return WriteAnyByte();
        default:
            return WriteByte(c);
        }
    }

    /// Assertions are left out, which only allows more texts.
    bool Assertion() const { return !NextIsOneOf("*+?{"); }

    bool Group() {
        if (Peek() == '*' || (Peek() == '?' && Peek(1) != ':'))
            return false;
        if (TakeIf('?'))
            Take();
        m_output += "(?:";
        return true;
    }

    bool Quantifier() {
        std::size_t size = 1;
        if (Peek() == '{') {
            while (IsDigit(Peek(size)))
                ++size;
            const bool number = size > 1;
            if (number && Peek(size) == ',')
                for (++size; IsDigit(Peek(size));)
                    ++size;
            if (!number || Peek(size) != '}')
                return false;
            ++size;
            // RE2 reads a count with a leading zero as literal text.
            for (std::size_t i = 1; i + 1 < size; ++i)
                if (!IsDigit(Peek(i - 1)) && Peek(i) == '0' && IsDigit(Peek(i + 1)))
                    return false;
        }
        m_output += m_rest.substr(0, size);
        m_rest.remove_prefix(size);
        // A lazy quantifier matches the same texts.
        TakeIf('?');
        return !NextIsOneOf("*+?{");
    }

    /// Read an escape for one byte, inside or outside a class. The backslash has been read.
    bool EscapedByte(char& byte) {
        if (m_rest.empty())
            return false;
        const char c = Take();
        const std::size_t control = std::string_view("tnrfae").find(c);
        if (IsPunctuation(c)) {
            byte = c;
        } else if (control != std::string_view::npos) {
            byte = "\t\n\r\f\a\x1b"[control];
        } else if (c == 'x' && HexValue(Peek()) >= 0 && HexValue(Peek(1)) >= 0) {
            byte = static_cast<char>(HexValue(Peek()) * 16 + HexValue(Peek(1)));
            m_rest.remove_prefix(2);
        } else {
            return false;
        }
        return true;
    }

    bool Escape() {
        if (NextIsOneOf(ONE_BYTE_ESCAPES)) {
            Take();
            return WriteAnyByte();
        }
        if (NextIsOneOf("bBAzZ")) {
            Take();
            return Assertion();
        }
        char byte;
        return EscapedByte(byte) && WriteByte(byte);
    }

    /// Translate a class whose '[' has been read. One that does not just list bytes becomes any
    /// byte, as RE2 finds no literals in large classes.
    bool Class() {
        bool any = TakeIf('^');
        std::string bytes;
        for (bool first = true; !m_rest.empty(); first = false) {
            if (!first && TakeIf(']'))
                return WriteClass(any, bytes);
            if (NextIsOneOf("[") && IsOneOf(Peek(1), ":.=")) {
                if (!NamedSet())
                    return false;
                any = true;
                continue;
            }
            char byte = Take();
            if (byte == '-' && !first && Peek() != ']') {
                any = true;
            } else if (byte == '\\' && NextIsOneOf(ONE_BYTE_ESCAPES)) {
                Take();
                any = true;
            } else if (byte == '\\' && !EscapedByte(byte)) {
                return false;
            }
            bytes += byte;
        }
        return false;
    }

    /// Skip a set such as [:alpha:].
    bool NamedSet() {
        std::size_t size = 2;
        if (Peek(size) == '^')
            ++size;
        while (Peek(size) >= 'a' && Peek(size) <= 'z')
            ++size;
        if (Peek(1) != ':' || Peek(size) != ':' || Peek(size + 1) != ']')
            return false;
        m_rest.remove_prefix(size + 2);
        return true;
    }

    bool WriteClass(bool any, const std::string& bytes) {
        if (any)
            return WriteAnyByte();
        m_output += '[';
        for (const char byte : bytes)
            WriteByte(byte);
        m_output += ']';
        return true;
    }

    static constexpr char HEX_DIGITS[] = "0123456789abcdef";
    static constexpr char ONE_BYTE_ESCAPES[] = "dDwWsShHvVN";

    std::string_view m_rest;
    std::string m_output;
};

/// The literals of one pattern, and whether a text with only some of them may match.
class Requirement {
public:
    explicit Requirement(const std::string& pattern) : m_filter(SHORTEST_LITERAL) {
        RE2::Options options(RE2::Latin1);
        options.set_log_errors(false);
        options.set_dot_nl(true);
        int id;
        if (m_filter.Add(pattern, options, &id) == RE2::NoError)
            m_filter.Compile(&m_literals);
    }

    const std::vector<std::string>& GetLiterals() const { return m_literals; }

    /// True if a text that contains the literals `held` and no others may match.
    bool MayMatch(const std::vector<int>& held) const {
        std::vector<int> matching;
        m_filter.AllPotentials(held, &matching);
        return !matching.empty();
    }

private:
    re2::FilteredRE2 m_filter;
    std::vector<std::string> m_literals;
};

} // namespace

std::vector<LiteralSet> RequiredLiterals(std::string_view pattern) {
    std::vector<LiteralSet> sets;
    Translator translator(pattern);
    if (!translator.Run())
        return sets;
    const Requirement requirement(translator.GetOutput());
    const std::vector<std::string>& literals = requirement.GetLiterals();
    if (literals.empty() || requirement.MayMatch({}))
        return sets;
    if (literals.size() > MOST_LITERALS) {
        sets.push_back(literals);
        return sets;
    }
    std::vector<int> order(literals.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<int>(i);
    const auto text = [&](int i) -> const std::string& {
        return literals[static_cast<std::size_t>(i)];
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return text(a).size() < text(b).size(); });

    // Each round finds a set of which a text must contain a literal, even if it contains all
    // others. Starting with the shortest, literals are granted while a match stays impossible; the
    // rest is the set.
    std::vector<int> granted;
    while (sets.size() < MOST_SETS && !requirement.MayMatch(granted)) {
        LiteralSet set;
        std::vector<int> held = granted;
        std::vector<int> kept;
        for (const int literal : order) {
            held.push_back(literal);
            if (!requirement.MayMatch(held))
                continue;
            held.pop_back();
            kept.push_back(literal);
            set.push_back(text(literal));
        }
        for (const int literal : kept) {
            granted.push_back(literal);
            order.erase(std::find(order.begin(), order.end(), literal));
        }
        sets.push_back(std::move(set));
    }
    return sets;
}

} // namespace kwlookup
