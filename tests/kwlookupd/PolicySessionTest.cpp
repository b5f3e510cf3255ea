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

/// Lists 1 (senders), 2 (recipients) and 3 (networks).
Reply AnswerPolicy(const Query::Ask& ask) {
    static const std::map<std::string, std::string> RESULTS = {
        {"1 <>", "HOLD null sender"},
        {"1 a@bad.test", "REJECT 5.7.1 listed"},
        {"1 Bob.X+tag@Sender.Test", "OK as sent"},
        {"2 a b@example.test", "OK quoted"},
        {"2 gr\xc3\xbcn@x.test", "PREPEND X-Gr\xc3\xbcn: ja"},
        {"3 192.0.2.7", "OK"},
        {"3 192.0.2.8", "two\nlines"},
        {"3 192.0.2.9", std::string("a\0b", 3)},
        {"3 192.0.2.10", std::string(8192, 'x')},
        {"3 192.0.2.11", std::string(8193, 'x')},
    };
    return AnswerFrom(RESULTS, ask);
}

kwlookup::DoorConfig PolicyConfig(const std::vector<kwlookup::DoorConfig::Rule>& rules = {
                                      {"sender", {"senders", 1}},
                                      {"recipient", {"recipients", 2}},
                                      {"client_address", {"networks", 3}}}) {
    kwlookup::DoorConfig config;
    config.name = "rules";
    config.protocol = "policy";
    config.rules = rules;
    return config;
}

std::string AskPolicy(const std::string& input) {
    return AnswerAtEveryCut(*kwlookup::MakeDoor(PolicyConfig()), AnswerPolicy, input);
}

const std::string POLICY_DUNNO = "action=DUNNO\n\n";
const std::string POLICY_REJECT = "action=REJECT\n\n";
const std::string POLICY_DEFER =
    "action=DEFER_IF_PERMIT 4.3.0 cannot look this up now, try again later\n\n";
const std::string POLICY_MALFORMED =
    "action=DEFER_IF_PERMIT 4.3.0 the request is malformed\n\n closed";
const std::string POLICY_TOO_LONG =
    "action=DEFER_IF_PERMIT 4.3.0 the request is too long\n\n closed";
const std::string POLICY_NO_ACTION = "action=DEFER_IF_PERMIT 4.3.0 the action cannot be sent\n\n";

TEST(PolicySessionTest, AnswersRequests) {
    struct {
        std::string request;
        std::string answer;
    } const cases[] = {
        // As Postfix sends it.
        {"request=smtpd_access_policy\nprotocol_state=RCPT\nprotocol_name=ESMTP\n"
         "client_address=127.0.0.1\nclient_name=unknown\nclient_port=46143\n"
         "reverse_client_name=unknown\nserver_address=127.0.0.1\nserver_port=9125\n"
         "helo_name=client.test\nsender=Bob.X+tag@Sender.Test\nrecipient=Alice+x@Example.Test\n"
         "recipient_count=0\nqueue_id=\ninstance=578a.6b020ab8.b04d0.0\nsize=0\netrn_domain=\n"
         "stress=\nsasl_method=\nsasl_username=\nsasl_sender=\nccert_subject=\nccert_issuer=\n"
         "ccert_fingerprint=\nccert_pubkey_fingerprint=\nencryption_protocol=\n"
         "encryption_cipher=\nencryption_keysize=0\npolicy_context=\n\n",
         "action=OK as sent\n\n"},
        {"sender=none@x.test\nrecipient=none@x.test\n\n", POLICY_DUNNO},
        {"recipient=a b@example.test\nsender=a@bad.test\n\n", "action=REJECT 5.7.1 listed\n\n"},
        {"recipient=a b@example.test\nsender=good@x.test\n\n", "action=OK quoted\n\n"},
        {"recipient=gr\xc3\xbcn@x.test\n\n", "action=PREPEND X-Gr\xc3\xbcn: ja\n\n"},
        {"sender=plain@x.test\n\n", POLICY_REJECT},
        {"sender=temp@x.test\nclient_address=192.0.2.7\n\n", POLICY_DEFER},
        {"sender=a@bad.test\nrecipient=temp@x.test\n\n", "action=REJECT 5.7.1 listed\n\n"},
        {"client_address=192.0.2.7\n\n", "action=OK\n\n"},
        // The null sender.
        {"sender=\n\n", "action=HOLD null sender\n\n"},
        {"sender=<>\n\n", "action=HOLD null sender\n\n"},
        {"protocol_state=MAIL\nsender=\n\n", "action=HOLD null sender\n\n"},
        {"sender=\nprotocol_state=RCPT\n\n", "action=HOLD null sender\n\n"},
        {"protocol_state=END-OF-MESSAGE\nsender=\n\n", "action=HOLD null sender\n\n"},
        // There is no sender yet.
        {"protocol_state=CONNECT\nsender=\nclient_address=192.0.2.7\n\n", "action=OK\n\n"},
        {"sender=\nprotocol_state=EHLO\n\n", POLICY_DUNNO},
        {"sender=\nprotocol_state=HELO\n\n", POLICY_DUNNO},
        {"protocol_state=VRFY\nrecipient=none@x.test\nsender=\n\n", POLICY_DUNNO},
        {"recipient=\n\n", POLICY_DUNNO},
        {"\n", POLICY_DUNNO},
        // A value may have the marks of the protocol, and the last one counts.
        {"sender=a=b\nsender=a@bad.test\n\n", "action=REJECT 5.7.1 listed\n\n"},
        {"=\n=x\nsender= a@bad.test\n\n", POLICY_DUNNO},
        {std::string("sender=a@bad.test\0x\n\n", 21), POLICY_DUNNO},
        // Actions that would end the answer early.
        {"client_address=192.0.2.8\n\n", POLICY_NO_ACTION},
        {"client_address=192.0.2.9\n\n", POLICY_NO_ACTION},
        {"client_address=192.0.2.10\n\n", "action=" + std::string(8192, 'x') + "\n\n"},
        {"client_address=192.0.2.11\n\n", POLICY_NO_ACTION},
        // Nothing is left of one request in the next.
        {"sender=a@bad.test\n\nclient_address=192.0.2.7\n\n\nprotocol_state=HELO\nsender=\n\n"
         "sender=\n\n",
         "action=REJECT 5.7.1 listed\n\naction=OK\n\n" + POLICY_DUNNO + POLICY_DUNNO +
             "action=HOLD null sender\n\n"},
        // Requests that break the protocol.
        {"sender\n\n", POLICY_MALFORMED},
        {"sender=a@bad.test\n\nGET / HTTP/1.1\r\n\r\nsender=a@bad.test\n\n",
         "action=REJECT 5.7.1 listed\n\n" + POLICY_MALFORMED},
        {"sender=a@bad.test\n", ""},
        {"sender=a@bad.test", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.request.substr(0, 100));
        RecordingLog::Reset();
        EXPECT_EQ(AskPolicy(c.request), c.answer);
    }
}

TEST(PolicySessionTest, AsksTheRulesInTheirOrder) {
    const auto ask = [](const std::string& input) {
        return AnswerAtEveryCut(*kwlookup::MakeDoor(PolicyConfig({{"sasl_username", {"users", 3}},
                                                                  {"sender", {"senders", 1}},
                                                                  {"helo_name", {"names", 3}}})),
                                AnswerPolicy, input);
    };
    EXPECT_EQ(ask("sender=a@bad.test\nsasl_username=192.0.2.7\n\n"), "action=OK\n\n");
    EXPECT_EQ(ask("sender=a@bad.test\nsasl_username=none\n\n"), "action=REJECT 5.7.1 listed\n\n");
    EXPECT_EQ(ask("sender=a@bad.test\nsasl_username=\n\n"), "action=REJECT 5.7.1 listed\n\n");
    EXPECT_EQ(ask("sender=a@bad.test\nsasl_username=temp@x.test\n\n"), POLICY_DEFER);
    EXPECT_EQ(ask("helo_name=192.0.2.7\nsender=none@x.test\n\n"), "action=OK\n\n");
}

TEST(PolicySessionTest, LimitsRequestsToTheirExactByte) {
    // With its line end, the attribute takes all bytes but the last, which is the empty line's.
    const std::string fits = "sender=" + std::string(65536 - 9, 'x');
    EXPECT_EQ(AskPolicy(fits + "\n\n"), POLICY_DUNNO);
    EXPECT_EQ(AskPolicy(fits + "x\n\n"), POLICY_TOO_LONG);
    EXPECT_EQ(AskPolicy("sender=" + std::string(200000, 'x')), POLICY_TOO_LONG);
    std::string many;
    for (int i = 0; i < 30000; ++i)
        many += "a=b\n";
    EXPECT_EQ(AskPolicy(many), POLICY_TOO_LONG);
}

TEST(PolicySessionTest, AnswersARequestBeforeAHalfClose) {
    const auto door = kwlookup::MakeDoor(PolicyConfig());
    Conversation talk(door->NewSession(), AnswerPolicy);
    talk.End();
    EXPECT_TRUE(talk.IsClosed());
    Conversation other(door->NewSession(), AnswerPolicy);
    other.Send("sender=a@bad.test\n\nsender=");
    other.End();
    EXPECT_EQ(other.GetOutput(), "action=REJECT 5.7.1 listed\n\n");
    EXPECT_TRUE(other.IsClosed());
}

TEST(PolicySessionTest, LogsAnActionThatCannotBeSent) {
    RecordingLog::Reset();
    const auto door = kwlookup::MakeDoor(PolicyConfig());
    Conversation talk(door->NewSession(), AnswerPolicy);
    talk.Send("client_address=192.0.2.8\n\n");
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::ElementsAre("door rules: the result of [192.0.2.8] is no action: it has a "
                                     "line end or a NUL, or more than 8192 bytes"));
}

TEST(PolicySessionTest, RefusesRulesThatCannotBeAsked) {
    const auto fault = [](const std::vector<kwlookup::DoorConfig::Rule>& rules) -> std::string {
        try {
            kwlookup::MakeDoor(PolicyConfig(rules));
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(fault({}), "Ask has no rules");
    EXPECT_THAT(fault({{"sender", {"a", 1}}, {"sendr", {"a", 1}}}),
                testing::StartsWith("there is no attribute sendr; there are ccert_fingerprint "));
}

} // namespace
