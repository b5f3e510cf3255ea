// SPDX-License-Identifier: MIT
#pragma once

#include "servers/FaultyProxy.h"
#include "servers/ServerPluginTest.h"
#include "support/StorageSupport.h"

#include <atomic>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

/// Tests of storing that all types have in common. The `Service` also has `Execute()`, which runs
/// statements and returns the rows, and `GetStored()`, the statements that make an empty table
/// "stored" with the columns address, a text; number, an int and the primary key; and seen, a time
/// without a zone.
template <typename Service>
class ServerStorageTest : public ServerPluginTest<Service> {
protected:
    ServerStorageTest() { Sql(this->Get().GetStored()); }

    static std::string Sql(const std::string& statements) {
        std::string rows = ServerPluginTest<Service>::Get().Execute(statements);
        while (!rows.empty() && rows.back() == '\n')
            rows.pop_back();
        return rows;
    }

    /// A list of one item that stores into the server at `hosts`.
    static std::string Item(const std::string& hosts, const std::string& settings = "") {
        return "\"" + ServerPluginTest<Service>::Get().GetType() +
               ":OnError=exception|RetryInterval=0|Hosts=" + hosts + "|" +
               ServerPluginTest<Service>::Get().GetLogin() + "|" + settings +
               "insert into stored values (:address<varchar>, :count<int>, :at<timestamp>)\"";
    }

    static std::string Item() { return Item(ServerPluginTest<Service>::Server().GetHost()); }

    static KwStorageValuesMap Row(int count, const std::string& address = "jdoe@corp.lan") {
        return Record({{"address", address},
                       {"count", std::to_string(count)},
                       {"at", "2026-11-22T07:08:09+01:00"}});
    }

    /// Expect that a record is stored. On a machine under load it may need several attempts.
    static void ExpectStoredInTime(KwStorageHolder& holder, int number) {
        std::string error = "not tried";
        for (int i = 0; i < 60 && !error.empty(); ++i)
            error = Numbers().count(number) ? "" : StoreError(holder, Row(number));
        EXPECT_EQ(error, "");
    }

    /// The numbers of all rows under a condition.
    static std::set<int> Numbers(const std::string& condition = "1 = 1") {
        std::istringstream rows(Sql("select number from stored where " + condition + ";"));
        std::set<int> numbers;
        for (std::string word; rows >> word;) // a server's tool may print titles too
            if (word.find_first_not_of("0123456789") == std::string::npos)
                numbers.insert(std::stoi(word));
        return numbers;
    }

    /// Expect that a table of MariaDB without transactions keeps the records before the one that
    /// failed, and that the error says so.
    void ExpectKeptWithoutTransactions() {
        Sql("alter table stored engine = myisam");
        KwStorageHolder holder(this->m_log);
        holder.Init(Item());
        EXPECT_THAT(BatchError(holder, {Row(1), Row(2), Row(1), Row(3)}),
                    testing::StartsWith("?2: " + this->Server().GetHost() + ": "));
        EXPECT_THAT(Numbers(), testing::ElementsAre(1, 2));
        EXPECT_EQ(BatchError(holder, {Row(3)}), "");
        EXPECT_THAT(Numbers(), testing::ElementsAre(1, 2, 3));
    }
};

TYPED_TEST_SUITE_P(ServerStorageTest);

TYPED_TEST_P(ServerStorageTest, StoresValuesAsTheyAre) {
    KwStorageHolder holder(this->m_log);
    holder.Init(this->Item());
    const std::vector<std::string> texts = {"o'brien@corp.lan",
                                            "' or '1'='1",
                                            "'; drop table stored; --",
                                            "\\",
                                            "$1 ? :address",
                                            "j\xc3\xb6rg@corp.lan",
                                            "new\nline",
                                            "",
                                            " blank ",
                                            std::string(1 << 20, 'x')};
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(StoreError(holder, this->Row(static_cast<int>(i), texts[i])), "");
    KwLookupHolder lookup(this->m_log);
    lookup.Init("\"" + this->Get().GetType() +
                ":OnError=exception|Hosts=" + this->Server().GetHost() + "|" +
                this->Get().GetLogin() + "|select address from stored where number = '$s'\"");
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_TRUE(this->Ask(lookup, std::to_string(i)).res ==
                    (texts[i].empty() ? "" : " " + texts[i]))
            << i;
    EXPECT_EQ(this->Numbers("seen = '2026-11-22 06:08:09'").size(), texts.size());
}

TYPED_TEST_P(ServerStorageTest, StoresABatchWholeOrNotAtAll) {
    KwStorageHolder holder(this->m_log);
    holder.Init(this->Item());
    EXPECT_EQ(BatchError(holder, {this->Row(1), this->Row(2)}), "");
    const std::string host = this->Server().GetHost();
    EXPECT_THAT(BatchError(holder, {this->Row(3), this->Row(4), this->Row(1), this->Row(5)}),
                testing::StartsWith("2: " + host + ": "));
    EXPECT_EQ(BatchError(holder, {this->Row(3), Record({{"address", "a"}, {"at", "now"}})}),
              "1: 'count' is missing");
    KwStorageValuesMap wrong = this->Row(6);
    wrong.m_values["count"].second = "six";
    EXPECT_EQ(StoreError(holder, wrong), "'count' is not an int");
    wrong.m_values["count"].second = "9223372036854775807"; // too large for the column
    EXPECT_THAT(StoreError(holder, wrong), testing::StartsWith(host + ": "));
    EXPECT_THAT(this->Numbers(), testing::ElementsAre(1, 2));
    EXPECT_EQ(BatchError(holder, {this->Row(3)}), "");
    EXPECT_THAT(this->Numbers(), testing::ElementsAre(1, 2, 3));
}

TYPED_TEST_P(ServerStorageTest, AnItemEitherSearchesOrStores) {
    EXPECT_THAT(this->ErrorOf(this->Item()), testing::HasSubstr(": wait select COLUMN"));
    KwStorageHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    EXPECT_TRUE(holder.Empty());
    EXPECT_THAT(this->TakeErrors(),
                testing::ElementsAre(testing::HasSubstr(": wait insert into TABLE")));
}

TYPED_TEST_P(ServerStorageTest, StoresOnceWhateverBecomesOfTheConnection) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwStorageHolder kept(this->m_log);
    kept.Init(this->Item(proxy.GetHost()));
    EXPECT_EQ(BatchError(kept, {this->Row(1), this->Row(2)}), "");
    const std::size_t all = proxy.GetForwardedBytes();
    // A dead connection does not mean that the server has failed.
    proxy.Disconnect();
    EXPECT_EQ(StoreError(kept, this->Row(3)), "");
    EXPECT_THAT(this->Numbers(), testing::ElementsAre(1, 2, 3));
    constexpr int ROUNDS = 30;
    std::map<int, std::string> errors; // of each batch, by its first number
    for (int round = 1; round <= ROUNDS + 1; ++round) {
        proxy.SetFault(kwlookup::FaultyProxy::Fault::Close,
                       all * static_cast<std::size_t>(round) / ROUNDS);
        KwStorageHolder holder(this->m_log);
        // A list with its own settings has its own connection.
        holder.Init(this->Item(proxy.GetHost(),
                               "IdleTimeout=0|MaxConnections=" + std::to_string(round + 10) + "|"));
        const int first = 10 * round;
        errors[first] = BatchError(holder, {this->Row(first), this->Row(first + 1)});
    }
    const std::set<int> numbers = this->Numbers();
    int stored = 0;
    int refused = 0;
    for (const auto& [first, error] : errors) {
        const auto count = numbers.count(first) + numbers.count(first + 1);
        if (error.empty()) {
            EXPECT_EQ(count, 2u);
            ++stored;
        } else if (error[0] == '?') {
            EXPECT_NE(count, 1u);
            EXPECT_THAT(error, testing::HasSubstr(": it may have been stored nevertheless"));
        } else {
            EXPECT_EQ(count, 0u) << error;
            ++refused;
        }
    }
    EXPECT_GT(stored, 0);
    EXPECT_GT(refused, 0);
}

TYPED_TEST_P(ServerStorageTest, ServerThatIsDownOrStoppedStoresNothing) {
    const std::string host = this->Server().GetHost();
    KwStorageHolder kept(this->m_log), fresh(this->m_log);
    kept.Init(this->Item(host, this->LIMITED + std::string("|")));
    fresh.Init(this->Item(host, this->LIMITED + std::string("|MaxConnections=2|")));
    this->ExpectStoredInTime(kept, 1);
    this->Server().Stop();
    for (KwStorageHolder* const holder : {&kept, &fresh})
        this->ExpectInTime([&] { return StoreError(*holder, this->Row(2)); }, "no answer in time");
    this->Server().Continue();
    this->ExpectStoredInTime(kept, 3);
    this->ExpectStoredInTime(fresh, 4);
    this->Server().Kill();
    EXPECT_THAT(StoreError(kept, this->Row(5)),
                testing::AllOf(testing::StartsWith(host + ": "),
                               testing::HasSubstr(this->Get().GetRefusal())));
    this->Server().Restart();
    this->ExpectStoredInTime(kept, 6);
    std::string item = this->Item();
    const std::string password = "secret of the test";
    item.replace(item.find(password), password.size(), "wrong secret");
    KwStorageHolder stranger(this->m_log);
    stranger.Init(item);
    EXPECT_THAT(StoreError(stranger, this->Row(7)),
                testing::AllOf(testing::StartsWith(host + ": "),
                               testing::Not(testing::HasSubstr("wrong secret"))));
    EXPECT_THAT(this->Numbers(), testing::ElementsAre(1, 3, 4, 6));
}

TYPED_TEST_P(ServerStorageTest, AnswerThatStopsSomewhereCostsOneTimeout) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwStorageHolder holder(this->m_log);
    holder.Init(this->Item(proxy.GetHost(), this->LIMITED + std::string("|")));
    int number = 0;
    this->ExpectStoredInTime(holder, ++number);
    const std::size_t before = proxy.GetForwardedBytes();
    this->ExpectStoredInTime(holder, ++number);
    const std::size_t length = proxy.GetForwardedBytes() - before;
    // From the answer to the first statement to that to the commit.
    for (std::size_t bytes : {std::size_t(0), length / 2, length - 1}) {
        SCOPED_TRACE(bytes);
        const bool is_commit = bytes == length - 1;
        std::string error;
        typename TestFixture::Milliseconds time{0};
        for (int i = 0; i < 20; ++i) {
            // A new connection that has stored a record, and then hangs.
            proxy.SetFault(kwlookup::FaultyProxy::Fault::None);
            proxy.Disconnect();
            const int accepted = proxy.GetAcceptedCount();
            const std::size_t all = proxy.GetForwardedBytes();
            this->ExpectStoredInTime(holder, ++number);
            if (proxy.GetAcceptedCount() != accepted + 1)
                continue;
            proxy.SetFault(kwlookup::FaultyProxy::Fault::Hang,
                           proxy.GetForwardedBytes() - all + bytes);
            time = this->TimeOf([&] { error = StoreError(holder, this->Row(++number)); });
            if (is_commit && error.empty()) { // the answers are a few bytes shorter this time
                bytes -= length / 25;
                continue;
            }
            ASSERT_THAT(error, testing::HasSubstr("no answer in time"));
            const bool is_unknown = error.find("may have been stored") != std::string::npos;
            EXPECT_EQ(is_unknown, is_commit);
            EXPECT_TRUE(is_unknown || this->Numbers().count(number) == 0);
            if (time <= this->LIMIT + this->GRACE)
                break;
        }
        EXPECT_LE(time, this->LIMIT + this->GRACE);
    }
}

TYPED_TEST_P(ServerStorageTest, SlowStatementsOfARecordShareOneTimeout) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwStorageHolder holder(this->m_log);
    holder.Init(this->Item(proxy.GetHost(), this->LIMITED + std::string("|")));
    int number = 1;
    this->ExpectInTime([&] { return StoreError(holder, this->Row(1)); }, "no answer in time",
                       [&] {
                           proxy.SetDelay(typename TestFixture::Milliseconds(0));
                           this->ExpectStoredInTime(holder, ++number);
                           proxy.SetDelay(this->LIMIT * 2 / 3);
                       });
    EXPECT_EQ(this->Numbers().count(1), 0u);
}

TYPED_TEST_P(ServerStorageTest, EightThreadsStoreAtOnce) {
    constexpr int THREADS = 8;
    constexpr int ROWS = 10;
    KwStorageHolder holder(this->m_log);
    holder.Init(this->Item(this->Server().GetHost(), "MaxConnections=4|Timeout=1m|"));
    std::atomic<int> errors{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < ROWS; ++i)
                errors += !StoreError(holder, this->Row(thread * ROWS + i)).empty();
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(errors, 0);
    EXPECT_EQ(this->Numbers().size(), std::size_t(THREADS * ROWS));
}

REGISTER_TYPED_TEST_SUITE_P(ServerStorageTest, StoresValuesAsTheyAre, StoresABatchWholeOrNotAtAll,
                            AnItemEitherSearchesOrStores, StoresOnceWhateverBecomesOfTheConnection,
                            ServerThatIsDownOrStoppedStoresNothing,
                            AnswerThatStopsSomewhereCostsOneTimeout,
                            SlowStatementsOfARecordShareOneTimeout, EightThreadsStoreAtOnce);
