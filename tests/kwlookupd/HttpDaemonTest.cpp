// SPDX-License-Identifier: MIT
#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

class HttpDaemonTest : public testing::Test {
protected:
    std::string Send(const std::string& request, const std::string& fields = "") const {
        Client client("unix:" + m_dir.Path("web"));
        client.Send(request + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + fields +
                    "\r\n");
        return client.ReceiveAll();
    }

    const TempDir m_dir;
    const std::string m_door = "[door web]\nProtocol = http\nAddress = unix:@/web\n";
};

std::string FieldOf(const std::string& answer, const std::string& name) {
    const std::size_t begin = answer.find("\r\n" + name + ": ") + name.size() + 4;
    return answer.substr(begin, answer.find("\r\n", begin) - begin);
}

} // namespace

TEST_F(HttpDaemonTest, AnswersAndCounts) {
    m_dir.Write("blocked", "bulk.example reject\nspam@corp.lan\n");
    Daemon daemon(m_dir, "[list blocked]\nObjects = file:@/blocked\n"
                         "[list bad]\nObjects = file:@/none\n" +
                             m_door);
    EXPECT_THAT(Send("GET /blocked?text=x@Bulk.example"), HasSubstr("\r\n\r\nreject\n"));
    EXPECT_THAT(Send("GET /blocked?text=x@corp.lan"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(Send("GET /bad?text=x@corp.lan"), StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(Send("GET /healthz"), HasSubstr("\r\n\r\nnot loaded: bad\n"));
    EXPECT_THAT(Send("GET /bad/all"), StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(Send("GET /blocked?text=spam@corp.lan&format=json&explain"),
                HasSubstr("\"value\":\"spam@corp.lan\",\"item\":\"file:" + m_dir.Path("blocked") +
                          "\",\"file\":\"" + m_dir.Path("blocked") + "\",\"line\":2}\n"));
    EXPECT_THAT(Send("POST /blocked", "Content-Length: 13\r\n\r\nbulk.example\n"),
                HasSubstr("\r\n\r\nfound reject\n"));
    // Threads count on their own.
    const std::string lines[] = {
        "kwlookupd_requests_total{door=\"web\",list=\"blocked\",outcome=\"found\"} 3\n",
        "kwlookupd_requests_total{door=\"web\",list=\"blocked\",outcome=\"not_found\"} 1\n",
        "kwlookupd_requests_total{door=\"web\",list=\"bad\",outcome=\"unavailable\"} 1\n",
        "kwlookupd_connections{door=\"web\"} 1\n",
        "kwlookupd_list_records{list=\"blocked\"} 2\n",
        "kwlookupd_list_loaded{list=\"bad\"} 0\n"};
    for (const std::string& line : lines) {
        std::string metrics;
        for (int i = 0; i < 300 && metrics.find(line) == std::string::npos; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(i == 0 ? 0 : 100));
            metrics = Send("GET /metrics");
        }
        EXPECT_THAT(metrics, HasSubstr(line));
    }
    EXPECT_THAT(Send("GET /?list=blocked&text=x%40bulk.example"),
                HasSubstr("<dt>Line</dt><dd>1</dd>"));
    EXPECT_EQ(daemon.Stop(), 0);
}

// As rspamd asks: HEAD with what it got, then GET.
TEST_F(HttpDaemonTest, WholeListsChangeTheirTagWithTheirContent) {
    m_dir.Write("blocked", "bulk.example  reject\nspam@corp.lan\n");
    Daemon daemon(m_dir,
                  "[list blocked]\nObjects = lab.example, file:@/blocked\nSettle = 1 h\n" + m_door);
    const std::string whole = Send("GET /blocked/all");
    EXPECT_THAT(whole, HasSubstr("\r\n\r\nlab.example\nbulk.example reject\nspam@corp.lan\n"));
    const std::string fields = "If-Modified-Since: " + FieldOf(whole, "Last-Modified") +
                               "\r\nIf-None-Match: " + FieldOf(whole, "ETag") + "\r\n";
    EXPECT_THAT(Send("HEAD /blocked/all", fields), StartsWith("HTTP/1.1 304 "));
    EXPECT_EQ(daemon.Ctl({"reload"}).status, 0); // the same
    EXPECT_THAT(Send("HEAD /blocked/all", fields), StartsWith("HTTP/1.1 304 "));
    m_dir.Write("blocked", "bulk.example reject\nspam@corp.lan\nmore.example\n");
    EXPECT_EQ(daemon.Ctl({"reload"}).status, 0);
    const std::string head = Send("HEAD /blocked/all", fields);
    EXPECT_THAT(head, StartsWith("HTTP/1.1 200 "));
    EXPECT_EQ(FieldOf(head, "Content-Length"), "59");
    EXPECT_EQ(daemon.Ctl({"rollback", "blocked"}).status, 0);
    EXPECT_THAT(
        Send("HEAD /blocked/all", "If-Modified-Since: " + FieldOf(head, "Last-Modified") + "\r\n"),
        StartsWith("HTTP/1.1 200 "));
}

TEST_F(HttpDaemonTest, NamesTheItemThatKeepsAListFromBeingGivenWhole) {
    const std::string item = "waiting:0 " + std::string(300, 'x');
    const Daemon daemon(m_dir, "Types = waiting\n[list a]\nObjects = a.lan, " + item +
                                   ", waiting:1\n" + m_door);
    const std::string answer = Send("GET /a/all");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 501 "));
    EXPECT_THAT(answer, testing::EndsWith(
                            "\r\n\r\nthe list cannot be given whole, because its item [" +
                            item.substr(0, 200) +
                            "... (310 bytes)] is neither a value nor a text file of values\n"));
}

TEST_F(HttpDaemonTest, AnOpenDoorWantsItsToken) {
    m_dir.Write("token", "0123456789abcdef\n");
    const std::string list = "[list a]\nObjects = a.lan\n";
    {
        Daemon daemon(m_dir, list + m_door + "Token.file = @/token\n");
        EXPECT_THAT(Send("GET /a?text=a.lan"), StartsWith("HTTP/1.1 401 "));
        EXPECT_THAT(Send("GET /a?text=a.lan", "Authorization: Bearer 0123456789abcdef\r\n"),
                    StartsWith("HTTP/1.1 200 "));
    }
    try {
        Daemon daemon(m_dir, list + "[door web]\nProtocol = http\nAddress = 0.0.0.0:0\n");
        ADD_FAILURE() << "it started";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("it needs Token.file, because the Address 0.0.0.0:0 "
                                            "may be open to other machines"));
    }
}

// The file is read again for each text, which takes too long for the thread that serves all.
TEST_F(HttpDaemonTest, ExplainsManyTextsAside) {
    std::string lines, texts;
    for (int i = 0; i < 100'000; ++i)
        lines += "host" + std::to_string(i) + ".example\n";
    for (int i = 0; i < 10'000; ++i)
        texts += "host99999.example\n";
    m_dir.Write("blocked", lines);
    const Daemon daemon(m_dir, "IoThreads = 1\nAnswerTime = 20 s\n"
                               "[list blocked]\nObjects = file:@/blocked\n" +
                                   m_door);
    Client many("unix:" + m_dir.Path("web"));
    many.Send("POST /blocked?explain HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
              std::to_string(texts.size()) + "\r\n\r\n" + texts);
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the daemon begins with it
    EXPECT_THAT(Send("GET /blocked?text=host1.example"), HasSubstr("\r\n\r\nhost1.example\n"));
    EXPECT_FALSE(many.HasInput(0));
}

TEST_F(HttpDaemonTest, EndsWhatNobodyWaitsForAnyMore) {
    std::string texts, answers;
    for (int i = 0; i < 100; ++i) {
        texts += "x@corp.lan\n";
        answers += "unavailable timed out\n";
    }
    // A table is asked for each label of a domain.
    const std::string labels = "/walks?text=x@" + std::string(200, '.');
    const Daemon daemon(m_dir, "Types = waiting\nWorkers = 1\nAnswerTime = 1 s\n"
                               "[list slow]\nObjects = waiting:100\n"
                               "[list walks]\nObjects = waiting:100 $s\n" +
                                   m_door);
    EXPECT_THAT(
        Send("POST /slow", "Content-Length: " + std::to_string(texts.size()) + "\r\n\r\n" + texts),
        HasSubstr("\r\n\r\n" + answers));
    const auto is_answered = [this] {
        for (int i = 0; i < 5; ++i) // seconds, on a machine that is busy
            if (Send("GET /slow?text=slow@corp.lan").find(" 200 ") != std::string::npos)
                return true;
        return false;
    };
    EXPECT_TRUE(is_answered());
    EXPECT_THAT(Send("GET " + labels), HasSubstr("\r\n\r\ntimed out\n"));
    EXPECT_TRUE(is_answered());
}

// A client that is told to stop may first send all that it has. It takes the answer after that.
TEST_F(HttpDaemonTest, AClientThatStillSendsGetsTheAnswer) {
    struct Case {
        const char* status;
        std::string begin;
        std::string more; ///< sent again and again
    };
    const Case cases[] = {
        {"413 ", "POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999\r\n\r\n", "a.lan\n"},
        {"414 ", "GET /a?text=", "aaaaaaaa"},
        {"431 ", "GET /a?text=a.lan HTTP/1.1\r\nHost: x\r\n", "X-Field: value\r\n"}};
    const std::string address = "127.0.0.1:" + std::to_string(UnusedPort());
    const Daemon daemon(m_dir, "[list a]\nObjects = a.lan\n"
                               "[door web]\nProtocol = http\nAddress = " +
                                   address + "\n");
    std::vector<std::unique_ptr<Client>> clients;
    for (const Case& test : cases) {
        clients.push_back(std::make_unique<Client>(address));
        clients.back()->Send(test.begin);
    }
    constexpr int ROUNDS = 40; // longer than the daemon waits for a client that is silent
    for (int round = 0; round < ROUNDS; ++round) {
        for (std::size_t i = 0; i < clients.size(); ++i) {
            std::string bytes;
            while (bytes.size() < 32768)
                bytes += cases[i].more;
            EXPECT_TRUE(clients[i]->Send(bytes)) << cases[i].status << round;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    for (std::size_t i = 0; i < clients.size(); ++i)
        EXPECT_THAT(clients[i]->ReceiveAll(),
                    StartsWith(std::string("HTTP/1.1 ") + cases[i].status));
}
