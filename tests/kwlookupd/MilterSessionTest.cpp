// SPDX-License-Identifier: MIT
#include "kwlookupd/AnswerFrom.h"
#include "kwlookupd/EveryCut.h"
#include "support/RecordingLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

namespace {

using kwlookup::Query;
using kwlookup::Reply;

Reply AnswerMilter(const Query::Ask& ask) {
    static const std::map<std::string, std::string> RESULTS = {
        {"1 192.0.2.1", "REJECT go away"},
        {"1 192.0.2.2", "OK"},
        {"1 192.0.2.3", "DISCARD"},
        {"1 192.0.2.4", "PREPEND X-Client: known"},
        {"1 2001:db8::1", "REJECT six"},
        {"1 mail.bad.test", "421 busy"},
        {"2 bad.helo", "554 5.7.1 helo"},
        {"2 nice.helo", "ok"},
        {"2 marked.helo", "PREPEND X-Helo: marked"},
        {"2 gone.helo", "DISCARD"},
        {"3 <>", "HOLD null sender"},
        {"3 Bob@Bad.Test", "REJECT 50% off"},
        {"3 pass@x.test", "OK"},
        {"3 discard@x.test", "DISCARD"},
        {"3 header@x.test", "PREPEND X-Sender: gr\xc3\xbcn"},
        {"3 \"a b\"@x.test", "REJECT quoted"},
        {"3 gr\xc3\xbcn@x.test", "REJECT green"},
        {"3 misspelt@x.test", "REJCT"},
        {"4 mallory", "REJECT user"},
        {"5 bad@example.test", "550 5.7.1 listed"},
        {"5 ok@example.test", "OK"},
        {"5 header@example.test", "PREPEND X-Rcpt: 1"},
        {"5 hold@example.test", "QUARANTINE for review"},
        {"5 discard@example.test", "DISCARD"},
    };
    return AnswerFrom(RESULTS, ask);
}

std::unique_ptr<kwlookup::Door> MilterDoor(const std::vector<kwlookup::DoorConfig::Rule>& rules = {
                                               {"client_address", {"nets", 1}},
                                               {"client_name", {"nets", 1}},
                                               {"helo_name", {"helos", 2}},
                                               {"sender", {"senders", 3}},
                                               {"sasl_username", {"users", 4}},
                                               {"recipient", {"rcpts", 5}}}) {
    kwlookup::DoorConfig config;
    config.name = "milter";
    config.protocol = "milter";
    config.rules = rules;
    return kwlookup::MakeDoor(config);
}

std::string Number(std::size_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift & 0xff);
    return bytes;
}

/// A packet: its length, then `text`. A '|' in the text stands for a NUL.
std::string Packet(std::string text) {
    for (char& c : text)
        c = c == '|' ? '\0' : c;
    return Number(text.size()) + text;
}

std::string Packets(const std::vector<std::string>& texts) {
    std::string bytes;
    for (const std::string& text : texts)
        bytes += Packet(text);
    return bytes;
}

std::string Offer(std::size_t version, std::size_t actions, std::size_t steps) {
    const std::string data = "O" + Number(version) + Number(actions) + Number(steps);
    return Number(data.size()) + data;
}

/// As Postfix offers.
const std::string OFFER = Offer(6, 0x1ff, 0x1fffff);
const std::string ACCEPTED = Offer(6, 0x21, 0x370);

std::string AskMilter(const std::string& input) {
    return AnswerAtEveryCut(*MilterDoor(), AnswerMilter, input);
}

TEST(MilterSessionTest, AnswersCommands) {
    const std::string fault = "y451 4.3.0 Cannot look this up now, try again later|";
    const std::string known = "Cx|4pp192.0.2.4|";
    struct {
        std::vector<std::string> input;
        std::vector<std::string> answer;
    } const cases[] = {
        // The client.
        {{"Cclient.test|4pp192.0.2.7|"}, {"c"}},
        {{"Cclient.test|4pp192.0.2.1|"}, {"y550 5.7.1 go away|"}},
        {{"Cclient.test|4pp192.0.2.1"}, {"y550 5.7.1 go away|"}},
        {{"Cmail.bad.test|4pp192.0.2.7|"}, {"y421 4.7.1 busy|"}},
        {{"Cclient.test|6ppIPv6:2001:db8::1|"}, {"y550 5.7.1 six|"}},
        {{"Cclient.test|6ppipv6:2001:db8::1|"}, {"y550 5.7.1 six|"}},
        {{"Cclient.test|6pp2001:db8::1|"}, {"y550 5.7.1 six|"}},
        {{"Clocalhost|U"}, {"c"}},
        {{"Clocalhost|Lpp/192.0.2.1|"}, {"c"}},
        {{"C|4p"}, {"c"}},
        {{"C"}, {"c"}},
        {{"Cclient.test|4pp192.0.2.2|", "Hbad.helo|", "M<Bob@Bad.Test>|"}, {"a", "c", "c"}},
        // HELO.
        {{"Hbad.helo|"}, {"y554 5.7.1 helo|"}},
        {{"Hother.helo|"}, {"c"}},
        {{"H|"}, {"c"}},
        {{"Hnice.helo|", "M<Bob@Bad.Test>|"}, {"a", "c"}},
        // The sender.
        {{"M<Bob@Bad.Test>|"}, {"y550 5.7.1 50%% off|"}},
        {{"MBob@Bad.Test|SIZE=100|BODY=8BITMIME|"}, {"y550 5.7.1 50%% off|"}},
        {{"M<bob@bad.test>|"}, {"c"}}, // the list folds case, not the door
        {{"M<\"a b\"@x.test>|"}, {"y550 5.7.1 quoted|"}},
        {{"M<gr\xc3\xbcn@x.test>|SMTPUTF8|"}, {"y550 5.7.1 green|"}},
        {{"M<plain@x.test>|"}, {"y550 5.7.1 Access denied|"}},
        {{"M<temp@x.test>|"}, {fault}},
        {{"M<misspelt@x.test>|"}, {"y451 4.3.5 Server configuration error|"}},
        {{"M<pass@x.test>|", "R<bad@example.test>|", "E"}, {"a", "c", "c"}},
        {{"M<discard@x.test>|"}, {"d"}},
        {{"M<>|", "E"}, {"c", "qnull sender|", "c"}},
        {{"M|", "E"}, {"c", "qnull sender|", "c"}},
        {{"M<header@x.test>|", "E"}, {"c", "hX-Sender|gr\xc3\xbcn|", "c"}},
        // Who has logged in.
        {{"DM{mail_addr}|x|{auth_authen}|mallory|", "M<a@x.test>|"}, {"y550 5.7.1 user|"}},
        {{"DM{auth_authen}|alice|", "M<a@x.test>|"}, {"c"}},
        {{"DM{auth_authen}|mallory|", "DMi|1|", "M<a@x.test>|"}, {"c"}},
        {{"DR{auth_authen}|mallory|", "M<a@x.test>|"}, {"c"}},
        {{"DM{auth_authen}", "D", "M<a@x.test>|"}, {"c"}},
        // Recipients.
        {{"M<a@x.test>|", "R<bad@example.test>|", "R<ok@example.test>|", "R<bad@example.test>|",
          "R<temp@x.test>|", "R<plain@x.test>|"},
         {"c", "y550 5.7.1 listed|", "c", "y550 5.7.1 listed|", fault,
          "y550 5.7.1 Access denied|"}},
        {{"M<a@x.test>|", "R<discard@example.test>|"}, {"c", "d"}},
        {{"M<header@x.test>|", "R<header@example.test>|", "R<hold@example.test>|", "T", "L|", "N",
          "Bbody", "E"},
         {"c", "c", "c", "c", "c", "c", "c", "hX-Sender|gr\xc3\xbcn|", "hX-Rcpt|1|", "qfor review|",
          "c"}},
        // Nothing is left of a message, or of a client, for the next.
        {{"M<header@x.test>|", "E", "M<a@x.test>|", "E"},
         {"c", "hX-Sender|gr\xc3\xbcn|", "c", "c", "c"}},
        {{"M<header@x.test>|", "A", "M<a@x.test>|", "E"}, {"c", "c", "c"}},
        {{"M<header@x.test>|", "M<a@x.test>|", "E"}, {"c", "c", "c"}},
        {{"M<pass@x.test>|", "A", "M<Bob@Bad.Test>|"}, {"a", "y550 5.7.1 50%% off|"}},
        {{known, "M<a@x.test>|", "E", "M<header@x.test>|", "E"},
         {"c", "c", "hX-Client|known|", "c", "c", "hX-Client|known|", "hX-Sender|gr\xc3\xbcn|",
          "c"}},
        {{known, "M<pass@x.test>|", "R<bad@example.test>|", "E"},
         {"c", "c", "c", "hX-Client|known|", "c"}},
        {{known, "K", "M<a@x.test>|", "E"}, {"c", "c", "c"}},
        {{known, "Cx|4pp192.0.2.7|", "M<a@x.test>|", "E"}, {"c", "c", "c", "c"}},
        {{"Hmarked.helo|", "Hmarked.helo|", "M<a@x.test>|", "E", "M<a@x.test>|", "E"},
         {"c", "c", "c", "hX-Helo|marked|", "c", "c", "hX-Helo|marked|", "c"}},
        {{"Hmarked.helo|", "Hother.helo|", "M<a@x.test>|", "E"}, {"c", "c", "c", "c"}},
        {{"Hnice.helo|", "Hother.helo|", "M<Bob@Bad.Test>|"}, {"a", "c", "y550 5.7.1 50%% off|"}},
        {{"Hgone.helo|", "M<a@x.test>|", "Hother.helo|", "M<a@x.test>|"}, {"c", "d", "c", "c"}},
        {{known, "Hmarked.helo|", "M<a@x.test>|", "E"},
         {"c", "c", "c", "hX-Client|known|", "hX-Helo|marked|", "c"}},
        {{known, "Hnice.helo|", "M<Bob@Bad.Test>|", "E"}, {"c", "c", "c", "hX-Client|known|", "c"}},
        // To discard needs a message.
        {{"Cx|4pp192.0.2.3|", "Hnice.helo|", "M<a@x.test>|", "A", "M<Bob@Bad.Test>|"},
         {"c", "c", "d", "d"}},
        // Commands that the mail server was asked to leave out, and unknown ones.
        {{"L" + std::string(200, 'h'), "UXYZ|", "Zwhat", "M<a@x.test>|"}, {"c", "c", "c"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.input));
        EXPECT_EQ(AskMilter(OFFER + Packets(c.input)), ACCEPTED + Packets(c.answer));
    }
}

TEST(MilterSessionTest, EndsWhenAsked) {
    EXPECT_EQ(AskMilter(OFFER + Packets({"M<a@x.test>|", "Q", "M<a@x.test>|"})),
              ACCEPTED + Packets({"c"}) + " closed");
}

TEST(MilterSessionTest, NegotiatesWhatItNeeds) {
    using Rules = std::vector<kwlookup::DoorConfig::Rule>;
    const Rules sender = {{"sender", {"senders", 3}}};
    struct {
        Rules rules;
        std::string offer;
        std::string answer;
    } const cases[] = {
        {sender, Offer(6, 0x1ff, 0x1fffff), Offer(6, 0x21, 0x37b)},
        {{{"sasl_username", {"a", 1}}}, Offer(6, 0x1ff, 0x1fffff), Offer(6, 0x21, 0x37b)},
        {{{"recipient", {"a", 1}}}, Offer(6, 0x1ff, 0x1fffff), Offer(6, 0x21, 0x377)},
        {{{"client_name", {"a", 1}}}, Offer(6, 0x1ff, 0x1fffff), Offer(6, 0x21, 0x37a)},
        {{{"helo_name", {"a", 1}}}, Offer(6, 0x1ff, 0x1fffff), Offer(6, 0x21, 0x379)},
        // Not more than the mail server offers.
        {sender, Offer(2, 0x1f, 0x7f), Offer(2, 0x01, 0x7b)},
        {sender, Offer(2, 0, 0), Offer(2, 0, 0)},
        {sender, Offer(7, 0xffffffff, 0xffffffff), Offer(6, 0x21, 0x37b)},
        {sender, Offer(0xffffffff, 0, 0), Offer(6, 0, 0)},
        {sender, Offer(1, 0, 0), " closed"},
        {sender, Offer(0, 0, 0), " closed"},
        {sender, Packet("O") + OFFER, " closed"},
        {sender, Packet("Oshort") + OFFER, " closed"},
        {sender, Packet("M<a@x.test>|"), " closed"},
        {sender, Packet("Q"), " closed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.offer));
        EXPECT_EQ(AnswerAtEveryCut(*MilterDoor(c.rules), AnswerMilter, c.offer), c.answer);
    }
}

TEST(MilterSessionTest, DefersWhatTheMailServerDoesNotOffer) {
    const std::string fault = Packet("y451 4.3.0 Cannot look this up now, try again later|");
    EXPECT_EQ(AskMilter(Offer(6, 0x20, 0) + Packets({"M<header@x.test>|", "M<>|"})),
              Offer(6, 0x20, 0) + fault + Packet("c"));
    EXPECT_EQ(AskMilter(Offer(6, 0x01, 0) + Packets({"M<header@x.test>|", "M<>|"})),
              Offer(6, 0x01, 0) + Packet("c") + fault);
}

TEST(MilterSessionTest, LogsResultsThatCannotBeCarriedOut) {
    RecordingLog::Reset();
    for (const char* sender : {"misspelt@x.test", ""}) { // a door logs one a minute
        const auto door = MilterDoor();
        Conversation talk(door->NewSession(), AnswerMilter);
        talk.Send(Offer(6, 0, 0) +
                  Packets({"M<" + std::string(sender) + ">|", "M<>|", "M<Bob@Bad.Test>|"}));
    }
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::ElementsAre(
                    "door milter: the result of [misspelt@x.test] is no action: [REJCT]",
                    "door milter: the result of [<>] needs an action that the mail server does not "
                    "offer: [HOLD null sender]"));
}

TEST(MilterSessionTest, LimitsPacketsToTheirExactByte) {
    const std::string longest(65536 - 2, 'x');
    EXPECT_EQ(AskMilter(OFFER + Packet("M" + longest + "|")), ACCEPTED + Packet("c"));
    EXPECT_EQ(AskMilter(OFFER + Packet("M" + longest + "x|")), ACCEPTED + " closed");
    EXPECT_EQ(AskMilter(OFFER + Number(0xffffffff) + "M"), ACCEPTED + " closed");
    EXPECT_EQ(AskMilter(OFFER + Number(0)), ACCEPTED); // what is it?
    EXPECT_EQ(AskMilter(OFFER + Number(0) + "M"), ACCEPTED + " closed");
    EXPECT_EQ(AskMilter("GET / HTTP/1.1\r\n\r\n"), " closed");
    // The body is skipped, however long it is.
    EXPECT_EQ(AskMilter(OFFER + Packet("B" + std::string(300000, 'b')) + Packet("M<a@x.test>|")),
              ACCEPTED + Packets({"c", "c"}));
    EXPECT_EQ(AskMilter(OFFER + Number(0xffffffff) + "B" + std::string(300000, 'b')), ACCEPTED);
}

TEST(MilterSessionTest, RefusesRulesThatCannotBeAsked) {
    const auto fault = [](const std::vector<kwlookup::DoorConfig::Rule>& rules) -> std::string {
        try {
            MilterDoor(rules);
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(fault({}), "Ask has no rules");
    EXPECT_EQ(fault({{"sender", {"a", 1}}, {"size", {"a", 1}}}),
              "there is no attribute size; there are client_address client_name helo_name sender "
              "sasl_username recipient");
}

} // namespace
