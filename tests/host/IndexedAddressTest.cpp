// SPDX-License-Identifier: MIT
// Searches random lists for addresses by an index and by a walk. The answers must not differ.
#include "kwhost/AddressFinder.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/StringList.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <malloc.h>
#include <memory>
#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kwlookup;
using namespace std::string_literals;
using Strings = std::vector<std::string>;

/// Hides that a finder has keys, so that the list is walked.
class Walked : public KwLookupFinder {
public:
    explicit Walked(const KwLookupFinder& finder) : m_finder(finder) {}
    bool Match(const std::string& value) const override { return m_finder.Match(value); }
    TextRange GetRequest() const override { return m_finder.GetRequest(); }
    std::string GetRes() const override { return m_finder.GetRes(); }
    void ClearRes() const override { m_finder.ClearRes(); }

private:
    const KwLookupFinder& m_finder;
};

/// The visible outcome of a search.
struct Seen {
    bool found;
    std::string res;
    std::string matched;
    std::string left_res;
    std::string left_value;

    bool operator==(const Seen& other) const {
        return found == other.found && res == other.res && matched == other.matched &&
               left_res == other.left_res && left_value == other.left_value;
    }
    friend std::ostream& operator<<(std::ostream& out, const Seen& seen) {
        return out << seen.found
                   << testing::PrintToString(
                          Strings{seen.res, seen.matched, seen.left_res, seen.left_value});
    }
};

class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}
    std::size_t Below(std::size_t end) { return m_engine() % end; }
    bool OneIn(std::size_t n) { return Below(n) == 0; }
    template <typename Container>
    const auto& Of(const Container& container) {
        return container[Below(std::size(container))];
    }

private:
    std::mt19937 m_engine;
};

std::locale OddLocale(Random& random) {
    TestBytes bytes;
    for (int i = 0; i < 3; ++i) {
        bytes.upper[random.Below(256)] = random.Of(std::string(".@aA \xe9"));
        bytes.upper[static_cast<unsigned char>(random.Of(std::string(".@abx \xe9")))] =
            static_cast<char>(random.Below(256));
        bytes.space[static_cast<unsigned char>(random.Of(std::string("ab.@ \t\xe9")))] ^= true;
    }
    return bytes.GetLocale();
}

std::locale RandomLocale(Random& random) {
    switch (random.Below(4)) {
    case 0:
        return TestBytes::Latin1().GetLocale();
    case 1:
        return OddLocale(random);
    default:
        return std::locale::classic();
    }
}

/// Makes random texts that are often related: addresses of the same domain, domains and their
/// sub-domains, and local parts.
class Texts {
public:
    explicit Texts(Random& random) : m_random(random) {
        static const std::string ALPHABETS[] = {
            "ab", "aAb", "abcdefgh", "a\xe9\xc9", "a.b@ ", std::string("a\0B", 3), "a\xa0\x80 \t"};
        m_alphabet = random.Of(ALPHABETS);
        if (random.OneIn(8))
            for (int byte = 0; byte < 256; ++byte)
                m_alphabet += static_cast<char>(byte);
        m_labels = 1 + random.Below(20);
        m_crowd = Text();
        m_is_crowded = random.OneIn(3);
    }

    std::string Text() {
        std::string text;
        if (m_is_crowded && m_random.OneIn(4))
            return m_crowd + Blanks() + Label();
        if (m_random.OneIn(10)) { // random bytes
            for (std::size_t left = m_random.Below(12); left > 0; --left)
                text += m_random.Of(std::string("aA.@<> \t\r\v\f\n\xa0\xe9\0b", 16));
            return text;
        }
        if (!m_random.OneIn(3))
            text = Label() + "@";
        const std::string domain = Domain();
        text += domain;
        if (m_random.OneIn(8))
            text = "<" + text + ">";
        if (m_random.OneIn(12))
            text = Blanks() + text + Blanks() + Label();
        return text;
    }

    std::string Value() {
        std::string key;
        if (m_is_crowded && m_random.OneIn(2)) // many values with one first word
            return m_crowd + Blanks() + Label() + Label();
        switch (m_random.Below(7)) {
        case 0:
            key = Label() + "@" + Domain();
            break;
        case 1:
            key = Label() + "@";
            break;
        case 2:
            key = "." + Domain();
            break;
        case 3:
            key = "@" + Domain();
            break;
        case 4:
            key = Text();
            break;
        default:
            key = Domain();
        }
        if (m_random.OneIn(6))
            key = Blanks() + key;
        if (m_random.OneIn(3))
            key += Blanks() + (m_random.OneIn(2) ? Label() + Blanks() + Label() : "");
        return key;
    }

private:
    std::string Label() {
        std::mt19937 engine(static_cast<unsigned>(m_random.Below(m_labels)));
        std::string label;
        for (std::size_t left = engine() % 5; left > 0; --left)
            label += m_alphabet[engine() % m_alphabet.size()];
        if (m_random.OneIn(4))
            for (char& c : label)
                c = std::toupper(c, std::locale());
        return label;
    }

    std::string Domain() {
        std::string domain = Label();
        while (m_random.OneIn(2))
            domain += "." + Label();
        return domain;
    }

    std::string Blanks() { return m_random.Of(Strings{" ", "\t", "  ", " \r", "\v\f", "\xa0"}); }

    Random& m_random;
    std::string m_alphabet;
    std::size_t m_labels;
    bool m_is_crowded = false;
    std::string m_crowd;
};

Seen Search(const KwIfLookup& list, const AddressFinder& finder, const KwLookupFinder& asked) {
    Seen seen{false, "before", "before", "", ""};
    seen.found = list.Find(asked, &seen.res, 0, &seen.matched);
    seen.left_res = finder.GetRes();
    seen.left_value = finder.GetMatchedValue();
    return seen;
}

/// Search both ways, and compare. Returns true for a match. `by_index` is of `text`.
bool Compare(const KwIfLookup& list, const AddressFinder& by_index, const std::string& text) {
    const AddressFinder by_walk(text);
    const Seen seen = Search(list, by_index, by_index);
    EXPECT_EQ(seen, Search(list, by_walk, Walked(by_walk))) << testing::PrintToString(text);
    return seen.found;
}

/// Inserts an '@' into the first word of `value` unless it has one.
void GiveAt(std::string& value, Random& random) {
    constexpr std::string_view BLANKS = " \t\n\r\v\f\xa0";
    const std::size_t begin = std::min(value.find_first_not_of(BLANKS), value.size());
    const std::size_t end = std::min(value.find_first_of(BLANKS, begin), value.size());
    if (value.find('@', begin) >= end)
        value.insert(begin + random.Below(end - begin + 1), "@");
}

TEST(IndexedAddress, TheIndexAnswersAsAWalk) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    int found = 0, ruled_out = 0;
    for (unsigned seed = 1; seed <= 100 || std::chrono::steady_clock::now() < end; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random random(seed);
        const bool may_change_locale = random.OneIn(2);
        const GlobalLocale global(may_change_locale ? RandomLocale(random) : std::locale());
        Texts texts(random);
        StringList list;
        Strings values;
        const bool only_addresses = random.OneIn(3);
        for (std::size_t left = 64 + random.Below(100); left > 0; --left) {
            values.push_back(values.empty() || !random.OneIn(6) ? texts.Value()
                                                                : random.Of(values));
            if (only_addresses)
                GiveAt(values.back(), random);
            list.Init(values.back());
        }
        for (int i = 0; i < 60; ++i) {
            if (random.OneIn(40))
                list.Init(texts.Value());
            if (random.OneIn(25))
                list.Find(AddressFinder("x"), nullptr,
                          FIND_EXACT | (random.OneIn(2) ? FIND_NOCASE : 0), nullptr);
            if (may_change_locale && random.OneIn(20))
                std::locale::global(RandomLocale(random));
            std::string text = random.OneIn(4) ? random.Of(values) : texts.Text();
            const AddressFinder finder(text), other(texts.Text());
            if (random.OneIn(2)) {
                const KwLookupFinder* const finders[] = {&other, &finder};
                list.Fetch(finders, 2, 0);
                if (finder.IsRuledOut()) {
                    ++ruled_out;
                    EXPECT_FALSE(Compare(list, finder, text));
                }
                if (random.OneIn(20))
                    list.Init(texts.Value());
                if (may_change_locale && random.OneIn(20))
                    std::locale::global(RandomLocale(random));
            }
            found += Compare(list, finder, text);
            if (testing::Test::HasFailure())
                return;
        }
    }
    EXPECT_GT(found, 1000);
    EXPECT_GT(ruled_out, 100);
}

/// A hundred values that match nothing, followed by `values`.
Strings Padded(const Strings& values) {
    Strings all;
    for (int i = 0; i < 100; ++i)
        all.push_back("nobody" + std::to_string(i) + "@nowhere.lan result");
    all.insert(all.begin() + 50, values.begin(), values.end());
    return all;
}

/// Also matches the word "anything", which its base class does not.
class WiderFinder : public AddressFinder {
public:
    using AddressFinder::AddressFinder;
    bool Match(const std::string& value) const override {
        return value == "anything" || AddressFinder::Match(value);
    }
};

TEST(IndexedAddress, ForADerivedFinderTheListIsWalked) {
    const StringList list(Padded({"anything"}));
    std::string res, matched;
    const WiderFinder finder("jdoe@corp.lan");
    {
        const FailingAllocation allocation(0);
        EXPECT_TRUE(list.Find(finder, &res, 0, &matched));
        EXPECT_FALSE(allocation.HasFailed()) << "an index for nothing";
    }
    EXPECT_EQ(matched, "anything");
    EXPECT_FALSE(list.Find(AddressFinder("jdoe@corp.lan"), &res, 0, nullptr));
}

TEST(IndexedAddress, ALongerLoadOfOneFileReplacesTheIndex) {
    const TempDir dir;
    std::string first, second;
    for (int i = 0; i < 100; ++i) {
        first += "old" + std::to_string(i) + ".lan\n";
        second += "new" + std::to_string(i) + ".lan\n";
    }
    KwFileLookup list;
    std::string res;
    for (const int flags : {0, FIND_EXACT + 0, FIND_EXACT | FIND_NOCASE}) {
        SCOPED_TRACE(flags);
        list.Init(dir.Write("list", first));
        EXPECT_TRUE(list.Find(AddressFinder("old7.lan"), &res, flags, nullptr));
        EXPECT_TRUE(list.Find(AddressFinder("old7.lan"), &res, 0, nullptr));
        list.Init(dir.Write("list", second));
        EXPECT_TRUE(list.Find(AddressFinder("new7.lan"), &res, 0, nullptr));
        EXPECT_FALSE(list.Find(AddressFinder("old7.lan"), &res, 0, nullptr));
        EXPECT_FALSE(list.Find(AddressFinder("old7.lan"), &res, flags, nullptr));
    }
}

TEST(IndexedAddress, ManyEqualKeysAreTriedInTheirOrder) {
    StringList list;
    std::string value;
    for (int i = 0; i < 200000; ++i) {
        value = "corp.lan";
        list.Push(value);
        value = "CORP.lan result " + std::to_string(i);
        list.Push(value);
    }
    std::string res, matched;
    EXPECT_TRUE(list.Find(AddressFinder("jdoe@corp.lan"), &res, 0, &matched));
    EXPECT_EQ(matched, "corp.lan");

    StringList results;
    for (int i = 0; i < 200000; ++i) {
        value = "corp.lan result " + std::to_string(i);
        results.Push(value);
    }
    for (int i = 0; i < 1000; ++i) // a walk would take a millisecond each time
        EXPECT_TRUE(results.Find(AddressFinder("jdoe@corp.lan"), &res, 0, nullptr));
    EXPECT_EQ(res, "result 0");
}

/// Counts the keys that a finder names for a list whose values have parts of these sizes.
class KeyCounter final : public FinderKeys {
public:
    explicit KeyCounter(const std::vector<std::size_t>& sizes, std::size_t most_dots = SIZE_MAX,
                        bool need_at = false)
        : FinderKeys(sizes, most_dots, need_at) {}

    std::size_t keys = 0, empty = 0, longest = 0, without_at = 0;

private:
    void Take(std::string_view key) override {
        ++keys;
        empty += key.empty() ? 1 : 0;
        longest = std::max(longest, key.size());
        without_at += key.find('@') == std::string_view::npos ? 1 : 0;
    }
    void TakeWholeValue(std::string_view value) override {
        if (value.size() <= GetLongest())
            Take(value);
    }
};

TEST(IndexedAddress, NoTextHasManyOrLongKeys) {
    constexpr std::size_t SIZE = 64 * 1024;
    const std::string fill(SIZE, 'x'), dots(SIZE, '.');
    std::string labels, ats;
    while (labels.size() < SIZE) {
        labels += "a.";
        ats += "@.";
    }
    std::vector<std::size_t> thousand(1000);
    std::iota(thousand.begin(), thousand.end(), 1);
    const struct {
        std::vector<std::size_t> sizes;
        std::size_t most_dots, endings;
    } lists[] = {{{8}, SIZE, 1},
                 {{0, 1, 8, 9}, SIZE, 4},
                 {{8, SIZE, 3 * SIZE}, SIZE, 3},
                 {{SIZE - 6, SIZE + 1, labels.size() + 1}, SIZE, 3},
                 {thousand, SIZE, 1000},
                 {thousand, 3, 3},
                 {thousand, 0, 0}};
    for (const auto& list : lists)
        for (const std::string& text :
             {fill, "x@" + dots, dots, dots + "lan", labels + "corp.lan", "x@" + labels, ats,
              std::string(SIZE, ' '), "<" + labels + ">", std::string(SIZE, '@')}) {
            KeyCounter counter(list.sizes, list.most_dots);
            ASSERT_TRUE(AddressFinder(text).GetKeys(counter));
            // Five keys are the text, the address, the local part and two forms of the domain.
            EXPECT_LE(counter.keys, list.endings + 5) << text.substr(0, 10) << "...";
            EXPECT_LE(counter.longest, list.sizes.back()) << text.substr(0, 10) << "...";
        }
}

TEST(IndexedAddress, NamesOnlyAddressesWhereOthersAreNotNeeded) {
    const struct {
        std::string text;
        std::size_t keys, without_at, left; ///< left of those when they are not needed
    } cases[] = {{"jdoe@mail.corp.lan", 6, 3, 0},
                 {"<jdoe@corp.lan>", 6, 2, 0},
                 {"corp.lan", 3, 2, 0},
                 {"<corp.lan>", 5, 4, 2},
                 {"@corp.lan", 4, 2, 0},
                 {"jdoe@", 2, 0, 0},
                 {"", 1, 1, 1}};
    std::vector<std::size_t> sizes(100);
    std::iota(sizes.begin(), sizes.end(), 0);
    for (const auto& c : cases) {
        KeyCounter all(sizes), needed(sizes, SIZE_MAX, true);
        ASSERT_TRUE(AddressFinder(c.text).GetKeys(all));
        ASSERT_TRUE(AddressFinder(c.text).GetKeys(needed));
        EXPECT_EQ(all.keys, c.keys) << c.text;
        EXPECT_EQ(all.without_at, c.without_at) << c.text;
        EXPECT_EQ(needed.keys - needed.without_at, c.keys - c.without_at) << c.text;
        EXPECT_EQ(needed.without_at, c.left) << c.text;
    }
}

/// Counts the calls of Match() of an AddressFinder.
class CountingFinder : public KeyedFinder {
public:
    explicit CountingFinder(const std::string& text) : m_finder(text) {}
    bool Match(const std::string& value) const override {
        ++matches;
        const bool match = m_finder.Match(value);
        if (m_finder.HasRes())
            NoteRes();
        return match;
    }
    TextRange GetRequest() const override { return m_finder.GetRequest(); }
    std::string GetRes() const override { return m_finder.GetRes(); }
    KeyPart GetKeyPart() const override { return m_finder.GetKeyPart(); }
    bool GetKeys(FinderKeys& keys) const override { return m_finder.GetKeys(keys); }

    mutable int matches = 0;

private:
    const AddressFinder m_finder;
};

TEST(IndexedAddress, ManyLinesWithOneFirstWordDelayNoText) {
    constexpr int MANY = 5000, FEW = 20;
    for (const std::string& word :
         Strings{"Re:", "@", ".", ".corp.lan", "<Re:", "jdoe@corp.lan", "@x", " "}) {
        StringList list;
        for (int i = 0; i < MANY; ++i)
            list.Init(word + " text " + std::to_string(i));
        list.Init(" " + word);
        for (const bool sorted : {false, true}) {
            if (sorted)
                list.Find(AddressFinder("x"), nullptr, FIND_EXACT, nullptr);
            for (const std::string& text :
                 {word, word + " text 0", word + " TEXT 4711", word + " text", word + " other",
                  " " + word, "  " + word, word + " ", "<" + word + " text 1>", "x" + word,
                  "x@" + word, "a" + word, "<>"s, ""s, word + " x@" + word, word + " x@lan"}) {
                SCOPED_TRACE("[" + text + "] sorted: " + std::to_string(sorted));
                Compare(list, AddressFinder(text), text);
                const CountingFinder finder(text);
                std::string res;
                list.Find(finder, &res, 0, nullptr);
                EXPECT_LE(finder.matches, FEW);
            }
        }
    }
}

TEST(IndexedAddress, WithoutMemoryForWholeValuesFirstWordsAreTried) {
    int calls = 0;
    for (bool failed = true; failed; ++calls) {
        ASSERT_LT(calls, 100);
        StringList list;
        for (int i = 0; i < 100; ++i)
            list.Init("Re: text " + std::to_string(i));
        std::string res, matched;
        list.Find(AddressFinder("x"), &res, 0, nullptr); // make the index of first words
        const AddressFinder finder("re: Text 77");
        matched.reserve(100);
        {
            const FailingAllocation allocation(calls);
            EXPECT_NO_THROW(list.Find(finder, &res, 0, &matched));
            failed = allocation.HasFailed();
        }
        EXPECT_EQ(matched, "Re: text 77");
    }
    EXPECT_GT(calls, 3);
}

TEST(IndexedAddress, ManyEmptyValuesDelayOnlyTextsThatMayEqualThem) {
    const std::vector<std::size_t> sizes = {0, 8};
    for (const char* text : {"corp.lan", "jdoe@corp.lan"}) {
        KeyCounter counter(sizes);
        ASSERT_TRUE(AddressFinder(text).GetKeys(counter));
        EXPECT_EQ(counter.empty, 0u) << text;
    }
    StringList list;
    std::string empty;
    for (int i = 0; i < 1000; ++i)
        list.Push(empty);
    std::string res;
    EXPECT_TRUE(list.Find(AddressFinder(""), &res, 0, nullptr));
    EXPECT_FALSE(list.Find(AddressFinder("corp.lan"), &res, 0, nullptr));
}

TEST(IndexedAddress, ALongLineDoesNotMakeALargeIndex) {
    constexpr std::size_t LINE = 8 << 20;
    const std::string line(LINE, 'x');
    StringList list(Padded({line, line + "yz", line + "y"}));
    std::string res;
    const auto before = ::mallinfo2();
    EXPECT_FALSE(list.Find(AddressFinder("x"), &res, 0, nullptr));
    const auto after = ::mallinfo2();
    EXPECT_LT(after.uordblks + after.hblkhd, before.uordblks + before.hblkhd + LINE / 32);
    for (const std::string& text : {line, line + "Y", line + "yz"})
        EXPECT_TRUE(list.Find(AddressFinder(text), &res, 0, nullptr));
    EXPECT_FALSE(list.Find(AddressFinder(line + "xyz"), &res, 0, nullptr));
}

TEST(IndexedAddress, ASearchAllocatesNothing) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
    const LogClass log("test");
    const TempDir dir;
    std::string lines;
    for (const std::string& line :
         Padded({"jdoe@mail.corp.lan REJECT", "a-rather-long-name@corp.lan reject", ".corp.lan no",
                 "root@", "plain.lan"}))
        lines += line + "\n";
    KwLookupHolder holder(log);
    holder.Init("file:" + dir.Write("list", lines));
    const AddressFinder warm("x");
    std::string res;
    holder.Find(warm, &res, 0, nullptr);
    for (const std::string text :
         {"jdoe@mail.corp.lan", "<jdoe@mail.corp.lan>", "A-rather-long-name@corp.lan",
          "somebody.else@a.b.c.d.corp.lan", "root@of.another.domain.lan", "x@plain.lan",
          "plain.lan", "not-on-the-list@anywhere.example.com", "two words", ""}) {
        const AddressFinder finder(text);
        res.clear();
        const FailingAllocation allocation(0);
        holder.Find(finder, &res, 0, nullptr);
        EXPECT_FALSE(allocation.HasFailed()) << text;
    }
}

TEST(IndexedAddress, WithoutMemoryForAnIndexTheListIsWalked) {
    const Strings values = Padded({"corp.lan OK"});
    for (const bool sorted : {false, true}) {
        int calls = 0;
        for (bool failed = true; failed; ++calls) {
            ASSERT_LT(calls, 100);
            const StringList list(values);
            std::string res;
            if (sorted) {
                list.Find(AddressFinder("x"), nullptr, FIND_EXACT, nullptr);
                list.Find(Walked(AddressFinder("x")), &res, 0, nullptr);
            }
            const AddressFinder finder("jdoe@corp.lan");
            bool found = false;
            {
                const FailingAllocation allocation(calls);
                EXPECT_NO_THROW(found = list.Find(finder, &res, 0, nullptr));
                failed = allocation.HasFailed();
            }
            EXPECT_TRUE(found);
            EXPECT_EQ(res, "OK");
        }
        EXPECT_GT(calls, 3);
    }
}

TEST(IndexedAddress, FetchingChangesNoAnswer) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
    const LogClass log("test");
    const TempDir dir;
    std::string lines;
    for (const std::string& line : Padded({"corp.lan OK", "jdoe@other.lan", std::string(300, 'x')}))
        lines += line + "\n";
    const std::string file = dir.Write("list", lines);
    const Strings texts = {"jdoe@corp.lan",
                           "jdoe@other.lan",
                           "nobody7@nowhere.lan result",
                           std::string(300, 'x'),
                           "",
                           "a.b.c.d.e.f@g.h.i.j.k.l.m"};
    const int all_flags[] = {0, FIND_EXACT, FIND_EXACT | FIND_NOCASE};
    for (const int flags : all_flags) {
        KwFileLookup list;
        list.Init(file);
        AddressFinder there("jdoe@other.lan");
        std::vector<std::unique_ptr<AddressFinder>> not_there;
        std::vector<const KwLookupFinder*> finders = {&there};
        for (int i = 0; i < 20; ++i) {
            not_there.push_back(
                std::make_unique<AddressFinder>(std::to_string(i) + "@nowhere.example"));
            finders.push_back(not_there.back().get());
        }
        const auto ruled_out = [&] {
            return std::count_if(not_there.begin(), not_there.end(),
                                 [](const auto& finder) { return finder->IsRuledOut(); });
        };
        std::string res;
        list.Fetch(finders.data(), finders.size(), flags);
        EXPECT_EQ(ruled_out(), 0) << "there is no index yet";
        list.Find(there, &res, flags, nullptr);
        list.Fetch(finders.data(), finders.size(), flags);
        EXPECT_FALSE(there.IsRuledOut());
        EXPECT_GT(ruled_out(), 10) << "by chance 1 in 40 may not be";
        for (const auto& finder : not_there)
            finder->SetText("jdoe@other.lan");
        EXPECT_EQ(ruled_out(), 0);
    }
    for (const int flags : all_flags) {
        for (const int fetched : all_flags) {
            SCOPED_TRACE(std::to_string(flags) + " after " + std::to_string(fetched));
            KwLookupHolder holder(log), plain(log);
            for (KwLookupHolder* each : {&holder, &plain})
                each->Init("literal, file:" + file);
            for (std::size_t round = 0; round < 4; ++round) {
                std::vector<std::unique_ptr<AddressFinder>> finders;
                std::vector<const KwLookupFinder*> pointers = {nullptr};
                for (std::size_t i = 0; i < 50; ++i) {
                    finders.push_back(std::make_unique<AddressFinder>(texts[i % texts.size()]));
                    pointers.push_back(finders.back().get());
                }
                holder.Fetch(pointers.data(), pointers.size(), fetched);
                holder.Fetch(pointers.data(), 0, flags);
                for (std::size_t i = 0; i < finders.size(); ++i) {
                    AddressFinder& finder = *finders[i];
                    if (round == 3) // what was fetched for the text before must be forgotten
                        finder.SetText(texts[(i + 1) % texts.size()]);
                    const TextRange request = finder.GetRequest();
                    const AddressFinder other(std::string(request.begin(), request.end()));
                    std::string res[2], matched[2];
                    EXPECT_EQ(holder.Find(finder, &res[0], flags, &matched[0]),
                              plain.Find(other, &res[1], flags, &matched[1]));
                    EXPECT_EQ(res[0], res[1]);
                    EXPECT_EQ(matched[0], matched[1]);
                }
            }
        }
    }
}

} // namespace
