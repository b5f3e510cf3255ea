// SPDX-License-Identifier: MIT
// Answers that servers may give, but slapd never does.
#include "plugins/ldap/tests/Ber.h"
#include "plugins/ldap/tests/ScriptedLdapServer.h"
#include "support/PluginSupport.h"

#include <ldap.h>

#include <atomic>
#include <chrono>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr unsigned char BIND_ANSWER = 0x61;
constexpr unsigned char EXTENDED_ANSWER = 0x78;

class LdapProtocolTest : public PluginTest {
protected:
    using Server = ScriptedLdapServer;
    using Texts = std::vector<std::string>;

    /// A list of one item whose base has no codes.
    static std::string List(const std::string& hosts, const std::string& settings = "") {
        return "\"ldap:OnError=exception|Timeout=60|ConnectTimeout=60|RetryInterval=0|Base=dc=lan|"
               "Attributes=cn|Hosts=" +
               hosts + "|" + settings + (settings.empty() ? "" : "|") + "(mail=$s)\"";
    }

    /// "found RESULT", "not found", or why it failed.
    std::string Outcome(const std::string& list) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        EXPECT_FALSE(holder.Empty()) << list;
        try {
            const Answer answer = Ask(holder, "jdoe@corp.lan");
            return answer.found ? "found" + answer.res : "not found";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    /// Expect that such a search fails soon after its time is over. A machine under load may delay
    /// it, but not each time.
    void ExpectFailsInTime(const std::string& hosts, const std::string& settings,
                           const std::string& reason) {
        std::chrono::steady_clock::duration time{};
        for (int i = 0; i < 20; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_EQ(Outcome(List(hosts, "Timeout=1" + settings)), reason);
            time = std::chrono::steady_clock::now() - begin;
            if (time < std::chrono::milliseconds(1100))
                return;
        }
        ADD_FAILURE() << "it took " << std::chrono::duration<double>(time).count() << " s";
    }

    static std::string Found(const std::string& request) {
        return Server::Entry(request, "cn", {"OK"}) + Server::Result(request, LDAP_SUCCESS);
    }

    static std::string BindDone(const std::string& request) {
        return Server::Result(request, LDAP_SUCCESS, "", {}, BIND_ANSWER);
    }
};

TEST_F(LdapProtocolTest, ResultsAreOfTheServerOrOfTheQuestion) {
    int code = 0;
    Server first([&](const std::string& request) {
        return Server::Entry(request, "cn", {"half"}) + Server::Result(request, code, "why");
    });
    Server second(Found);
    const std::string list = List(first.GetHost() + ", " + second.GetHost());
    for (const int of_server : {LDAP_TIMELIMIT_EXCEEDED, LDAP_BUSY, LDAP_UNAVAILABLE, LDAP_OTHER}) {
        code = of_server;
        EXPECT_EQ(Outcome(list), "found OK") << code;
        EXPECT_EQ(Outcome(List(first.GetHost())),
                  first.GetHost() + ": " + ::ldap_err2string(code) + ": why");
    }
    for (const int of_question :
         {LDAP_OPERATIONS_ERROR, LDAP_PROTOCOL_ERROR, LDAP_SIZELIMIT_EXCEEDED,
          LDAP_STRONG_AUTH_REQUIRED, LDAP_ADMINLIMIT_EXCEEDED, LDAP_CONFIDENTIALITY_REQUIRED,
          LDAP_UNDEFINED_TYPE, LDAP_INAPPROPRIATE_MATCHING, LDAP_INVALID_SYNTAX,
          LDAP_NO_SUCH_OBJECT, LDAP_ALIAS_PROBLEM, LDAP_INVALID_DN_SYNTAX, LDAP_INSUFFICIENT_ACCESS,
          LDAP_UNWILLING_TO_PERFORM, LDAP_LOOP_DETECT, 99}) {
        code = of_question;
        EXPECT_EQ(Outcome(list), first.GetHost() + ": " + ::ldap_err2string(code) + ": why");
    }
    code = LDAP_SUCCESS;
    EXPECT_EQ(Outcome(list), "found half");
}

TEST_F(LdapProtocolTest, MissingBaseIsAMissWhereItHasCodes) {
    Server server(
        [](const std::string& request) { return Server::Result(request, LDAP_NO_SUCH_OBJECT); });
    EXPECT_EQ(Outcome(List(server.GetHost(), "Base=dc=$d")), "not found");
    EXPECT_EQ(Outcome(List(server.GetHost())), server.GetHost() + ": No such object");
}

TEST_F(LdapProtocolTest, LongTextsOfServersAreCut) {
    Server server([](const std::string& request) {
        return Server::Result(request, LDAP_BUSY, std::string(100000, 'x'));
    });
    EXPECT_EQ(Outcome(List(server.GetHost())),
              server.GetHost() + ": Server is busy: " + std::string(200, 'x'));
}

TEST_F(LdapProtocolTest, BrokenProtocolIsAFault) {
    const std::string operation = ber::Write(0x65, "\x0a\x01\0\x04\0\x04\0"s);
    struct Case {
        std::string what;
        bool takes_all_time;
        Server::Script script;
    };
    const Case cases[] = {
        {"no BER", true, [](const std::string&) { return "HTTP/1.1 400 Bad Request\r\n\r\n"s; }},
        {"two gigabytes", false, [](const std::string&) { return "\x30\x84\x7f\xff\xff\xff"s; }},
        {"more than a size_t", false,
         [](const std::string&) { return "\x30\x88" + std::string(8, '\xff'); }},
#if !defined(KWLOOKUP_UNDER_ASAN) // libldap 2.5 leaks this message
        {"disconnection", false,
         [](const std::string&) {
             return ber::Write(ber::SEQUENCE,
                               "\x02\x01\0"s +
                                   ber::Write(EXTENDED_ANSWER,
                                              "\x0a\x01\x34\x04\0\x04\0"s +
                                                  ber::Write(0x8a, LDAP_NOTICE_OF_DISCONNECTION)));
         }},
#endif
        {"entry without attributes", false,
         [](const std::string& request) {
             return Server::WithNumber(request, ber::Write(0x64, "\x04\x01x")) +
                    Server::Result(request, LDAP_SUCCESS);
         }},
        {"result without a code", false,
         [](const std::string& request) { return Server::WithNumber(request, "\x65\0"s); }},
        {"answer to something else", true,
         [](const std::string& request) { return Server::Result(request, 0, "", {}, 0x67); }},
        {"number of another request", true,
         [&](const std::string&) { return ber::Write(ber::SEQUENCE, "\x02\x01\x7f" + operation); }},
    };
    for (const Case& test : cases) {
        Server server(test.script);
        const std::string settings = test.takes_all_time ? "Timeout=1" : "";
        EXPECT_THAT(Outcome(List(server.GetHost(), settings)), StartsWith(server.GetHost() + ": "))
            << test.what;
        if (test.takes_all_time)
            continue;
        Server good(Found);
        EXPECT_EQ(Outcome(List(server.GetHost() + ", " + good.GetHost())), "found OK") << test.what;
    }
}

TEST_F(LdapProtocolTest, EndlessAnswersEndInTime) {
    Server references(
        [](const std::string& request) {
            return Server::Reference(request, {"ldap://nowhere.example/"});
        },
        true);
    ExpectFailsInTime(references.GetHost(), "", references.GetHost() + ": no answer in time");
    Server others(
        [](const std::string&) {
            return ber::Write(ber::SEQUENCE, "\x02\x01\x7f\x65\x07\x0a\x01\0\x04\0\x04\0"s);
        },
        true);
    EXPECT_EQ(Outcome(List(others.GetHost())),
              others.GetHost() + ": no LDAP: an answer to another request");
    Server entries([](const std::string& request) { return Server::Entry(request, "cn", {"x"}); },
                   true);
    EXPECT_EQ(Outcome(List(entries.GetHost())),
              entries.GetHost() + ": more rows than MaxRows, 100");
}

TEST_F(LdapProtocolTest, ValuesAreTakenByName) {
    std::string name;
    Texts values;
    Server server([&](const std::string& request) {
        return Server::Entry(request, name, values) + Server::Result(request, LDAP_SUCCESS);
    });
    const std::string list = List(server.GetHost());
    struct Case {
        std::string name;
        Texts values;
        std::string outcome;
    };
    const std::string lacking = server.GetHost() + ": the server calls an attribute '";
    const Case cases[] = {
        {"cn", {"a", "b"}, "found a b"},
        {"CN", {"a"}, "found a"},
        {"cn;lang-de", {"a"}, "found a"},
        {"cn", {"", "a", ""}, "found a"},
        {"cn", {"\0\xff"s}, "found \0\xff"s},
        {"cn", {" a "}, "found  a "},
        {"cn", {}, "found"},
        {"commonName", {"a"}, lacking + "commonName', which Attributes lacks"},
        {"c", {"a"}, lacking + "c', which Attributes lacks"},
        {"cn;range=0-1",
         {"a"},
         server.GetHost() + ": more values than the server gives at once: 'cn;range=0-1'"},
        {"cn;Range=0-1",
         {"a"},
         server.GetHost() + ": more values than the server gives at once: 'cn;Range=0-1'"},
    };
    for (const Case& test : cases) {
        name = test.name;
        values = test.values;
        EXPECT_EQ(Outcome(list), test.outcome);
    }
    // Without a result string, values are not examined.
    name = "commonName";
    EXPECT_THAT(Outcome(List(server.GetHost(), "Attributes=")), StartsWith("found"));
}

TEST_F(LdapProtocolTest, TlsNeverBeginsHalfway) {
    const std::string login = "Tls=starttls|BindDn=cn=x|Password=secret";
    std::atomic<int> requests{0};
    std::atomic<int> secrets{0};
    Server server([&](const std::string& request) {
        ++requests;
        secrets += request.find("secret") != std::string::npos;
        return Server::Result(request, 2, "no TLS here", {}, EXTENDED_ANSWER);
    });
    EXPECT_EQ(Outcome(List(server.GetHost(), login)),
              server.GetHost() + ": StartTLS: Protocol error: no TLS here");
    EXPECT_GE(requests, 1);
    EXPECT_EQ(secrets, 0);
    Server early([](const std::string& request) {
        return Server::Result(request, LDAP_SUCCESS, "", {}, EXTENDED_ANSWER) + Found(request);
    });
    EXPECT_EQ(Outcome(List(early.GetHost(), login)),
              early.GetHost() + ": the server answered before TLS began");
}

TEST_F(LdapProtocolTest, IncompleteLoginIsAFault) {
    Server server([](const std::string& request) {
        return Server::Result(request, LDAP_SASL_BIND_IN_PROGRESS, "", {}, BIND_ANSWER);
    });
    EXPECT_EQ(Outcome(List(server.GetHost(), "BindDn=cn=x|Password=y")),
              server.GetHost() + ": login: SASL bind in progress");
}

class LdapFollowTest : public LdapProtocolTest {
protected:
    static std::string Url(const Server& server, const std::string& rest = "/") {
        return "ldap://" + server.GetHost() + rest;
    }

    /// A server that refers to `urls`, in its result and between entries.
    static Server::Script Result(const Texts& urls) {
        return [urls](const std::string& request) {
            return Server::Result(request, LDAP_REFERRAL, "", urls);
        };
    }
    static Server::Script Reference(const Texts& urls) {
        return [urls](const std::string& request) {
            return Server::Entry(request, "cn", {"here"}) + Server::Reference(request, urls) +
                   Server::Result(request, LDAP_SUCCESS);
        };
    }
};

TEST_F(LdapFollowTest, ReferralsAreFaultsUnlessTheyAreFollowed) {
    Server there(Found);
    Server result(Result({Url(there)}));
    Server reference(Reference({Url(there)}));
    for (const Server* server : {&result, &reference})
        EXPECT_EQ(Outcome(List(server->GetHost())), server->GetHost() + ": the answer is at " +
                                                        Url(there) + ", and Referrals is off");
    EXPECT_EQ(Outcome(List(result.GetHost(), "Referrals=yes")), "found OK");
    EXPECT_EQ(Outcome(List(reference.GetHost(), "Referrals=yes")), "found here OK");
    // A miss or a fault of the other server is the answer too.
    Server missing([](const std::string& request) { return Server::Result(request, 0); });
    Server misses(Result({Url(missing)}));
    EXPECT_EQ(Outcome(List(misses.GetHost(), "Referrals=yes")), "not found");
    Server busy([](const std::string& request) { return Server::Result(request, LDAP_BUSY); });
    Server fails(Result({Url(busy)}));
    EXPECT_EQ(Outcome(List(fails.GetHost(), "Referrals=yes")),
              fails.GetHost() + ": " + Url(busy) + ": Server is busy");
}

TEST_F(LdapFollowTest, UrlsThatLeadNowhereAreFaults) {
    Server there(Found);
    const std::pair<std::string, std::string> cases[] = {
        {"", ": wrong URL"},
        {"nowhere", "nowhere: wrong URL"},
        {"ldapi:///", "ldapi:///: wrong URL"},
        {"ldap:///dc=lan", "ldap:///dc=lan: wrong URL"},
        {Url(there, "/???"
                    "?!1.2.3"),
         ": wrong URL"},
        {"ldap://127.0.0.1:1/", "ldap://127.0.0.1:1/: Connection refused"},
        {Url(there, "/??base?(cn=x"), "wrong"},
    };
    for (const auto& [url, reason] : cases) {
        Server server(Result({url}));
        EXPECT_THAT(Outcome(List(server.GetHost(), "Referrals=yes")),
                    testing::AllOf(StartsWith(server.GetHost() + ": "), HasSubstr(reason)));
    }
    Server alternatives(Result({"nowhere", "ldap://127.0.0.1:1/", Url(there)}));
    EXPECT_EQ(Outcome(List(alternatives.GetHost(), "Referrals=yes")), "found OK");
    Server none(Result({}));
    EXPECT_EQ(Outcome(List(none.GetHost(), "Referrals=yes")),
              none.GetHost() + ": a referral to nowhere");
}

TEST_F(LdapFollowTest, UrlsChangeTheSearch) {
    std::string request;
    Server there([&](const std::string& received) {
        if (Server::IsSearch(received))
            request = received;
        return Found(received);
    });
    struct Case {
        std::string rest;
        std::string base;
        char scope;
        std::string value; ///< in the filter
    };
    const Case cases[] = {
        {"", "dc=lan", LDAP_SCOPE_SUBTREE, "jdoe@corp.lan"},
        {"/", "dc=lan", LDAP_SCOPE_SUBTREE, "jdoe@corp.lan"},
        {"/dc=other", "dc=other", LDAP_SCOPE_SUBTREE, "jdoe@corp.lan"},
        {"/dc=other??base", "dc=other", LDAP_SCOPE_BASE, "jdoe@corp.lan"},
        {"/dc=a%2cdc=b??one?(mail=x)", "dc=a,dc=b", LDAP_SCOPE_ONELEVEL, "x"},
    };
    for (const Case& test : cases) {
        Server server(Result({Url(there, test.rest)}));
        EXPECT_EQ(Outcome(List(server.GetHost(), "Referrals=yes")), "found OK") << test.rest;
        const std::vector<ber::Node> nodes = ber::Read(request);
        EXPECT_EQ(nodes.at(3).bytes, test.base) << test.rest;
        EXPECT_EQ(nodes.at(4).bytes, std::string(1, test.scope)) << test.rest;
        EXPECT_EQ(nodes.at(11).bytes, test.value) << test.rest;
    }
}

TEST_F(LdapFollowTest, LoopsEnd) {
    std::string url;
    std::atomic<int> asked{0};
    Server server([&](const std::string& request) {
        asked += Server::IsSearch(request);
        return Server::Result(request, LDAP_REFERRAL, "", {url});
    });
    url = Url(server);
    EXPECT_THAT(Outcome(List(server.GetHost(), "Referrals=yes")),
                HasSubstr("more than 16 referrals"));
    EXPECT_EQ(asked, 17);
}

TEST_F(LdapFollowTest, LoginIsForConfiguredServersOnly) {
    std::atomic<int> secrets{0};
    Server there([&](const std::string& request) {
        secrets += request.find("secret") != std::string::npos;
        return Server::IsSearch(request) ? Found(request) : BindDone(request);
    });
    Server refers([&](const std::string& request) {
        return Server::IsSearch(request) ? Result({Url(there)})(request) : BindDone(request);
    });
    const std::string settings = "Referrals=yes|BindDn=cn=x|Password=secret";
    EXPECT_EQ(Outcome(List(refers.GetHost(), settings)), "found OK");
    EXPECT_EQ(secrets, 0);
    EXPECT_EQ(Outcome(List(refers.GetHost() + ", " + there.GetHost(), settings)), "found OK");
    EXPECT_EQ(secrets, 1);
}

TEST_F(LdapFollowTest, TimeHoldsForAllTogether) {
    Server silent([](const std::string&) { return std::string(); });
    Server refers(Result({Url(silent)}));
    ExpectFailsInTime(refers.GetHost(), "|Referrals=yes",
                      refers.GetHost() + ": " + Url(silent) + ": no answer in time");
}

} // namespace
