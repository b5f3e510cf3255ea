// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/OpenSmtpdSession.h"
#include "kwlookupd/AnswerFrom.h"
#include "kwlookupd/EveryCut.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

namespace {

using kwlookup::OpenSmtpdSession;
using kwlookup::Query;
using kwlookup::Reply;

Reply AnswerFilter(const Query::Ask& ask) {
    static const std::map<std::string, std::string> RESULTS = {
        {"1 Bob.X@Sender.Test", "REJECT 5.1.8 listed"},
        {"1 <>", "450 no null sender"},
        {"1 a|b@x.test", "REJECT bar"},
        {"1 ok@x.test", "OK"},
        {"1 hold@x.test", "HOLD"},
        {"2 to@x.test", "REJECT to"},
        {"3 192.0.2.7", "REJECT four"},
        {"3 ::1", "REJECT six"},
        {"3 mail.bad.test", "REJECT name"},
        {"3 bad.helo", "REJECT helo"},
    };
    return AnswerFrom(RESULTS, ask);
}

/// The door of a filter with these rules, which the daemon does not have.
class FilterDoor : public kwlookup::Door {
public:
    explicit FilterDoor(const std::vector<kwlookup::DoorConfig::Rule>& rules) {
        m_config.rules = rules;
        OpenSmtpdSession::Check(m_config);
    }
    std::unique_ptr<kwlookup::Session> NewSession() const override {
        return std::make_unique<OpenSmtpdSession>(m_config);
    }

private:
    kwlookup::DoorConfig m_config;
};

std::string AskFilter(const std::string& input) {
    const FilterDoor door({{"sender", {"a", 1}},
                           {"recipient", {"b", 2}},
                           {"client_address", {"c", 3}},
                           {"client_name", {"c", 3}},
                           {"helo_name", {"c", 3}}});
    return AnswerAtEveryCut(door, AnswerFilter, input);
}

/// A request and its answer, both without the fields that are always there.
struct FilterCase {
    std::string request;
    std::string answer;
};

TEST(OpenSmtpdSessionTest, AnswersRequests) {
    const FilterCase cases[] = {
        {"mail-from|S|T|Bob.X@Sender.Test", "S|T|reject|550 5.1.8 listed"},
        {"mail-from|S|T|<Bob.X@Sender.Test>", "S|T|reject|550 5.1.8 listed"},
        {"mail-from|S|T|none@x.test", "S|T|proceed"},
        {"mail-from|S|T|", "S|T|reject|450 4.7.1 no null sender"},
        {"mail-from|S|T|<>", "S|T|reject|450 4.7.1 no null sender"},
        {"mail-from|S|T", "S|T|reject|450 4.7.1 no null sender"},
        {"mail-from|S|T|a|b@x.test", "S|T|reject|550 5.7.1 bar"},
        {"mail-from|S|T|plain@x.test", "S|T|reject|550 5.7.1 Access denied"},
        {"mail-from|S|T|temp@x.test",
         "S|T|reject|451 4.3.0 Cannot look this up now, try again later"},
        {"mail-from|S|T|ok@x.test", "S|T|proceed"},
        {"mail-from|S|T|hold@x.test", "S|T|reject|451 4.3.5 Server configuration error"},
        {"rcpt-to|S|T|to@x.test", "S|T|reject|550 5.7.1 to"},
        {"rcpt-to|S|T|Bob.X@Sender.Test", "S|T|proceed"},
        {"rcpt-to|S|T|", "S|T|proceed"},
        {"connect|S|T|client.test|192.0.2.7", "S|T|reject|550 5.7.1 four"},
        {"connect|S|T|client.test|[::1]", "S|T|reject|550 5.7.1 six"},
        {"connect|S|T|client.test|::1|more", "S|T|reject|550 5.7.1 six"},
        {"connect|S|T|mail.bad.test|192.0.2.8", "S|T|reject|550 5.7.1 name"},
        {"connect|S|T|local|local", "S|T|proceed"},
        {"connect|S|T", "S|T|proceed"},
        {"helo|S|T|bad.helo", "S|T|reject|550 5.7.1 helo"},
        {"ehlo|S|T|bad.helo", "S|T|reject|550 5.7.1 helo"},
        // Nobody has registered for it, but the mail session waits.
        {"data|S|T|", "S|T|proceed"},
        {"new-phase|S|T|x", "S|T|proceed"},
    };
    for (const FilterCase& c : cases) {
        for (const std::string version : {"0.6", "0.7", "2"}) {
            const std::string line =
                "filter|" + version + "|1795296311.124840|smtp-in|" + c.request + "\n";
            EXPECT_EQ(AskFilter(line), "filter-result|" + c.answer + "\n") << line;
        }
    }
}

TEST(OpenSmtpdSessionTest, RegistersForWhatItNeeds) {
    const std::string config = "config|smtpd-version|6.8.0p2\nconfig|smtp-session-timeout|300\n"
                               "config|subsystem|smtp-in\nconfig|admd|vm\n";
    EXPECT_EQ(AskFilter(config), "");
    const std::string r = "register|filter|smtp-in|";
    EXPECT_EQ(AskFilter(config + "config|ready\n"), r + "connect\n" + r + "helo\n" + r + "ehlo\n" +
                                                        r + "mail-from\n" + r +
                                                        "rcpt-to\nregister|ready\n");
    const FilterDoor door({{"recipient", {"a", 1}}, {"recipient", {"b", 2}}});
    EXPECT_EQ(AnswerAtEveryCut(door, AnswerFilter, "config|ready\n"),
              r + "rcpt-to\nregister|ready\n");
}

TEST(OpenSmtpdSessionTest, SkipsOtherLines) {
    EXPECT_EQ(AskFilter("report|0.6|1|smtp-in|tx-mail|S|T|ok|Bob.X@Sender.Test\n\nfilter\n"
                        "filter|0.6|1|smtp-in|mail-from|S\nwhat\n"
                        "filter|0.6|1|smtp-in|mail-from|S|T|none@x.test\nfilter|0.6"),
              "filter-result|S|T|proceed\n");
}

TEST(OpenSmtpdSessionTest, AnswersALineThatIsTooLong) {
    const std::string begin = "filter|0.6|1|smtp-in|mail-from|S|T|";
    const std::string fits = begin + std::string(65535 - begin.size(), 'x');
    const std::string next = begin + "ok@x.test\n";
    EXPECT_EQ(AskFilter(fits + "\n" + next),
              "filter-result|S|T|proceed\nfilter-result|S|T|proceed\n");
    const std::string too_long =
        "filter-result|S|T|reject|451 4.3.0 Cannot look this up now, try again later\n";
    EXPECT_EQ(AskFilter(fits + "x\n" + next), too_long + "filter-result|S|T|proceed\n");
    EXPECT_EQ(AskFilter(fits + std::string(200000, 'x') + "\n" + next),
              too_long + "filter-result|S|T|proceed\n");
    EXPECT_EQ(AskFilter(std::string(200000, 'x') + "\n" + next), "filter-result|S|T|proceed\n");
}

TEST(OpenSmtpdSessionTest, RefusesRulesThatCannotBeAsked) {
    EXPECT_THROW(FilterDoor({}), std::invalid_argument);
    EXPECT_THROW(FilterDoor({{"sasl_username", {"a", 1}}}), std::invalid_argument);
}

} // namespace
