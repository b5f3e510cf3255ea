// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapBase.h"

#include "plugins/ldap/LdapNames.h"
#include "plugins/ldap/LdapTemplateReader.h"

#include <string_view>

namespace kwlookup {
namespace {

/// A backslash before one of these bytes escapes it.
constexpr std::string_view ESCAPABLE = " \"#+,;<=>\\";
/// These bytes need a backslash in a value.
constexpr std::string_view SPECIAL = "\"+,;<>";

class BaseReader {
public:
    explicit BaseReader(const std::string& text) : m_in("Base", text) {}

    LdapTemplate Read() {
        m_in.SkipBlanks();
        if (m_in.AtEnd())
            return {};
        ReadPair();
        while (!m_in.AtEnd()) {
            const char separator = m_in.At('+') ? '+' : ',';
            m_in.Expect(separator);
            m_in.result.AddStructure({&separator, 1});
            m_in.SkipBlanks();
            ReadPair();
        }
        return std::move(m_in.result);
    }

private:
    /// Read "attribute=value".
    void ReadPair() {
        std::string_view attribute = m_in.TakeUntil("=,+");
        while (!attribute.empty() && attribute.back() == ' ')
            attribute.remove_suffix(1);
        if (!IsLdapName(attribute))
            m_in.Fail("'" + std::string(attribute) + "' before here is no attribute,");
        m_in.Expect('=');
        m_in.result.AddStructure(std::string(attribute) + "=");
        m_in.SkipBlanks();
        if (m_in.At('#'))
            m_in.Fail("'#' at the start of a value, which is written \\23,");
        ReadValue();
    }

    void ReadValue() {
        bool is_empty = true;
        for (;;) {
            // Blanks at the end are not part of the value.
            int blanks = 0;
            while (m_in.Skip(' '))
                ++blanks;
            if (m_in.AtEnd() || m_in.At(',') || m_in.At('+'))
                break;
            for (; blanks > 0; --blanks)
                m_in.result.AddValue(' ');
            for (const char special : SPECIAL)
                if (m_in.At(special))
                    m_in.Fail(std::string("'") + special + "' in a value, which needs a '\\',");
            m_in.TakeValue(ESCAPABLE);
            is_empty = false;
        }
        if (is_empty)
            m_in.Fail("no value");
    }

    LdapTemplateReader m_in;
};

} // namespace

LdapTemplate ReadLdapBase(const std::string& text) {
    return BaseReader(text).Read();
}

} // namespace kwlookup
