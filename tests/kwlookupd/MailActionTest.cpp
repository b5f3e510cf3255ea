// SPDX-License-Identifier: MIT
#include "tools/lists/MailAction.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using kwlookup::MailAction;

TEST(MailActionTest, ReadsResults) {
    const std::string misspelt = "451 4.3.5 Server configuration error";
    const std::string long_text(480, 'x');
    struct {
        std::string result;
        MailAction::Kind kind;
        std::string text;
        std::string value;
    } const cases[] = {
        {"OK", MailAction::Pass, "", ""},
        {"ok with a comment", MailAction::Pass, "", ""},
        {" Accept ", MailAction::Pass, "", ""},
        {"DUNNO", MailAction::Dunno, "", ""},
        {"discard spam", MailAction::Discard, "", ""},
        {"REJECT", MailAction::Refuse, "550 5.7.1 Access denied", ""},
        {"reject\tlisted", MailAction::Refuse, "550 5.7.1 listed", ""},
        {"REJECT 5.1.8  no such domain", MailAction::Refuse, "550 5.1.8 no such domain", ""},
        {"REJECT 4.1.8 class", MailAction::Refuse, "550 5.1.8 class", ""},
        {"REJECT 5.7.1", MailAction::Refuse, "550 5.7.1 Access denied", ""},
        {"REJECT 5.1234.1 x", MailAction::Refuse, "550 5.7.1 5.1234.1 x", ""},
        {"REJECT 5.1 x", MailAction::Refuse, "550 5.7.1 5.1 x", ""},
        {"REJECT 5.1. x", MailAction::Refuse, "550 5.7.1 5.1. x", ""},
        {"REJECT 55.1.1 x", MailAction::Refuse, "550 5.7.1 55.1.1 x", ""},
        {"REJECT gr\xc3\xbcn\x07 50%", MailAction::Refuse, "550 5.7.1 gr??n? 50%", ""},
        {"REJECT " + long_text + "y", MailAction::Refuse, "550 5.7.1 " + long_text, ""},
        {"DEFER", MailAction::Refuse, "451 4.7.1 Try again later", ""},
        {"defer_if_permit soon", MailAction::Refuse, "451 4.7.1 soon", ""},
        {"DEFER_IF_REJECT 5.3.2 soon", MailAction::Refuse, "451 4.3.2 soon", ""},
        {"550", MailAction::Refuse, "550 5.7.1 Access denied", ""},
        {"554 5.7.0 no", MailAction::Refuse, "554 5.7.0 no", ""},
        {"421 later", MailAction::Refuse, "421 4.7.1 later", ""},
        {"HOLD", MailAction::Hold, "held by a list", ""},
        {"quarantine for review", MailAction::Hold, "for review", ""},
        {"PREPEND X-List: yes: no", MailAction::AddHeader, "X-List", "yes: no"},
        {"PREPEND X-List:", MailAction::AddHeader, "X-List", ""},
        {"PREPEND X-Gr: \xc3\xbc", MailAction::AddHeader, "X-Gr", "\xc3\xbc"},
        {"PREPEND X: " + std::string(8192 - 11, 'x'), MailAction::AddHeader, "X",
         std::string(8192 - 11, 'x')},
        // What is no action must lose no mail.
        {"", MailAction::Refuse, misspelt, ""},
        {"REJCT listed", MailAction::Refuse, misspelt, ""},
        {"OKAY", MailAction::Refuse, misspelt, ""},
        {"250 fine", MailAction::Refuse, misspelt, ""},
        {"55 x", MailAction::Refuse, misspelt, ""},
        {"5500 x", MailAction::Refuse, misspelt, ""},
        {"5x0 x", MailAction::Refuse, misspelt, ""},
        {"PREPEND", MailAction::Refuse, misspelt, ""},
        {"PREPEND X-List yes", MailAction::Refuse, misspelt, ""},
        {"PREPEND : yes", MailAction::Refuse, misspelt, ""},
        {"PREPEND X List: yes", MailAction::Refuse, misspelt, ""},
        {"PREPEND X: " + std::string(8192 - 10, 'x'), MailAction::Refuse, misspelt, ""},
        {"REJECT a\nb", MailAction::Refuse, misspelt, ""},
        {"REJECT a\rb", MailAction::Refuse, misspelt, ""},
        {std::string("OK\0", 3), MailAction::Refuse, misspelt, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.result);
        const MailAction action = MailAction::FromResult(c.result);
        EXPECT_EQ(action.kind, c.kind);
        EXPECT_EQ(action.text, c.text);
        EXPECT_EQ(action.value, c.value);
    }
}

TEST(MailActionTest, HasActionsWithoutAResult) {
    EXPECT_EQ(MailAction::ForPlainMatch().text, "550 5.7.1 Access denied");
    EXPECT_EQ(MailAction::ForPlainMatch().kind, MailAction::Refuse);
    EXPECT_EQ(MailAction::ForFault().text, "451 4.3.0 Cannot look this up now, try again later");
    EXPECT_EQ(MailAction::ForFault().kind, MailAction::Refuse);
}

} // namespace
