// SPDX-License-Identifier: MIT
// Lists with tables and patterns, alone and in the daemon.
#include "tools/kwlookupd/lists/ListGeneration.h"

#include "kwhost/ConfFileLoader.h"
#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"
#include "objects/KwObjectHolder.h"
#include "support/MakeDatabase.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "tools/kwlookupd/lists/ListKeeper.h"
#include "tools/lists/Plugin.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

using kwlookup::ListGeneration;
using kwlookup::ListSettings;
using kwlookup::Outcome;
using kwlookup::Reply;
using testing::HasSubstr;

namespace {

const LogClass TABLES_LOG("lists");
const std::string LISTS = SOURCE_DIR "/examples/lists/";
const std::string ACCESS = "cdb:Database=" + LISTS + "access.cdb|";

class ListTablesTest : public testing::Test {
protected:
    ListTablesTest() {
        RecordingLog::Reset();
        kwlookup::RegisterOwnTypes();
        m_loader->SetFile(kwlookup::ConfFile(
            m_dir.Write("kwlookup.conf", "[lookup_cdb]\nOnError = exception\n")));
        KwObjectHolder::SetConfLoader(m_loader);
        m_settings.name = "test";
    }
    ~ListTablesTest() override { KwObjectHolder::SetConfLoader(nullptr); }

    Reply Explain(const std::string& text) const {
        const ListGeneration list(m_settings, TABLES_LOG, nullptr);
        Reply reply;
        list.Ask(text, true, reply);
        return reply;
    }

    std::string Ask(const std::string& text) const {
        const Reply reply = Explain(text);
        return reply.outcome == Outcome::Found      ? reply.text
               : reply.outcome == Outcome::NotFound ? "not found"
                                                    : "unavailable";
    }

    /// The item of a table with these keys, each with itself as its value.
    std::string Table(const std::vector<std::string>& keys) const {
        Records records;
        for (const std::string& key : keys)
            records.emplace_back(key, "by " + key);
        const std::string name = m_dir.Path("table.cdb");
        MakeKeyValueFile("cdb", name, records);
        return "cdb:LowerCase=no|Database=" + name + "|"; // the daemon folds
    }

    const TempDir m_dir;
    const boost::shared_ptr<kwlookup::ConfFileLoader> m_loader =
        boost::make_shared<kwlookup::ConfFileLoader>();
    ListSettings m_settings;
};

} // namespace

TEST_F(ListTablesTest, AsksATableForTheKeysOfAnAddress) {
    m_settings.objects = ACCESS + "$s";
    const std::pair<std::string, const char*> cases[] = {
        {"postmaster@corp.example", "accept"},
        {"PostMaster@Corp.Example", "accept"},
        {"<postmaster@corp.example>", "accept"},
        {"x@bulk.example", "reject 550 No bulk mail, please"},
        {"BULK.example", "reject 550 No bulk mail, please"},
        {"x@sub.bulk.example", "not found"},
        {"x@partner.example", "accept"},
        {"x@a.b.Partner.Example", "accept, not from the main office"},
        {"postmaster", "not found"},
        {"", "not found"},
        {"@", "not found"},
        {"x@", "not found"},
        {std::string("bulk.example\0", 13), "not found"},
        {"x@\xff\xfe.partner.example", "accept, not from the main office"},
    };
    for (const auto& [text, answer] : cases)
        EXPECT_EQ(Ask(text), answer) << text;
}

TEST_F(ListTablesTest, AsksForTheNearestKeyFirst) {
    std::vector<std::string> keys = {"user@a.b.lan", "a.b.lan", "@a.b.lan",
                                     ".b.lan",       ".lan",    "user@"};
    while (!keys.empty()) {
        m_settings.objects = Table(keys) + "$s";
        EXPECT_EQ(Ask("User@A.b.Lan"), "by " + keys[0]);
        keys.erase(keys.begin());
    }
    m_settings.objects = Table({"@b.lan", ".a.b.lan", "lan", "user", "@"}) + "$s";
    EXPECT_EQ(Ask("user@a.b.lan"), "not found");
}

TEST_F(ListTablesTest, AsksForNoParentsOfWhatIsNoDomain) {
    const std::string parent = ".partner.example";
    m_settings.objects = ACCESS + "$s";
    const auto domain = [&](std::size_t size) {
        return std::string(size - parent.size(), 'x') + parent;
    };
    EXPECT_EQ(Ask("a@" + domain(255)), "accept, not from the main office");
    EXPECT_EQ(Ask("a@" + domain(256)), "not found");
    EXPECT_EQ(Ask(domain(256)), "not found");
    EXPECT_EQ(Ask("postmaster@" + domain(256)), "accept");
}

TEST_F(ListTablesTest, AsksForTheLastParentsOfALongDomain) {
    std::string domain = "lan";
    for (int i = 1; i < 10; ++i)
        domain = std::to_string(i) + '.' + domain;
    const std::string key = '.' + domain;
    for (int i = 0; i < 110; ++i)
        domain = "a." + domain;
    m_settings.objects = Table({key}) + "$s";
    EXPECT_EQ(Ask("x@" + domain), "by " + key);
    m_settings.objects = Table({".a" + key}) + "$s";
    EXPECT_EQ(Ask("x@" + domain), "not found") << "the eleventh";
    m_settings.objects = Table({domain}) + "$s";
    EXPECT_EQ(Ask("x@" + domain), "by " + domain);
    m_settings.objects = ".a" + key;
    EXPECT_EQ(Ask("x@" + domain), m_settings.objects) << "a value is no table";
}

TEST_F(ListTablesTest, AsksOnceForAPartOfAnAddress) {
    m_settings.objects = ACCESS + "$d";
    EXPECT_EQ(Ask("x@BULK.example"), "reject 550 No bulk mail, please");
    EXPECT_EQ(Ask("x@a.partner.example"), "not found");
    m_settings.objects = ACCESS + "$u@";
    EXPECT_EQ(Ask("PostMaster@corp.example"), "accept");
    EXPECT_EQ(Ask("x@bulk.example"), "not found");
}

TEST_F(ListTablesTest, SearchesATableInTheWayThatIsSet) {
    m_settings.objects = Table({"corp.lan", ".corp.lan", "user@corp.lan", "User@b.lan", "user@",
                                "<>", "user@tag.lan"}) +
                         "$s";
    struct Case {
        ListSettings::Search search;
        const char* text;
        const char* answer;
    };
    using Search = ListSettings::Search;
    const Case cases[] = {
        {Search::Domain, "User@Corp.LAN", "by corp.lan"},
        {Search::Domain, "user@mx.corp.lan", "by .corp.lan"},
        {Search::Domain, "user@other.lan", "not found"},
        {Search::Exact, "user@corp.lan", "by user@corp.lan"},
        {Search::Exact, "user@mx.corp.lan", "not found"},
        {Search::Exact, "USER@corp.lan", "not found"},
        {Search::Exact, "User@b.lan", "by User@b.lan"},
        {Search::Exact, "", "by <>"},
        {Search::ExactNoCase, "USER@corp.lan", "by user@corp.lan"},
        {Search::ExactNoCase, "User@b.lan", "not found"}, // tables have keys in lower case
    };
    for (const Case& each : cases) {
        m_settings.search = each.search;
        EXPECT_EQ(Ask(each.text), each.answer) << each.text;
    }
    m_settings.search = Search::Address;
    m_settings.sub_address = "+";
    EXPECT_EQ(Ask("User+x@tag.lan"), "by user@tag.lan");
    EXPECT_EQ(Ask("\"user\"@tag.lan"), "by user@tag.lan");
}

TEST_F(ListTablesTest, TellsTheLineOfAPattern) {
    m_settings.objects = "x.example, rfile:" + LISTS + "patterns, " + ACCESS + "$s";
    Reply reply = Explain("Bounce-17@lists.example");
    EXPECT_EQ(reply.text, "mailing list bounce 17");
    EXPECT_EQ(reply.item, "rfile:" + LISTS + "patterns");
    EXPECT_EQ(reply.file, LISTS + "patterns");
    EXPECT_EQ(reply.line, 2U);
    EXPECT_EQ(Explain("a@casino7.example").line, 3U);
    reply = Explain("mailer-daemon@corp.example"); // a pattern without a result
    EXPECT_EQ(reply.outcome, Outcome::Found);
    EXPECT_EQ(reply.line, 4U);
    // A pattern sees the whole text, and no part of it.
    EXPECT_EQ(Ask("casino.example"), "not found");
    reply = Explain("x@bulk.example");
    EXPECT_EQ(reply.item, ACCESS + "$s");
    EXPECT_EQ(reply.file, "");
    EXPECT_EQ(reply.line, 0U);
}

TEST_F(ListTablesTest, TheDaemonAsksTables) {
    Daemon daemon(m_dir,
                  "[list blocked]\nObjects = file:" + LISTS + "blocked, " + ACCESS +
                      "$s\n"
                      "[list patterns]\nObjects = rfile:" +
                      LISTS + "patterns\n[lookup_cdb]\nOnError = exception\n" +
                      "[door maps]\nProtocol = socketmap\nAddress = unix:@/maps\n"
                      "[door tables]\nProtocol = tcp\nAddress = unix:@/tables\nLists = blocked\n"
                      "[door web]\nProtocol = http\nAddress = unix:@/web\n");
    const auto ask = [&](const std::string& list, const std::string& text) {
        return Daemon::Ask("unix:" + m_dir.Path("maps"), list, text);
    };
    EXPECT_EQ(ask("blocked", "SPAM@bulk.example"), "OK spam@bulk.example");
    EXPECT_EQ(ask("blocked", "jdoe@Bulk.Example"), "OK reject 550 No bulk mail, please");
    EXPECT_EQ(ask("blocked", "jdoe@a.partner.example"), "OK accept, not from the main office");
    EXPECT_EQ(ask("blocked", "jdoe@corp.example"), "NOTFOUND ");
    EXPECT_EQ(ask("patterns", "bounce-3@x.example"), "OK mailing list bounce 3");
    Client tables("unix:" + m_dir.Path("tables"));
    tables.Send("get x@partner.example\nget x@corp.example\n");
    EXPECT_EQ(tables.Receive(11 + 16), "200 accept\n500 not%20found\n");
    Client web("unix:" + m_dir.Path("web"));
    web.Send("GET /patterns?text=x@lottery.example&format=json&explain HTTP/1.1\r\n"
             "Host: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(web.ReceiveAll(),
                HasSubstr("\"result\":\"reject 550 No gambling\",\"item\":\"rfile:" + LISTS +
                          "patterns\",\"file\":\"" + LISTS + "patterns\",\"line\":3}\n"));
}

TEST_F(ListTablesTest, ARuleIsARecord) {
    m_settings.objects = "x.example, rfile:" + m_dir.Path("patterns");
    kwlookup::ListKeeper lists({m_settings}, TABLES_LOG, [](auto, const auto&) {});
    std::string rules = "# no rule\n\n";
    for (int i = 0; i < 9; ++i)
        rules += "  /^user" + std::to_string(i) + "@/i reject\n";
    m_dir.Write("patterns", rules);
    EXPECT_EQ(lists.Load(0, false).text, "+10 -0 =0");
    m_dir.Write("patterns", rules + "more\n");
    EXPECT_EQ(lists.Load(0, false).text, "+1 -0 =10");
    m_dir.Write("patterns", "# no rule\n");
    EXPECT_EQ(lists.Load(0, false).text,
              "the new list has 1 records, the old one 11, and MaxShrink is 20 %; 'kwlookupd ctl "
              "reload test --force' takes it");
    Reply reply;
    lists.GetList(0)->Ask("user8@corp.lan", false, reply);
    EXPECT_EQ(reply.outcome, Outcome::Found);
    EXPECT_EQ(lists.Load(0, true).text, "+0 -10 =1");
}

TEST_F(ListTablesTest, ARollbackGoesToOtherRecordsOrSettings) {
    const auto configure = [&](const std::string& setting) {
        const std::string table = "[lookup_cdb]\nOnError = exception\n";
        return "[list mixed]\nObjects = file:@/mixed, " + ACCESS + "$s\nSettle = 1 h\n" +
               "[door maps]\nProtocol = socketmap\nAddress = unix:@/maps\n" + table + setting;
    };
    const auto has_new = [&] {
        return Daemon::Ask("unix:" + m_dir.Path("maps"), "mixed", "x@new.lan") == "OK new.lan";
    };
    m_dir.Write("mixed", "old.lan\n");
    const Daemon daemon(m_dir, configure(""));
    m_dir.Write("mixed", "old.lan\nnew.lan\n");
    EXPECT_EQ(daemon.Ctl({"reload"}).out, "mixed: +1 -0 =1\n");
    EXPECT_EQ(daemon.Ctl({"reload"}).out, "mixed: +0 -0 =2\n");
    EXPECT_TRUE(has_new());
    EXPECT_EQ(daemon.Ctl({"rollback", "mixed"}).status, 0);
    EXPECT_FALSE(has_new());
    EXPECT_EQ(daemon.Ctl({"rollback", "mixed"}).status, 0);
    Daemon::WriteConfig(m_dir, configure("LowerCase = no\n"));
    EXPECT_EQ(daemon.Ctl({"reload"}).out, "mixed: +0 -0 =2\n");
    EXPECT_EQ(daemon.Ctl({"rollback", "mixed"}).status, 0);
    EXPECT_TRUE(has_new()) << "the list before had other settings";
}

// Patterns are asked by the thread that serves all, but not many texts at once.
TEST_F(ListTablesTest, ManyTextsDelayNobody) {
    std::string rules, texts;
    for (int i = 0; i < 10'000; ++i) {
        rules += "^[a-c][d-f]$\n"; // is tried on every text
        texts += "x\n";
    }
    m_dir.Write("patterns", rules);
    const Daemon daemon(m_dir, "IoThreads = 1\nAnswerTime = 20 s\nSlowTime = 1 ms\n"
                               "[list fast]\nObjects = a.lan\n"
                               "[list patterns]\nObjects = rfile:@/patterns\n"
                               "[door web]\nProtocol = http\nAddress = unix:@/web\n");
    Client many("unix:" + m_dir.Path("web")), other("unix:" + m_dir.Path("web"));
    many.Send("POST /patterns HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
              std::to_string(texts.size()) + "\r\n\r\n" + texts);
    for (int i = 0; i < 3000 && daemon.GetLog().find("/patterns] took ") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_THAT(daemon.GetLog(),
                HasSubstr("the question for [x] to [rfile:" + m_dir.Path("patterns") + "] took "));
    other.Send("GET /fast?text=a.lan HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(other.Receive(15), "HTTP/1.1 200 OK");
    EXPECT_FALSE(many.HasInput(0));
}
