// SPDX-License-Identifier: MIT
// Storing into a server whose connection is lost.
#include "servers/FaultyProxy.h"
#include "servers/PostgresServer.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace kwlookup {
namespace {

using testing::HasSubstr;

class ToolStoreServer : public testing::Test {
protected:
    ToolStoreServer() {
        m_server.Execute("create role kw login password 'secret of the test';"
                         "create table seen (address text, count int unique);"
                         "grant insert on seen to kw");
    }

    /// Store lines of these numbers, in transactions of a thousand.
    ProgramResult Store(int first, int last) const {
        std::string lines;
        for (int i = first; i <= last; ++i)
            lines += R"({"address":"a","count":)" + std::to_string(i) + "}\n";
        return RunTool({"store",
                        "\"postgres:Database=postgres|User=kw|Password=secret of the test|Hosts=" +
                            m_proxy.GetHost() +
                            "|insert into seen values (:address<varchar>, :count<int>)\"",
                        "-"},
                       lines);
    }

    /// The bytes of answers to so many lines on one connection. They all have as many digits.
    std::size_t AnswersTo(int lines) {
        const std::size_t before = m_proxy.GetForwardedBytes();
        EXPECT_EQ(Store(10001, 10000 + lines).status, Found);
        m_server.Execute("delete from seen");
        return m_proxy.GetForwardedBytes() - before;
    }

    std::string Count() { return m_server.Execute("select count(*), max(count) from seen"); }

    PostgresServer m_server;
    FaultyProxy m_proxy{m_server.GetPort()};
};

TEST_F(ToolStoreServer, TransactionWhoseConnectionIsLostIsStoredOverAnother) {
    m_proxy.SetFault(FaultyProxy::Fault::Close, (AnswersTo(1000) + AnswersTo(2000)) / 2);
    EXPECT_EQ(Store(10001, 12000), (ProgramResult{Found, "2000 records\n", ""}));
    EXPECT_EQ(Count(), "2000|12000\n");
}

TEST_F(ToolStoreServer, ServerThatIsLostInATransactionStoresNothingOfIt) {
    const std::size_t half = (AnswersTo(1000) + AnswersTo(2000)) / 2;
    const std::size_t before = m_proxy.GetForwardedBytes();
    m_proxy.SetDelay(std::chrono::milliseconds(1)); // so that the cut comes within the transaction
    std::atomic<bool> done{false};
    std::thread cut([&] {
        while (!done && m_proxy.GetForwardedBytes() < before + half)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        m_proxy.SetFault(FaultyProxy::Fault::Close);
    });
    const ProgramResult result = Store(10001, 12500);
    done = true;
    cut.join();
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("could not store line 1"));
    EXPECT_THAT(result.err, HasSubstr(": " + m_proxy.GetHost() + ": "));
    EXPECT_THAT(result.err, HasSubstr("continue from line 1001\n"));
    EXPECT_THAT(result.err, testing::Not(HasSubstr("check whether")));
    EXPECT_EQ(Count(), "1000|11000\n");
}

TEST_F(ToolStoreServer, LinesThatMayBeStoredAreNamed) {
    // The answer to the second commit.
    m_proxy.SetFault(FaultyProxy::Fault::Close, AnswersTo(2000) - 1);
    const ProgramResult result = Store(10001, 12500);
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("could not store lines 1001 to 2000: " + m_proxy.GetHost()));
    EXPECT_THAT(result.err, HasSubstr("it may have been stored nevertheless"));
    EXPECT_THAT(result.err,
                HasSubstr("check whether lines 1001 to 2000 are stored before you continue\n"));
    EXPECT_THAT(result.err, HasSubstr("continue from line 1001\n"));
    EXPECT_EQ(Count(), "2000|12000\n");
}

} // namespace
} // namespace kwlookup
