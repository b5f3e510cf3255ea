// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Connection.h"

#include "kwlookupd/Client.h"
#include "kwlookupd/ConstantView.h"
#include "objects/TestPlugins.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/Server.h"
#include "tools/kwlookupd/status/Metrics.h"
#include "tools/lists/Plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kwlookup::DoorConfig;
using kwlookup::Server;

const LogClass CONNECTION_LOG("lists");

/// A server with a door for each protocol, and lists that a test gives it.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() {
        RecordingLog::Reset(WARN);
        m_settings.io_threads = 1;
    }
    ~ConnectionTest() override {
        if (m_thread.joinable()) {
            m_server->Stop();
            m_thread.join();
        }
    }

    /// The rules of the doors that have some ask `lists` about the sender.
    void Start(const std::vector<DoorConfig::List>& lists) {
        std::vector<DoorConfig> configs;
        std::vector<std::string> names;
        for (const char* protocol : {"dict", "http", "milter", "policy", "socketmap", "tcp"}) {
            DoorConfig config;
            config.name = config.protocol = protocol;
            config.addresses = {"unix:" + m_dir.Path(protocol)};
            config.lists = lists;
            if (config.name == "milter" || config.name == "policy")
                for (const DoorConfig::List& list : std::exchange(config.lists, {}))
                    config.rules.push_back({"sender", list});
            configs.push_back(std::move(config));
        }
        for (const DoorConfig::List& list : lists)
            names.push_back(list.name);
        m_metrics =
            std::make_unique<kwlookup::Metrics>(configs, std::move(names), m_settings.io_threads);
        std::vector<Server::OpenDoor> doors;
        for (const DoorConfig& config : configs)
            doors.push_back({config, kwlookup::MakeDoor(config, &m_view)});
        m_server = std::make_unique<Server>(m_settings, std::move(doors), m_metrics.get());
        m_thread = std::thread([this] { m_server->Run(); });
    }
    void SetList(std::size_t number, const std::string& objects) const {
        kwlookup::ListSettings settings;
        settings.name = "list";
        settings.objects = objects;
        std::promise<void> done;
        m_server->SetList(
            number, std::make_shared<kwlookup::ListGeneration>(settings, CONNECTION_LOG, nullptr),
            [&] { done.set_value(); });
        done.get_future().wait();
    }
    std::string Address(const std::string& door) const { return "unix:" + m_dir.Path(door); }

    TempDir m_dir;
    kwlookup::ServerSettings m_settings;
    ConstantView m_view;
    std::unique_ptr<kwlookup::Metrics> m_metrics;
    std::unique_ptr<Server> m_server;
    std::thread m_thread;
};

} // namespace

TEST_F(ConnectionTest, ClosesConnectionsWhoseRequestDoesNotEnd) {
    EXPECT_EQ(m_settings.request_time, std::chrono::seconds(100)); // Postfix's own
    m_settings.request_time = std::chrono::milliseconds(1500);
    Start({{"list", 0}});
    SetList(0, "a@b.test yes");
    const std::string hello("\0\0\0\x0dO\0\0\0\x06\0\0\0\0\0\0\0\0", 17);
    const std::string get = "GET /list?text=a@b.test HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const std::string post = "POST /list HTTP/1.1\r\nHost: localhost\r\n";
    struct Case {
        const char* door;
        std::string request, end; ///< a whole one, and the end of its answer
        std::string begin;        ///< of another
        std::string more;         ///< that may follow without end
    };
    const std::vector<Case> cases{
        {"dict", "Hx\t0\t\t\tlist\nLa@b.test\n", "Oyes\n", "L", "a"},
        {"http", get, "yes\n", post + "Content-Length: 90000\r\n\r\nx@y.test", "a"},
        {"http", get, "yes\n", post + "Transfer-Encoding: chunked\r\n\r\n", "1\r\na\r\n"},
        {"http", get, "yes\n", "GET /", "a"},
        {"milter", hello, hello.substr(4), std::string("\0\0\xff\0M<", 6), "a"},
        {"milter", hello, hello.substr(4), std::string("\0\0\xff\0B", 5), "a"},
        {"policy", "sender=a@b.test\n\n", "action=yes\n\n", "sender=a@b.test\n", "a=b\n"},
        {"socketmap", "13:list a@b.test,", "6:OK yes,", "5000:list ", "a"},
        {"tcp", "get a@b.test\n", "200 yes\n", "get ", "a"},
    };
    const auto ask = [](Client& client, const Case& each) {
        client.Send(each.request);
        std::string answer, byte = "-";
        while (!byte.empty() && !testing::Matches(testing::EndsWith(each.end))(answer))
            answer += byte = client.Receive(1);
        EXPECT_THAT(answer, testing::EndsWith(each.end));
    };
    std::deque<Client> idle, stalled, dripping;
    for (const Case& each : cases) {
        for (auto* clients : {&idle, &stalled, &dripping}) {
            clients->emplace_back(Address(each.door));
            ask(clients->back(), each);
        }
        stalled.back().Send(each.begin);
        dripping.back().Send(each.begin);
    }
    bool all_closed = false;
    for (int i = 0; i < 600 && !all_closed; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        all_closed = true;
        for (std::size_t j = 0; j < cases.size(); ++j)
            all_closed &= !dripping[j].Send(cases[j].more);
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(std::string(cases[i].door) + ": " + cases[i].begin);
        EXPECT_EQ(dripping[i].Receive(1, 0), "");
        EXPECT_FALSE(dripping[i].Send("a"));
        EXPECT_TRUE(stalled[i].HasInput(0));
        EXPECT_EQ(stalled[i].Receive(1, 0), "");
        ask(idle[i], cases[i]);
    }
}

TEST_F(ConnectionTest, CountsAnswersForTheListThatGaveThem) {
    Start({{"first", 0}, {"second", 1}});
    SetList(0, "a@b.test yes");
    SetList(1, "c@d.test yes");
    Client client(Address("tcp"));
    client.Send("get c@d.test\nget c@d.test\nget a@b.test\nget x@y.test\n");
    EXPECT_EQ(client.Receive(40), "200 yes\n200 yes\n200 yes\n500 not%20found\n");
    EXPECT_EQ(m_metrics->GetListCounts(0).found, 1U);
    EXPECT_EQ(m_metrics->GetListCounts(1).found, 2U);
    EXPECT_EQ(m_metrics->GetListCounts(1).not_found, 1U); // the last that was asked
}

TEST_F(ConnectionTest, CountsTimeoutsForTheListThatHangs) {
    m_settings.answer_time = std::chrono::seconds(1);
    kwlookup::RegisterType("waiting");
    Start({{"memory", 0}, {"quick", 1}, {"hanging", 2}, {"rest", 3}});
    SetList(0, "a@b.test yes");
    SetList(1, "waiting:0");
    SetList(2, "waiting:2500");
    SetList(3, "waiting:0");
    Client client(Address("policy"));
    client.Send("sender=c@d.test\n\n");
    EXPECT_EQ(client.Receive(71),
              "action=DEFER_IF_PERMIT 4.3.0 cannot look this up now, try again later\n\n");
    EXPECT_EQ(m_metrics->GetListCounts(2).unavailable, 1U);
    for (const std::size_t other : {0, 1, 3})
        EXPECT_EQ(m_metrics->GetListCounts(other).unavailable, 0U) << other;
    EXPECT_EQ(m_metrics->GetFault(2).reason, "timed out");
}

TEST_F(ConnectionTest, MakesFewAnswersThatTheClientDoesNotTake) {
    constexpr std::size_t COUNT = 128; // as many are read together
    const std::string value(60000, 'v');
    kwlookup::RegisterType("waiting");
    Start({{"list", 0}});
    SetList(0, "a@b.test " + value);
    const auto read_answers = [](Client& client, const std::string& answer) {
        for (std::size_t i = 0; i < COUNT; ++i)
            EXPECT_EQ(client.Receive(answer.size()), answer) << i;
        EXPECT_EQ(client.ReceiveAll(), "22:PERM malformed request,");
    };
    const std::string question = "13:list a@b.test,";
    std::string questions;
    for (std::size_t i = 0; i < COUNT; ++i)
        questions += question;
    const std::string answer = "60003:OK " + value + ",";
    Client first(Address("socketmap")), second(Address("socketmap")), other(Address("tcp"));
    for (Client* client : {&first, &second})
        client->Send(questions + "x");
    other.Send("get x@y.test\n"); // then both were served
    EXPECT_EQ(other.Receive(16), "500 not%20found\n");
    EXPECT_LT(m_metrics->GetListCounts(0).found, 2U * 16); // the system keeps some
    read_answers(first, answer);
    EXPECT_LT(m_metrics->GetListCounts(0).found, COUNT + 16);
    // What is left is asked as the list is now.
    const std::size_t old = m_metrics->GetListCounts(0).found - COUNT;
    SetList(0, "waiting:0");
    for (std::size_t i = 0; i < old; ++i)
        EXPECT_EQ(second.Receive(answer.size()), answer) << i;
    for (std::size_t i = old; i < COUNT; ++i)
        EXPECT_EQ(second.Receive(12), "9:NOTFOUND ,");
    EXPECT_EQ(second.ReceiveAll(), "22:PERM malformed request,");
}
