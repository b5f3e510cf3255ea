// SPDX-License-Identifier: MIT
#include "lookup/KeyedFinder.h"
#include "lookup/builtin/KwDomainsLookup.h"
#include "lookup/builtin/StringList.h"
#include "support/RecordingLog.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace kwlookup;
using Strings = std::vector<std::string>;

/// Matches values that equal one of its keys under the global locale. With `keyed` false it hides
/// its keys, so that the list is walked.
template <typename Base>
class Keys : public Base {
public:
    explicit Keys(const Strings& keys) : m_keys(keys) {}

    bool Match(const std::string& value) const override {
        ++matches;
        const auto& ctype = std::use_facet<std::ctype<char>>(m_locale);
        const auto equal = [&](char l, char r) { return ctype.toupper(l) == ctype.toupper(r); };
        for (const std::string& key : m_keys)
            if (std::equal(key.begin(), key.end(), value.begin(), value.end(), equal))
                return true;
        return false;
    }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

    mutable int matches = 0;

protected:
    Strings m_keys;

private:
    const std::string m_text = "text";
    const std::locale m_locale;
};

using HiddenKeys = Keys<KwLookupFinder>;

class NamedKeys : public Keys<KeyedFinder> {
public:
    using Keys::Keys;
    KeyPart GetKeyPart() const override { return WholeValue; }
    bool GetKeys(FinderKeys& keys) const override {
        ++named;
        for (const std::string& key : m_keys)
            keys.Add(key);
        return true;
    }

    mutable int named = 0; ///< how often it named its keys
};

struct Answer {
    bool found;
    std::string matched;
    std::string res;

    bool operator==(const Answer& other) const {
        return found == other.found && matched == other.matched && res == other.res;
    }
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << answer.found << " [" << answer.matched << "] [" << answer.res << "]";
}

Answer Ask(const KwIfLookup& list, const KwLookupFinder& finder, int flags = 0) {
    Answer answer{false, "before", "before"};
    answer.found = list.Find(finder, &answer.res, flags, &answer.matched);
    return answer;
}

class KeyedWalk : public ::testing::Test {
protected:
    /// Compares a search by keys with a walk.
    void ExpectTheAnswerOfTheWalk(const KwIfLookup& list, const Strings& keys) {
        const NamedKeys named(keys);
        EXPECT_EQ(Ask(list, named), Ask(list, HiddenKeys(keys)));
    }

    std::string RandomText(std::size_t longest) {
        static const std::string bytes = "aAbB.\xe9\xc9\0z";
        std::string text;
        for (auto left = random() % (longest + 1); left > 0; --left)
            text += bytes[random() % bytes.size()];
        return text;
    }

    Strings RandomTexts(std::size_t count, std::size_t longest) {
        Strings texts;
        while (texts.size() < count)
            texts.push_back(RandomText(longest));
        return texts;
    }

    std::mt19937 random{12};
};

TEST_F(KeyedWalk, FindsTheFirstInTheCurrentOrder) {
    Strings values(100, "other");
    values[20] = "B";
    values[30] = "a";
    values[40] = "A";
    values[50] = "b";
    const StringList list(values);
    const NamedKeys finder({"a", "x", "b"});
    EXPECT_EQ(Ask(list, finder), (Answer{true, "B", "before"}));
    EXPECT_EQ(Ask(list, NamedKeys(Strings{"A"})), (Answer{true, "a", "before"}));
    EXPECT_EQ(Ask(list, NamedKeys(Strings{"x", ""})), (Answer{false, "before", ""}));
    EXPECT_EQ(Ask(list, NamedKeys(Strings{})), (Answer{false, "before", ""}));
    EXPECT_EQ(finder.matches, 1) << "it was walked for";
}

/// Compares its keys with a part of values that this library does not know.
class NewerKeys : public NamedKeys {
public:
    using NamedKeys::NamedKeys;
    KeyPart GetKeyPart() const override { return static_cast<KeyPart>(FirstWord + 1); }
};

TEST_F(KeyedWalk, CallsMatchForAnUnknownPart) {
    Strings values(100, "other");
    values[30] = "a";
    const StringList list(values);
    const NewerKeys finder({"A"});
    const KwLookupFinder* const finders[] = {&finder};
    list.Fetch(finders, 1, 0);
    EXPECT_EQ(Ask(list, finder).matched, "a");
    EXPECT_EQ(finder.matches, 31);
}

TEST_F(KeyedWalk, APrefetchedSearchNamesNoKeys) {
    Strings values(100, "other");
    values[30] = "a";
    const StringList list(values);
    ASSERT_TRUE(Ask(list, NamedKeys(Strings{"a"})).found);
    const Strings few = {"A", "x"}, many = {"other", "a", "OTHER", "A", "Other"};
    for (const Strings& keys : {few, many}) {
        auto finder = std::make_unique<const NamedKeys>(keys);
        const KwLookupFinder* const finders[] = {nullptr, finder.get()};
        list.Fetch(finders, 2, 0);
        EXPECT_EQ(finder->named, 1);
        const NamedKeys copy(*finder); // does not copy the prefetched keys
        EXPECT_EQ(Ask(list, *finder), Ask(list, HiddenKeys(keys)));
        EXPECT_EQ(finder->named, keys == few ? 1 : 2) << "it has room for a few";
        finder.reset();
        EXPECT_EQ(Ask(list, copy), Ask(list, HiddenKeys(keys)));
        EXPECT_EQ(copy.named, 2) << "the one of the other, and its own";
    }
}

TEST_F(KeyedWalk, APrefetchedExactSearchSeesAListThatHasGrown) {
    StringList list(Strings{"other"});
    const NamedKeys finder(Strings{}); // asks for "text"
    ASSERT_FALSE(Ask(list, finder, FIND_EXACT).found);
    const KwLookupFinder* const finders[] = {&finder};
    for (const bool found : {false, true}) {
        list.Fetch(finders, 1, FIND_EXACT);
        EXPECT_EQ(Ask(list, finder, FIND_EXACT).found, found);
        EXPECT_EQ(Ask(list, NamedKeys(finder), FIND_EXACT).found, found) << "a copy";
        list.Init("text");
        EXPECT_TRUE(Ask(list, finder, FIND_EXACT).found);
    }
}

TEST_F(KeyedWalk, DoesNotSort) {
    Strings values(100, "m");
    values[1] = "b";
    values[2] = "a";
    const StringList list(values);
    const Strings keys = {"a", "b"};
    EXPECT_EQ(Ask(list, NamedKeys(keys)).matched, "b");
    EXPECT_EQ(Ask(list, HiddenKeys(keys)).matched, "b") << "the order has changed";
    EXPECT_EQ(Ask(list, NamedKeys(keys), FIND_EXACT | FIND_NOCASE).found, false);
    EXPECT_EQ(Ask(list, NamedKeys(keys)).matched, "a") << "now it is sorted";
    EXPECT_EQ(Ask(list, HiddenKeys(keys)).matched, "a");
}

TEST_F(KeyedWalk, SeesPushedValues) {
    StringList list{Strings(100, "other")};
    EXPECT_FALSE(Ask(list, NamedKeys(Strings{"late"})).found);
    list.Init("Late");
    EXPECT_EQ(Ask(list, NamedKeys(Strings{"late"})).matched, "Late");
    Ask(list, NamedKeys(Strings{}), FIND_EXACT | FIND_NOCASE);
    list.Init("later");
    EXPECT_EQ(Ask(list, NamedKeys(Strings{"later"})).matched, "later");
}

TEST_F(KeyedWalk, AnswersAsTheWalk) {
    const int sorts[] = {-1, FIND_EXACT, FIND_EXACT | FIND_NOCASE};
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        StringList list(RandomTexts(60 + random() % 200, 1 + random() % 6));
        for (const int sort : sorts) {
            if (sort >= 0) {
                list.Init("X"); // unsorted again
                Ask(list, HiddenKeys(Strings{}), sort);
            }
            for (int i = 0; i < 10; ++i)
                ExpectTheAnswerOfTheWalk(list, RandomTexts(random() % 6, 5));
        }
    }
}

TEST_F(KeyedWalk, AnswersAsTheWalkAfterLocaleChanges) {
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        StringList list(RandomTexts(100, 4));
        const Strings keys = RandomTexts(4, 4);
        ExpectTheAnswerOfTheWalk(list, keys);
        const GlobalLocale latin(TestBytes::Latin1().GetLocale());
        ExpectTheAnswerOfTheWalk(list, keys);
        list.Init("X");
        ExpectTheAnswerOfTheWalk(list, keys);
        {
            const GlobalLocale classic(std::locale::classic());
            ExpectTheAnswerOfTheWalk(list, keys);
        }
        ExpectTheAnswerOfTheWalk(list, keys);
    }
}

TEST_F(KeyedWalk, TakesKeysAndValuesOfAnyLength) {
    Strings values = RandomTexts(100, 600);
    values.push_back(std::string(1 << 20, 'x'));
    const StringList list(values);
    ExpectTheAnswerOfTheWalk(list, {std::string(1 << 20, 'X')});
    ExpectTheAnswerOfTheWalk(list, {std::string(2 << 20, 'x'), values[7]});
    for (int i = 0; i < 50; ++i)
        ExpectTheAnswerOfTheWalk(list, {values[random() % 100], values[random() % 100]});
}

/// Hides the keys of the domains lookup's finder.
class Unkeyed : public KwLookupFinder {
public:
    explicit Unkeyed(const KwLookupFinder& finder) : m_finder(finder) {}
    bool Match(const std::string& value) const override { return m_finder.Match(value); }
    TextRange GetRequest() const override { return m_finder.GetRequest(); }

private:
    const KwLookupFinder& m_finder;
};

/// Searches its list in both ways, and records differences.
class BothWays : public KwIfLookup {
public:
    explicit BothWays(const Strings& values) : m_list(values) {}
    void Init(const std::string&) override {}
    std::string GetDescription() const override { return std::string(); }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool Find(const KwLookupFinder& finder, std::string*, int flags, std::string*) const override {
        const Answer answer = Ask(m_list, finder, flags);
        EXPECT_EQ(answer, Ask(m_list, Unkeyed(finder), flags));
        found += answer.found;
        return answer.found;
    }

    mutable int found = 0;

private:
    StringList m_list;
};

TEST_F(KeyedWalk, AnswersForDomainsAsTheWalk) {
    RecordingLog::Silence();
    LogClass log("domains");
    int found = 0;
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        KwDomainsLookup domains(log);
        BothWays* const both = new BothWays(RandomTexts(100, 5));
        domains.AddObject(static_cast<KwIfLookup*>(both));
        for (int i = 0; i < 50; ++i) {
            const std::string text = RandomText(8);
            domains.FindDomain(TextRange(text.begin(), text.end()), true);
        }
        found += both->found;
    }
    EXPECT_GT(found, 500);
}

TEST_F(KeyedWalk, ADomainOfAMillionDotsIsSearchedQuickly) {
    RecordingLog::Silence();
    LogClass log("domains");
    KwDomainsLookup domains(log);
    Strings values(100, "corp.lan");
    values.push_back(std::string(1 << 20, '.') + "x");
    domains.AddObject(static_cast<KwIfLookup*>(new StringList(values)));
    const std::string text = std::string(1 << 20, '.') + "lan";
    EXPECT_FALSE(domains.FindDomain(TextRange(text.begin(), text.end()), true));
}

TEST_F(KeyedWalk, DotsCostNoTimeIfNoEntryHasThem) {
    RecordingLog::Silence();
    LogClass log("domains");
    KwDomainsLookup domains(log);
    domains.AddObject(static_cast<KwIfLookup*>(new StringList(Strings(100, "corp.lan"))));
    const std::string text = "x@" + std::string(1 << 20, '.');
    // With a key for each dot, a search takes 7 ms, and all of them take a minute.
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 10000; ++i)
        EXPECT_FALSE(domains.FindAddr(TextRange(text.begin(), text.end()), true));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

} // namespace
