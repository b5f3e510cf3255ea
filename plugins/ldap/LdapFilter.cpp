// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapFilter.h"

#include "plugins/ldap/LdapNames.h"
#include "plugins/ldap/LdapTemplateReader.h"

#include <boost/algorithm/string/predicate.hpp>

namespace kwlookup {
namespace {

/// A limit, because libldap and servers parse filters recursively.
constexpr int DEEPEST = 100;

class FilterReader {
public:
    explicit FilterReader(const std::string& text) : m_in("filter", text) {}

    LdapTemplate Read() {
        m_in.SkipBlanks();
        if (m_in.At('(')) {
            ReadFilter(1);
            m_in.SkipBlanks();
        } else {
            m_in.result.AddStructure("(");
            ReadComparison();
            m_in.result.AddStructure(")");
        }
        if (!m_in.AtEnd())
            m_in.Fail("text behind the filter");
        return std::move(m_in.result);
    }

private:
    void ReadFilter(int depth) {
        if (depth > DEEPEST)
            m_in.Fail("more than " + std::to_string(DEEPEST) + " filters in each other");
        m_in.Expect('(');
        m_in.result.AddStructure("(");
        m_in.SkipBlanks();
        if (m_in.Skip('&'))
            ReadList("&", depth);
        else if (m_in.Skip('|'))
            ReadList("|", depth);
        else if (m_in.Skip('!'))
            ReadNot(depth);
        else
            ReadComparison();
        m_in.Expect(')');
        m_in.result.AddStructure(")");
    }

    void ReadList(const char* operation, int depth) {
        m_in.result.AddStructure(operation);
        m_in.SkipBlanks();
        do {
            ReadFilter(depth + 1);
            m_in.SkipBlanks();
        } while (m_in.At('('));
    }

    void ReadNot(int depth) {
        m_in.result.AddStructure("!");
        m_in.SkipBlanks();
        ReadFilter(depth + 1);
        m_in.SkipBlanks();
    }

    void ReadComparison() {
        const std::string_view attribute = m_in.TakeUntil("=~<>:()");
        if (!IsLdapAttribute(attribute) && !(attribute.empty() && m_in.At(':')))
            m_in.Fail("'" + std::string(attribute) + "' before here is no attribute,");
        m_in.result.AddStructure(attribute);
        if (m_in.Skip(':'))
            return ReadExtensible(!attribute.empty());
        for (const char order : {'~', '<', '>'}) {
            if (m_in.Skip(order)) {
                m_in.Expect('=');
                m_in.result.AddStructure(std::string{order, '='});
                ReadValue();
                return;
            }
        }
        m_in.Expect('=');
        m_in.result.AddStructure("=");
        ReadPattern();
    }

    /// Read what follows the first colon in `attribute:dn:rule:=value`.
    void ReadExtensible(bool has_attribute) {
        bool has_dn = false;
        bool has_rule = false;
        while (!m_in.At('=')) {
            const std::string_view word = m_in.TakeUntil(":=()");
            if (!has_dn && !has_rule && boost::algorithm::iequals(word, "dn"))
                has_dn = true;
            else if (!has_rule && IsLdapName(word))
                has_rule = true;
            else
                m_in.Fail("'" + std::string(word) + "' before here is no matching rule,");
            m_in.Expect(':');
            m_in.result.AddStructure(":" + std::string(word));
        }
        if (!has_attribute && !has_rule)
            m_in.Fail("neither an attribute nor a matching rule");
        m_in.Expect('=');
        m_in.result.AddStructure(":=");
        ReadValue();
    }

    /// Read a value, in which '*' stands for any text.
    void ReadPattern() {
        bool is_empty = !ReadValue();
        bool is_first = true;
        while (m_in.At('*')) {
            if (is_empty && !is_first)
                m_in.Fail("nothing between two '*'");
            m_in.Expect('*');
            m_in.result.AddStructure("*");
            is_empty = !ReadValue();
            is_first = false;
        }
    }

    /// Read a value. False if it is empty.
    bool ReadValue() {
        bool is_there = false;
        for (; !m_in.AtEnd() && !m_in.At(')') && !m_in.At('*'); is_there = true) {
            if (m_in.At('('))
                m_in.Fail("'(' in a value, which is written \\28,");
            m_in.TakeValue();
        }
        return is_there;
    }

    LdapTemplateReader m_in;
};

} // namespace

LdapTemplate ReadLdapFilter(const std::string& text) {
    return FilterReader(text).Read();
}

} // namespace kwlookup
