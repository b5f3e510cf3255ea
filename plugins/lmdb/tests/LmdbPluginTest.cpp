// SPDX-License-Identifier: MIT
#include "plugins/lmdb/tests/LmdbFile.h"
#include "support/DatabaseSupport.h"
#include "support/Rounds.h"

#include <map>
#include <random>
#include <set>

namespace {

using namespace std::string_literals;
using testing::EndsWith;

class LmdbPluginTest : public DatabaseTest {
protected:
    std::string Item(const std::string& rest = "$s") const {
        return "lmdb:OnError=exception|Database=" + m_name + "|" + rest;
    }

    void Make(const LmdbFile::Records& records, unsigned flags = 0) const {
        std::filesystem::remove(m_name);
        LmdbFile(m_name, flags).Put(records);
    }

    const std::string m_name = m_dir.Path("table.lmdb");
};

TEST_F(LmdbPluginTest, Answers) {
    const std::string large(1 << 20, 'x');
    Make({{"jdoe@corp.lan", "OK"},
          {"empty", ""},
          {"large", large},
          {"nul", "plain"},
          {"nul\0"s, "ended\0"s},
          {"ended\0"s, "\0"s},
          {"corp.lan", "domain"},
          {"jdoe", "user"},
          {"MIXED", "kept"},
          {"\xff\xfe"s, "\x80\0\xff"s},
          {std::string(511, 'k'), "long key"}});
    struct Case {
        std::string rest;
        std::string text;
        Answer answer;
    };
    const Case cases[] = {
        {"$s", "jdoe@corp.lan", {true, " OK", "jdoe@corp.lan"}},
        {"$s", "JDoe@Corp.Lan", {true, " OK", "jdoe@corp.lan"}},
        {"$s", "jdoe@corp.la", Miss()},
        {"$s", "jdoe@corp.lan ", Miss()},
        {"$s", "empty", {true, "", "empty"}},
        {"$s", "large", {true, " " + large, "large"}},
        {"$s", "mixed", Miss()},
        {"LowerCase=no|$s", "MIXED", {true, " kept", "MIXED"}},
        {"$s", "\xff\xfe", {true, " \x80\0\xff"s, "\xff\xfe"}},
        {"$s", std::string(511, 'k'), {true, " long key", std::string(511, 'k')}},
        {"$s", std::string(512, 'k'), Miss()},
        {"$s", large, Miss()},
        {"$d", "x@corp.lan", {true, " domain", "corp.lan"}},
        {"$u", "jdoe@x", {true, " user", "jdoe"}},
        {"$s", "nul", {true, " plain", "nul"}},
        {"TrailingNul=yes|$s", "nul", {true, " ended", "nul"}},
        {"TrailingNul=both|$s", "nul", {true, " plain", "nul"}},
        {"TrailingNul=both|AllValues=yes|$s", "nul", {true, " plain ended", "nul"}},
        {"TrailingNul=yes|$s", "ended", {true, "", "ended"}},
        {"TrailingNul=yes|$s", "jdoe", Miss()},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.rest + " on " + test.text.substr(0, 50));
        ExpectAnswer(Item(test.rest), test.text, 0, test.answer);
    }
    for (const std::string& text : HostileTexts())
        EXPECT_EQ(AskList(Item(), text), Miss());
}

TEST_F(LmdbPluginTest, AnEmptyDatabaseHasNoKey) {
    Make({});
    EXPECT_EQ(AskList(Item(), "a"), Miss());
    Make({{"a", "1"}});
    LmdbFile(m_name).Delete("a");
    EXPECT_EQ(AskList(Item(), "a"), Miss());
}

/// The records that the library wrote, and the answers that the plug-in must give.
class LmdbRandomTest : public LmdbPluginTest, public testing::WithParamInterface<unsigned> {};

TEST_P(LmdbRandomTest, EveryKeyAnswersAsItWasStored) {
    const unsigned flags = GetParam();
    std::mt19937 random(7);
    const auto below = [&](unsigned end) { return random() % end; };
    for (const unsigned count : {1U, 7U, 300U, 4000U}) {
        std::map<std::string, std::set<std::string>> expected;
        LmdbFile::Records records;
        for (unsigned i = 0; i < count; ++i) {
            std::string key(1 + below(below(8) == 0 ? 511 : 12), 'a');
            for (char& c : key)
                c = static_cast<char>('a' + below(3));
            // Sometimes enough values for a tree of their own.
            const unsigned values = flags == 0 ? 1 : below(200) == 0 ? 2000 : 1 + below(4);
            for (unsigned j = 0; j < values; ++j) {
                std::string value =
                    flags & MDB_DUPFIXED ? "12345678" : std::string(1 + below(40), 'v');
                for (std::size_t digit = 0, rest = i * 5000 + j; digit < value.size() && rest != 0;
                     ++digit, rest /= 10)
                    value[digit] = static_cast<char>('0' + rest % 10);
                if (flags == 0 && below(50) == 0)
                    value.resize(9000, 'l');
                if (flags == 0)
                    expected[key].clear();
                expected[key].insert(value);
                records.emplace_back(key, value);
            }
        }
        Make(records, flags);
        KwLookupHolder first(m_log), all(m_log);
        first.Init(Item());
        all.Init(Item("AllValues=yes|$s"));
        for (const auto& [key, values] : expected) {
            std::string joined;
            for (const std::string& value : values)
                joined += " " + value;
            ASSERT_EQ(Ask(first, key), (Answer{true, " " + *values.begin(), key}));
            ASSERT_EQ(Ask(all, key), (Answer{true, joined, key}));
            for (const std::string& other : {key + "a", key.substr(1), key + "\x01", "z" + key})
                ASSERT_EQ(Ask(first, other).found, expected.count(other) != 0) << other;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, LmdbRandomTest,
                         testing::Values(0U, unsigned(MDB_DUPSORT),
                                         unsigned(MDB_DUPSORT | MDB_DUPFIXED)));

TEST_F(LmdbPluginTest, WhatIsNoLmdbFileIsAnError) {
    struct Case {
        std::string bytes;
        std::string reason;
    };
    Make({{"a", "1"}});
    std::string other_version = ReadAll(m_name);
    other_version[20] = 2;
    const Case cases[] = {{"", "not a valid LMDB file"},
                          {"jdoe@corp.lan OK\n", "not a valid LMDB file"},
                          {std::string(10000, '\0'), "not a valid LMDB file"},
                          {std::string(10000, 'x'), "not a valid LMDB file"},
                          {other_version, "an LMDB file of another version"}};
    for (const Case& test : cases) {
        m_dir.Write("table.lmdb", test.bytes);
        EXPECT_EQ(SearchError(Item(), "a"), m_name + ": " + test.reason);
    }
    std::filesystem::remove(m_name);
    EXPECT_EQ(SearchError(Item(), "a"), m_name + ": No such file or directory");
    Make({{"a", "1"}}, MDB_REVERSEKEY);
    EXPECT_EQ(SearchError(Item(), "a"), m_name + ": the keys are not in the order of their bytes");
    std::filesystem::remove(m_name);
    LmdbFile(m_name).Put({{"a", "1"}}, "named");
    EXPECT_EQ(SearchError(Item(), "named"), m_name + ": the key is that of a database of its own");
    EXPECT_EQ(SearchError(Item("a"), "x"), "");
}

TEST_F(LmdbPluginTest, EveryTruncationIsAnErrorOrTheRightAnswer) {
    LmdbFile::Records records;
    for (int i = 100; i < 400; ++i)
        records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
    Make(records);
    const std::string bytes = ReadAll(m_name);
    for (std::size_t size = 0; size <= bytes.size(); size += 1024) {
        m_dir.Write("table.lmdb", bytes.substr(0, size));
        KwLookupHolder holder(m_log);
        holder.Init(Item());
        for (const char* number : {"100", "250", "399"}) {
            try {
                EXPECT_EQ(Ask(holder, "key"s + number).res, " value"s + number);
            } catch (const std::runtime_error& error) {
                EXPECT_THAT(error.what(), EndsWith(": not a valid LMDB file"));
                EXPECT_LT(size, bytes.size());
            }
        }
    }
}

TEST_F(LmdbPluginTest, NoChangedByteDoesMoreThanChangeAnAnswer) {
    LmdbFile::Records records;
    for (int i = 100; i < 500; ++i)
        records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
    records.emplace_back("long", std::string(9000, 'l'));
    Make(records, 0);
    const std::string whole = ReadAll(m_name);
    std::mt19937 random(11);
    for (int round = Rounds(300); round > 0; --round) {
        std::string bytes = whole;
        bytes[random() % bytes.size()] = static_cast<char>(random());
        m_dir.Write("table.lmdb", bytes);
        KwLookupHolder holder(m_log);
        holder.Init(Item());
        for (const char* key : {"key100", "key321", "key499", "long", "none"}) {
            try {
                EXPECT_LT(Ask(holder, key).res.size(), bytes.size());
            } catch (const std::runtime_error& error) {
                EXPECT_THAT(error.what(), testing::StartsWith(m_name + ": "));
            }
        }
    }
}

TEST_F(LmdbPluginTest, WhatOthersCommitAndReplaceIsSeen) {
    LmdbFile file(m_name);
    file.Put({{"a", "old"}});
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(Ask(holder, "a").res, " old");
    file.Put({{"a", "new"}});
    EXPECT_TRUE(Eventually([&] { return Ask(holder, "a").res == " new"; }));
    const std::string next = m_dir.Path("next");
    LmdbFile(next).Put({{"a", "replaced"}});
    Rename(next, m_name);
    EXPECT_TRUE(Eventually([&] { return Ask(holder, "a").res == " replaced"; }));
    Rename(m_name, next);
    EXPECT_TRUE(Eventually([&] { return SearchError(holder, "a") != ""; }));
}

// The file is as long as its map, so it is read during each search.
TEST_F(LmdbPluginTest, ALongFileAnswersAsItIsNow) {
    LmdbFile file(m_name, 0, MDB_WRITEMAP, 200 << 20);
    LmdbFile::Records records;
    for (int i = 0; i < 5000; ++i)
        records.emplace_back("key" + std::to_string(i), "old");
    file.Put(records);
    KwLookupHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(Ask(holder, "key4711").res, " old");
    EXPECT_EQ(Ask(holder, "key5000"), Miss());
    for (int i = 0; i < 5; ++i) {
        file.Put({{"key4711", "new" + std::to_string(i)}});
        EXPECT_EQ(Ask(holder, "key4711").res, " new" + std::to_string(i));
    }
}

TEST_F(LmdbPluginTest, WritesNothing) {
    Make({{"a", "1"}});
    const std::string before = ReadAll(m_name);
    EXPECT_TRUE(AskList(Item(), "a").found);
    EXPECT_FALSE(AskList(Item(), "b").found);
    EXPECT_EQ(ReadAll(m_name), before);
    std::vector<std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(m_dir.Path("")))
        files.push_back(file.path().filename());
    EXPECT_THAT(files, testing::UnorderedElementsAre("table.lmdb", "kwlookup.conf"));
}

} // namespace
