// SPDX-License-Identifier: MIT
#include "kwlookupd/ConstantView.h"
#include "kwlookupd/Conversation.h"
#include "kwlookupd/CountAnswer.h"
#include "tools/kwlookupd/doors/Door.h"
#include "tools/kwlookupd/doors/HttpDate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

using kwlookup::DoorConfig;
using kwlookup::Outcome;
using kwlookup::Reply;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/// The text tells the answer. A value found is followed by what the list got.
Reply AnswerHttp(const kwlookup::Query::Ask& ask) {
    Reply reply;
    const std::string& text = ask.text;
    if (text.compare(0, 4, "temp") == 0) {
        reply.outcome = Outcome::Unavailable;
        reply.text = "server gone";
    } else if (text.compare(0, 4, "long") == 0) {
        reply.outcome = Outcome::Found;
        reply.text.assign(100'000, 'x');
    } else if (text != "nobody") {
        reply.outcome = Outcome::Found;
        reply.has_result = text.compare(0, 5, "value") != 0;
        reply.text = std::to_string(ask.list) + " " + text;
        reply.item = "file:/etc/mail/blocked";
        reply.file = "/etc/mail/blocked";
        reply.line = 12;
    }
    return reply;
}

/// One answer, taken apart.
struct HttpAnswer {
    int status = 0;
    std::string header; ///< with the status line
    std::string body;   ///< and what follows it

    std::string Get(const std::string& field) const {
        const std::size_t begin = header.find("\r\n" + field + ": ");
        if (begin == std::string::npos)
            return "(none)";
        const std::size_t value = begin + field.size() + 4;
        return header.substr(value, header.find("\r\n", value) - value);
    }
};

class HttpSession : public testing::Test {
protected:
    HttpSession() {
        config.name = "web";
        config.protocol = "http";
        config.addresses = {"127.0.0.1:8825"};
        config.lists = {{"blocked", 0}, {"access", 1}};
    }

    Conversation Connect() {
        m_door = kwlookup::MakeDoor(config, &view);
        return Conversation(m_door->NewSession(), AnswerHttp);
    }

    HttpAnswer Send(const std::string& bytes) {
        Conversation conversation = Connect();
        conversation.Send(bytes);
        closed = conversation.IsClosed();
        const std::string output = conversation.GetOutput();
        HttpAnswer answer;
        const std::size_t end = output.find("\r\n\r\n");
        answer.header = output.substr(0, end + 2);
        answer.body = end == std::string::npos ? "" : output.substr(end + 4);
        if (output.compare(0, 9, "HTTP/1.1 ") == 0)
            answer.status = std::stoi(output.substr(9, 3));
        return answer;
    }

    HttpAnswer Request(const std::string& method, const std::string& target,
                       const std::string& fields = "", const std::string& body = "") {
        return Send(method + " " + target + " HTTP/1.1\r\nHost: localhost:8825\r\n" + fields +
                    "\r\n" + body);
    }
    HttpAnswer Get(const std::string& target, const std::string& fields = "") {
        return Request("GET", target, fields);
    }
    HttpAnswer Post(const std::string& target, const std::string& body,
                    const std::string& fields = "") {
        return Request("POST", target,
                       fields + "Content-Length: " + std::to_string(body.size()) + "\r\n", body);
    }

    DoorConfig config;
    ConstantView view;
    bool closed = false;

private:
    std::unique_ptr<kwlookup::Door> m_door;
};

TEST_F(HttpSession, AnswersHaveTheseBytes) {
    Conversation conversation = Connect();
    conversation.Send("GET /blocked?text=a@b HTTP/1.1\r\nHost: 127.0.0.1:8825\r\n\r\n");
    EXPECT_EQ(conversation.GetOutput(),
              "HTTP/1.1 200 OK\r\n"
              "Date: Tue, 14 Nov 2023 22:13:20 GMT\r\n"
              "Content-Type: text/plain; charset=utf-8\r\n"
              "Content-Length: 6\r\n"
              "Cache-Control: no-store\r\n"
              "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n"
              "X-Content-Type-Options: nosniff\r\n"
              "Referrer-Policy: no-referrer\r\n"
              "Cross-Origin-Resource-Policy: same-origin\r\n"
              "Connection: keep-alive\r\n"
              "\r\n"
              "0 a@b\n");
    EXPECT_FALSE(conversation.IsClosed());
}

TEST_F(HttpSession, TheStatusTellsTheOutcome) {
    struct Case {
        std::string target;
        int status;
        std::string body;
    };
    const Case cases[] = {
        {"/blocked?text=a@b", 200, "0 a@b\n"},
        {"/access?text=a@b", 200, "1 a@b\n"},
        {"/access/?text=a@b", 200, "1 a@b\n"},
        {"/%61ccess?text=a@b", 200, "1 a@b\n"},
        {"/blocked?text=nobody", 404, "not found\n"},
        {"/blocked?text=temp", 503, "server gone\n"},
        {"/blocked?text=value", 200, "0 value\n"},
        // The null sender
        {"/blocked?text=", 200, "0 <>\n"},
        {"/blocked?text", 200, "0 <>\n"},
        {"/blocked?text=%3C%3E", 200, "0 <>\n"},
        // A plus is a plus: it stands in many addresses.
        {"/blocked?text=a+b@c", 200, "0 a+b@c\n"},
        {"/blocked?text=a%2Bb%20c", 200, "0 a+b c\n"},
        {"/blocked?text=%C3%A4%ff", 200, "0 \xc3\xa4\xff\n"},
        {"/blocked?text=a=b&explain", 200, "0 a=b\n"},
        {"/blocked?explain&&text=a", 400, "a parameter is unknown; write & in a text as %26\n"},
        {"/blocked?format=plain&text=a", 200, "0 a\n"},
        {"/blocked?text=a%00b", 200, std::string("0 a\0b\n", 6)},
        // A mistake is never taken for "not found".
        {"/missing?text=a", 400, "this door serves no list of that name\n"},
        {"/blocked?txt=a", 400, "say which text: ?text=TEXT, or /all for the whole list\n"},
        {"/blocked", 400, "say which text: ?text=TEXT, or /all for the whole list\n"},
        {"/blocked?text=a&text=b", 400, "there are two parameters text\n"},
        {"/blocked?text=a&b@c", 400, "a parameter is unknown; write & in a text as %26\n"},
        {"/?list=blocked&text=a&b@c", 400, "a parameter is unknown; write & in a text as %26\n"},
        {"/blocked?text=a&format=xml", 400, "the format is json or plain\n"},
        {"/blocked?text=%4", 400, "the path is malformed\n"},
        {"/blocked?text=%zz", 400, "the path is malformed\n"},
        {"/%", 400, "the path is malformed\n"},
        {"blocked?text=a", 400, "the path is malformed\n"},
        {"*", 400, "the path is malformed\n"},
        {"/missing", 404, "this door serves no list of that name\n"},
        {"/a/b/c", 404, "there is no such page\n"},
        {"/blocked/x", 404, "there is no such page\n"},
        {"/blocked/x?text=a", 400, "there is no such page\n"},
        {"//blocked?text=a", 400, "there is no such page\n"},
        {"//", 404, "this door serves no list of that name\n"},
        {"/missing/all", 404, "this door serves no list of that name\n"},
        // As proxies are asked
        {"http://localhost/blocked?text=a", 200, "0 a\n"},
        {"HTTP://127.0.0.1:1/blocked?text=a", 200, "0 a\n"},
        {"http://evil.example/blocked?text=a", 421,
         "this is another host: see the setting Host of the door\n"},
    };
    for (const Case& test : cases) {
        const HttpAnswer answer = Get(test.target);
        EXPECT_EQ(answer.status, test.status) << test.target;
        EXPECT_EQ(answer.body, test.body) << test.target;
        EXPECT_EQ(answer.Get("Content-Length"), std::to_string(test.body.size())) << test.target;

        const HttpAnswer head = Request("HEAD", test.target);
        EXPECT_EQ(head.header, answer.header) << test.target;
        EXPECT_EQ(head.body, "") << test.target;
    }
}

TEST_F(HttpSession, AnswersInJson) {
    const std::map<std::string, std::string> cases = {
        {"text=a@b&format=json", R"({"text":"a@b","outcome":"found","result":"0 a@b"})"},
        {"text=value&format=json", R"({"text":"value","outcome":"found","value":"0 value"})"},
        {"text=nobody&format=json", R"({"text":"nobody","outcome":"not_found"})"},
        {"text=temp&format=json",
         R"({"text":"temp","outcome":"unavailable","reason":"server gone"})"},
        {"text=a&format=json&explain",
         R"({"text":"a","outcome":"found","result":"0 a","item":"file:/etc/mail/blocked",)"
         R"("file":"/etc/mail/blocked","line":12})"},
        {"text=%22%5C%0A%00%ff&format=json",
         "{\"text\":\"\\\"\\\\\\n\\u0000\xef\xbf\xbd\",\"outcome\":\"found\","
         "\"result\":\"0 \\\"\\\\\\n\\u0000\xef\xbf\xbd\"}"},
    };
    for (const auto& [parameters, json] : cases) {
        const HttpAnswer answer = Get("/blocked?" + parameters);
        EXPECT_EQ(answer.body, json + "\n");
        EXPECT_EQ(answer.Get("Content-Type"), "application/json");
    }
    const std::string json = "{\"text\":\"nobody\",\"outcome\":\"not_found\"}\n";
    EXPECT_EQ(Get("/blocked?text=nobody", "Accept: text/html, Application/JSON;q=0.9\r\n").body,
              json);
    EXPECT_EQ(Get("/blocked?text=nobody&format=plain", "Accept: application/json\r\n").body,
              "not found\n");
    EXPECT_EQ(Get("/blocked?text=nobody", "Accept: */*\r\n").body, "not found\n");
}

TEST_F(HttpSession, AnswersManyTexts) {
    EXPECT_EQ(Post("/blocked", "a\r\nnobody\ntemp\n\nvalue").body,
              "found 0 a\nnot_found\nunavailable server gone\nfound 0 <>\nfound 0 value\n");
    // Line ends of a result cannot end a line of the answer.
    EXPECT_EQ(Post("/blocked", R"(["a\r\nb", ""])", "Content-Type: application/json\r\n").body,
              "[\n{\"text\":\"a\\r\\nb\",\"outcome\":\"found\",\"result\":\"0 a\\r\\nb\"},\n"
              "{\"text\":\"<>\",\"outcome\":\"found\",\"result\":\"0 <>\"}\n]\n");
    EXPECT_EQ(
        Post("/blocked?format=plain", R"(["a\r\nb"])", "Content-Type: application/json\r\n").body,
        "found 0 a  b\n");
    EXPECT_EQ(Post("/blocked", "nobody", "Accept: application/json\r\n").body,
              "[\n{\"text\":\"nobody\",\"outcome\":\"not_found\"}\n]\n");
    EXPECT_EQ(Post("/blocked?explain", R"(["a"])", "Content-Type: application/json\r\n").status,
              200);

    const std::string json = "Content-Type: application/json; charset=utf-8\r\n";
    const std::string not_array = "the body is not a JSON array of texts\n";
    const std::pair<std::string, std::string> bad[] = {
        {"", not_array},
        {"[", not_array},
        {"\"a\"", not_array},
        {"[1]", not_array},
        {"[null]", not_array},
        {R"([["a"]])", not_array},
        {R"(["a"] x)", not_array},
        {R"({"a":"b"})", not_array},
        {"[\"\xff\"]", not_array},
        {std::string(100'000, '['), not_array},
        {"[]", "the body has no texts\n"},
    };
    for (const auto& [body, reason] : bad) {
        const HttpAnswer answer = Post("/blocked", body, json);
        EXPECT_EQ(answer.status, 400) << body.substr(0, 20);
        EXPECT_EQ(answer.body, reason) << body.substr(0, 20);
    }
    EXPECT_EQ(Post("/blocked", "").status, 400);
    EXPECT_EQ(Post("/blocked", "a", "Content-Type: multipart/form-data; boundary=x\r\n").status,
              415);
    EXPECT_EQ(Post("/blocked", "\x1f\x8b", "Content-Encoding: gzip\r\n").status, 415);
    EXPECT_EQ(Post("/blocked", "a", "Content-Encoding: identity\r\n").status, 200);
    EXPECT_EQ(Post("/blocked?text=a", "b").status, 400);
    EXPECT_EQ(Post("/", "a").status, 405);
    EXPECT_EQ(Post("/metrics", "a").status, 405);
    EXPECT_EQ(Post("/missing", "a").status, 405);
}

TEST_F(HttpSession, BoundsBodiesTextsAndAnswers) {
    std::string texts;
    for (int i = 0; i < 10'000; ++i)
        texts += "nobody\n";
    EXPECT_EQ(Post("/blocked", texts).status, 200);
    EXPECT_EQ(Post("/blocked", texts + "nobody").status, 413);
    std::string json = "[\"nobody\"";
    for (int i = 1; i < 10'000; ++i)
        json += ",\"nobody\"";
    EXPECT_EQ(Post("/blocked", json + "]", "Content-Type: application/json\r\n").status, 200);
    EXPECT_EQ(Post("/blocked", json + ",\"a\"]", "Content-Type: application/json\r\n").status, 413);

    const std::string longest(1024 * 1024, 'a');
    EXPECT_EQ(Post("/blocked", longest).status, 200);
    EXPECT_EQ(Post("/blocked", longest + "a").status, 413);
    EXPECT_TRUE(closed);
    // It is refused before it is sent.
    EXPECT_EQ(Request("POST", "/blocked", "Content-Length: 99999999999\r\n").status, 413);

    std::string long_results;
    for (int i = 0; i < 170; ++i)
        long_results += "long\n";
    EXPECT_EQ(Post("/blocked", long_results).status, 413);
    EXPECT_FALSE(closed);
}

TEST_F(HttpSession, ReadsBodiesInChunks) {
    const std::string chunked = "Transfer-Encoding: chunked\r\n";
    EXPECT_EQ(
        Request("POST", "/blocked", chunked, "2\r\na\n\r\n7;x=y\r\nnobody\n\r\n0\r\n\r\n").body,
        "found 0 a\nnot_found\n");
    EXPECT_FALSE(closed);
    EXPECT_EQ(Request("POST", "/blocked", chunked, "1\r\na\r\n0\r\nX-Sum: 1\r\n\r\n").body,
              "found 0 a\n");
    EXPECT_EQ(Request("POST", "/blocked", chunked, "0\r\n\r\n").status, 400); // no texts
    for (const char* body : {"x\r\na\r\n0\r\n\r\n", "1\r\nab\r\n0\r\n\r\n", "-1\r\na\r\n0\r\n\r\n",
                             "ffffffffffffffffffff\r\n", "1\r\na\r\n0\r\nContent-Length: 5\r\n\r\n",
                             "1\r\na\r\n0\r\nTransfer-Encoding: chunked\r\n\r\n"}) {
        EXPECT_EQ(Request("POST", "/blocked", chunked, body).status, 400) << body;
        EXPECT_TRUE(closed) << body;
    }
    EXPECT_EQ(Request("POST", "/blocked", chunked, "100001\r\n").status, 413);
    EXPECT_EQ(Request("POST", "/blocked", chunked, "1;" + std::string(8192, 'x')).status, 400);
    // Long lines around short chunks
    std::string wasteful;
    while (wasteful.size() <= 3 * 1024 * 1024)
        wasteful += "1;" + std::string(1000, 'x') + "\r\na\r\n";
    EXPECT_EQ(Request("POST", "/blocked", chunked, wasteful).status, 413);
}

TEST_F(HttpSession, SendsContinueOnlyForBodies) {
    Conversation conversation = Connect();
    conversation.Send("POST /blocked HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n"
                      "Expect: 100-Continue\r\n\r\n");
    EXPECT_EQ(conversation.GetOutput(), "HTTP/1.1 100 Continue\r\n\r\n");
    conversation.Send("a");
    EXPECT_THAT(conversation.GetOutput(), HasSubstr("\r\n\r\nHTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(Get("/blocked?text=a", "Expect: 100-continue\r\n").status, 200);
    EXPECT_EQ(Request("POST", "/blocked", "Content-Length: 1\r\nExpect: x\r\n").status, 417);
    Conversation old = Connect();
    old.Send("POST /blocked HTTP/1.0\r\nContent-Length: 1\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(old.GetOutput(), "");
    old.Send("a");
    EXPECT_THAT(old.GetOutput(), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(HttpSession, GivesWholeLists) {
    const std::string modified = "Tue, 14 Nov 2023 21:13:20 GMT";
    const HttpAnswer answer = Get("/blocked/all");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, view.whole.text);
    EXPECT_EQ(answer.Get("ETag"), view.whole.etag);
    EXPECT_EQ(answer.Get("Last-Modified"), modified);
    EXPECT_EQ(answer.Get("Content-Length"), std::to_string(view.whole.text.size()));
    EXPECT_EQ(answer.Get("Cache-Control"), "no-cache");
    const HttpAnswer head = Request("HEAD", "/blocked/all");
    EXPECT_EQ(head.header, answer.header);
    EXPECT_EQ(head.body, "");

    struct Case {
        std::string fields;
        int status;
    };
    const Case cases[] = {
        {"If-None-Match: " + view.whole.etag + "\r\n", 304},
        {"If-None-Match: W/" + view.whole.etag + "\r\n", 304},
        {"If-None-Match: \"a\" , " + view.whole.etag + "\r\n", 304},
        {"If-None-Match: *\r\n", 304},
        {"If-None-Match: \"a\"\r\n", 200},
        {"If-None-Match: \r\n", 200},
        {"If-Modified-Since: " + modified + "\r\n", 304},
        {"If-Modified-Since: Tue, 14 Nov 2023 21:13:21 GMT\r\n", 304},
        {"If-Modified-Since: Tue, 14 Nov 2023 21:13:19 GMT\r\n", 200},
        {"If-Modified-Since: yesterday\r\n", 200},
        // The tag rules over the time.
        {"If-Modified-Since: " + modified + "\r\nIf-None-Match: \"a\"\r\n", 200},
    };
    for (const Case& test : cases)
        for (const char* method : {"GET", "HEAD"}) {
            const HttpAnswer again = Request(method, "/blocked/all", test.fields);
            EXPECT_EQ(again.status, test.status) << test.fields;
            EXPECT_EQ(again.Get("ETag"), view.whole.etag) << test.fields;
            EXPECT_EQ(again.Get("Last-Modified"), modified) << test.fields;
            EXPECT_EQ(again.body.empty(), test.status == 304 || method[0] == 'H') << test.fields;
        }

    EXPECT_EQ(Get("/access/all").status, 503);
    EXPECT_EQ(Get("/access/all").body, "the list has not been loaded\n");
    view.whole.why_not = "the item ldap:x asks a server";
    EXPECT_EQ(Get("/blocked/all").status, 501);
    EXPECT_EQ(Get("/blocked/all").body, "the item ldap:x asks a server\n");
}

// What rspamd sends to see whether a list has changed.
TEST_F(HttpSession, AnswersRspamd) {
    const HttpAnswer answer =
        Send("HEAD /blocked/all HTTP/1.1\r\nConnection: close\r\nHost: 127.0.0.1\r\n"
             "Content-Length: 0\r\nUser-Agent: rspamd-3.4\r\n\r\n");
    EXPECT_TRUE(closed);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.Get("Connection"), "close");
    EXPECT_EQ(answer.Get("Content-Length"), std::to_string(view.whole.text.size()));
    const HttpAnswer again =
        Send("HEAD /blocked/all HTTP/1.1\r\nConnection: close\r\nHost: "
             "127.0.0.1\r\nContent-Length: 0\r\n"
             "User-Agent: rspamd-3.4\r\nIf-Modified-Since: " +
             answer.Get("Last-Modified") + "\r\nIf-None-Match: " + answer.Get("ETag") + "\r\n\r\n");
    EXPECT_EQ(again.status, 304);
}

TEST_F(HttpSession, TellsHealthAndMetrics) {
    EXPECT_EQ(Get("/healthz").status, 503);
    EXPECT_EQ(Get("/healthz").body, "not loaded: access\n");
    view.lists[1].loaded = true;
    EXPECT_EQ(Get("/healthz").status, 200);
    EXPECT_EQ(Get("/healthz").body, "ok\n");
    CountAnswer(view.GetCounters(), 0, 0, 0, Outcome::Found, 1);
    const HttpAnswer answer = Get("/metrics");
    EXPECT_EQ(answer.Get("Content-Type"), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_THAT(
        answer.body,
        HasSubstr(R"(kwlookupd_requests_total{door="web",list="blocked",outcome="found"} 1)"));
    EXPECT_THAT(answer.body, HasSubstr(R"(kwlookupd_list_age_seconds{list="blocked"} 60)"));
}

TEST_F(HttpSession, KeepsConnectionsAsTheClientWants) {
    struct Case {
        std::string request;
        bool closed;
    };
    const Case cases[] = {
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", false},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n", true},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: x, Close\r\n\r\n", true},
        {"GET /healthz HTTP/1.0\r\n\r\n", true},
        {"GET /healthz HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", false},
        {"\r\n\r\nGET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", false},
    };
    for (const Case& test : cases) {
        const HttpAnswer answer = Send(test.request);
        EXPECT_EQ(answer.status, 503) << test.request;
        EXPECT_EQ(closed, test.closed) << test.request;
        EXPECT_EQ(answer.Get("Connection"), test.closed ? "close" : "keep-alive") << test.request;
    }
    Conversation conversation = Connect();
    conversation.Send("GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r");
    conversation.End();
    EXPECT_TRUE(conversation.IsClosed());
    EXPECT_EQ(conversation.GetOutput(), "");
}

TEST_F(HttpSession, RefusesWhatCouldBeReadInTwoWays) {
    const std::string post = "POST /blocked HTTP/1.1\r\nHost: localhost\r\n";
    const std::string next = "\r\nGET /access?text=smuggled HTTP/1.1\r\nHost: localhost\r\n\r\n";
    struct Case {
        std::string request;
        int status;
    };
    const Case cases[] = {
        {post + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n", 400},
        {post + "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n0\r\n", 400},
        {post + "Transfer-Encoding: gzip\r\nContent-Length: 3\r\n\r\n", 400},
        {post + "Content-Length: 3\r\nTransfer-Encoding: gzip\r\n\r\n", 400},
        {post + "Content-Length: 1\r\nContent-Length: 2\r\n\r\na", 400},
        {post + "Content-Length: 1\r\nContent-Length: 1\r\n\r\na", 400},
        {post + "Content-Length: 1, 1\r\n\r\na", 400},
        {post + "Content-Length: +1\r\n\r\na", 400},
        {post + "Content-Length: 0x1\r\n\r\na", 400},
        {post + "Content-Length: 1 1\r\n\r\na", 400},
        {post + "Content-Length: -1\r\n\r\na", 400},
        {post + "Content-Length:\r\n\r\na", 400},
        {post + "Content-Length: 99999999999999999999999\r\n\r\na", 400},
        {post + "Content-Length : 1\r\n\r\na", 400},
        {post + "Transfer-Encoding: gzip\r\n\r\n", 501},
        {post + "Transfer-Encoding: chunked, gzip\r\n\r\n", 501},
        {post + "Transfer-Encoding: gzip, chunked\r\n\r\n", 501},
        {post + "Transfer-Encoding: xchunked\r\n\r\n", 501},
        {post + "Transfer-Encoding: identity\r\n\r\n", 501},
        {post + "Transfer-Encoding: \"chunked\"\r\n\r\n", 501},
        {post + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n", 400},
        {post + "Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n", 501},
        {"POST /blocked HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n", 400},
        {"GET /healthz HTTP/1.0\r\nHost: localhost\r\nHost: localhost\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\nHost: localhost\n\n", 400},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\nX: y\r\n\r\n", 400},
        {"\nGET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\n: x\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\nX\r\n\r\n", 400},
        {"GET /healthz HTTP/1.1\r\n Host: localhost\r\n\r\n", 400},
        {std::string("GET /healthz HTTP/1.1\r\nHost: localhost\r\nX: a\0b\r\n\r\n", 50), 400},
        {"GET /healthz HTTP/1.1\r\nHost: localhost\r\nX: a\rb\r\n\r\n", 400},
        {"GET /heal thz HTTP/1.1\r\nHost: localhost\r\n\r\n", 505},
        {"GET  /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"GET /healthz HTTP/2.0\r\nHost: localhost\r\n\r\n", 505},
        {"GET /healthz\r\n\r\n", 400},
        {"G\xc3\xa4T /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"\x16\x03\x01\x02\r\n\r\n", 400}, // TLS
    };
    for (const Case& test : cases) {
        const HttpAnswer answer = Send(test.request + next);
        EXPECT_EQ(answer.status, test.status) << test.request << answer.body;
        EXPECT_TRUE(closed) << test.request;
        EXPECT_EQ(answer.Get("Connection"), "close") << test.request;
        EXPECT_THAT(answer.body, Not(HasSubstr("HTTP/1.1"))) << test.request;
    }
    for (const char* method : {"PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "BREW", "get"}) {
        const HttpAnswer answer = Request(method, "/blocked?text=a");
        EXPECT_EQ(answer.status, 405) << method;
        EXPECT_EQ(answer.Get("Allow"), "GET, HEAD, POST") << method;
        EXPECT_TRUE(closed) << method;
    }
}

TEST_F(HttpSession, BoundsHeaders) {
    const std::string begin = "GET /blocked?text=a HTTP/1.1\r\nHost: localhost\r\nX: ";
    const std::size_t room = 8192 - begin.size() - 4;
    EXPECT_EQ(Send(begin + std::string(room, 'x') + "\r\n\r\n").status, 200);
    EXPECT_EQ(Send(begin + std::string(room + 1, 'x') + "\r\n\r\n").status, 431);
    EXPECT_TRUE(closed);
    EXPECT_EQ(Get("/blocked?text=" + std::string(8000, 'x')).status, 200);
    EXPECT_EQ(Get("/blocked?text=" + std::string(8192, 'x')).status, 414);
    EXPECT_TRUE(closed);
    std::string fields;
    for (int i = 0; i < 3000; ++i)
        fields += "a:\r\n";
    EXPECT_EQ(Get("/blocked?text=a", fields).status, 431);
}

// Every cut gives the same answers in the same order.
TEST_F(HttpSession, AnswersPipelinedRequestsInOrderAtEveryCut) {
    const std::string host = " HTTP/1.1\r\nHost: localhost\r\n";
    const std::string bytes =
        "GET /blocked?text=first" + host + "\r\n" + "\r\nPOST /access" + host +
        "Content-Length: 5\r\n\r\na\r\nb\n" + "HEAD /blocked/all" + host + "\r\n" + "POST /access" +
        host + "Expect: 100-continue\r\nTransfer-Encoding: chunked\r\n\r\n" +
        "1;x\r\nc\r\n2\r\n\nz\r\n0\r\nX: y\r\n\r\n" + "GET /access?text=last" + host +
        "Connection: close\r\n\r\nGET /healthz" + host + "\r\n";
    Conversation whole = Connect();
    whole.Send(bytes);
    EXPECT_TRUE(whole.IsClosed());
    const std::string expected = whole.GetOutput();
    EXPECT_THAT(expected, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(expected, HasSubstr("\r\n\r\n0 first\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(expected, HasSubstr("\r\n\r\nfound 1 a\nfound 1 b\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(expected, HasSubstr("\r\n\r\nHTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(expected, HasSubstr("\r\n\r\nfound 1 c\nfound 1 z\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(expected, EndsWith("Connection: close\r\n\r\n1 last\n"));
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        Conversation conversation = Connect();
        conversation.Send(bytes.substr(0, cut));
        conversation.Send(bytes.substr(cut));
        EXPECT_EQ(conversation.GetOutput(), expected) << cut;
        // The client goes away.
        Conversation ended = Connect();
        ended.Send(bytes.substr(0, cut));
        ended.End();
        EXPECT_TRUE(ended.IsClosed()) << cut;
        EXPECT_THAT(expected, StartsWith(ended.GetOutput())) << cut;
    }
    Conversation slow = Connect();
    for (const char c : bytes)
        slow.Send(std::string(1, c));
    EXPECT_EQ(slow.GetOutput(), expected);
}

TEST_F(HttpSession, WantsTheToken) {
    config.addresses = {"0.0.0.0:8825"};
    config.settings["token"] = "0123456789abcdef";
    const std::string basic = "Authorization: Basic ";
    struct Case {
        std::string fields;
        int status;
    };
    const Case cases[] = {
        {"", 401},
        {"Authorization: Bearer 0123456789abcdef\r\n", 200},
        {"authorization: bearer   0123456789abcdef\r\n", 200},
        {"Authorization: Bearer 0123456789abcdeF\r\n", 401},
        {"Authorization: Bearer 0123456789abcde\r\n", 401},
        {"Authorization: Bearer 0123456789abcdef0\r\n", 401},
        {"Authorization: Bearer\r\n", 401},
        {"Authorization: Bearer \r\n", 401},
        {"Authorization:\r\n", 401},
        {"Authorization: 0123456789abcdef\r\n", 401},
        {"Authorization: Digest 0123456789abcdef\r\n", 401},
        {"Authorization: Bearer x\r\nAuthorization: Bearer 0123456789abcdef\r\n", 401},
        {basic + "YW55Ym9keTowMTIzNDU2Nzg5YWJjZGVm\r\n", 200}, // anybody:TOKEN
        {basic + "OjAxMjM0NTY3ODlhYmNkZWY=\r\n", 200},         // :TOKEN
        {basic + "MDEyMzQ1Njc4OWFiY2RlZg==\r\n", 401},         // TOKEN
        {basic + "YW55Ym9keTo=\r\n", 401},
        {basic + "!\r\n", 401},
    };
    for (const Case& test : cases) {
        const HttpAnswer answer = Get("/blocked?text=a", test.fields);
        EXPECT_EQ(answer.status, test.status) << test.fields;
        EXPECT_EQ(closed, test.status == 401) << test.fields;
        EXPECT_EQ(answer.Get("WWW-Authenticate"),
                  test.status == 401 ? "Bearer realm=\"kwlookupd\"" : "(none)");
    }
    for (const char* target : {"/", "/metrics", "/blocked/all", "/nothing"})
        EXPECT_EQ(Get(target).status, 401) << target;
    EXPECT_EQ(Get("/healthz").status, 503); // what it tells is no secret
    EXPECT_EQ(Request("POST", "/blocked", "Content-Length: 1\r\n", "a").status, 401);
    // With a token, no page from elsewhere can ask.
    EXPECT_EQ(Send("GET /blocked?text=a HTTP/1.1\r\nHost: mx.example.com\r\nAuthorization: Bearer "
                   "0123456789abcdef\r\n\r\n")
                  .status,
              200);
}

TEST_F(HttpSession, AnswersUnderItsOwnNamesOnly) {
    const auto status = [&](const std::string& host) {
        return Send("GET /blocked?text=a HTTP/1.1\r\nHost:" + host + "\r\n\r\n").status;
    };
    for (const char* host : {" localhost", " LOCALHOST:8825", " 127.0.0.1", " 10.0.0.1:80",
                             " [::1]", " [::1]:8825", ""})
        EXPECT_EQ(status(host), 200) << host;
    for (const char* host : {" evil.example", " localhost.evil.example", " evil.example:8825",
                             " 127.0.0.1.evil.example", " [evil]", " a:b:c", " :"})
        EXPECT_EQ(status(host), 421) << host;
    config.settings["host"] = "mx.example.com, Lists.example.com";
    EXPECT_EQ(status(" mx.example.com"), 200);
    EXPECT_EQ(status(" lists.Example.com:80"), 200);
    EXPECT_EQ(status(" example.com"), 421);
    config.settings.clear();
    config.addresses = {"unix:/run/kwlookupd/http"};
    EXPECT_EQ(status(" any.name"), 200);
}

TEST_F(HttpSession, WrongSettingsAreRefused) {
    struct Case {
        std::function<void()> change;
        std::string reason;
    };
    const std::string open = "it needs Token.file, because the Address ";
    const Case cases[] = {
        {[&] {
             config.addresses = {"127.0.0.1:1", "0.0.0.0:1"};
         },
         open + "0.0.0.0:1 may be open to other machines"},
        {[&] { config.addresses = {"[::]:1"}; }, open + "[::]:1 may be open to other machines"},
        {[&] { config.addresses = {"10.0.0.1:1"}; },
         open + "10.0.0.1:1 may be open to other machines"},
        {[&] { config.addresses = {"localhost:1"}; },
         open + "localhost:1 may be open to other machines"},
        {[&] { config.addresses = {"systemd:web"}; },
         open + "systemd:web may be open to other machines"},
        {[&] { config.settings["token"] = "0123456789abcde"; },
         "Token has less than 16 characters"},
        {[&] { config.settings["token"] = "0123456789 abcdef"; },
         "Token has a character that is not printable ASCII"},
        {[&] {
             config.lists = {{"metrics", 0}};
         },
         "the path of a list named \"metrics\" has another meaning"},
        {[&] {
             config.lists = {{"healthz", 0}};
         },
         "the path of a list named \"healthz\" has another meaning"},
    };
    const DoorConfig good = config;
    for (const Case& test : cases) {
        config = good;
        test.change();
        try {
            Connect();
            ADD_FAILURE() << test.reason;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), test.reason);
        }
    }
    config = good;
    for (const char* address : {"127.0.0.1:1", "127.8.9.10:1", "[::1]:1", "unix:/run/x"}) {
        config.addresses = {address};
        EXPECT_EQ(Get("/blocked?text=a").status, 200) << address;
    }
}

TEST(HttpDate, ReadsWhatItWrites) {
    for (const std::time_t time :
         {std::time_t{0}, std::time_t{951'782'400}, std::time_t{951'868'799},
          std::time_t{1'700'000'000}, std::time_t{4'102'444'799}})
        EXPECT_EQ(kwlookup::ParseHttpDate(kwlookup::FormatHttpDate(time)), time);
    EXPECT_EQ(kwlookup::FormatHttpDate(784'111'777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(kwlookup::FormatHttpDate(951'782'400), "Tue, 29 Feb 2000 00:00:00 GMT");
    for (const char* text : {"", "Sun, 06 Nov 1994 08:49:37 UTC", "Mon, 06 Nov 1994 08:49:37 GMT",
                             "Sun, 31 Feb 1994 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:60 GMT",
                             "Sun, 06 Nov 1994 24:49:37 GMT", "Sun, 06 nov 1994 08:49:37 GMT",
                             "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994",
                             "Sun, -6 Nov 1994 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:37 GMT "})
        EXPECT_EQ(kwlookup::ParseHttpDate(text), std::nullopt) << text;
}

} // namespace
