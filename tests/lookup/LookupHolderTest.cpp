// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/KwStrLookup.h"
#include "support/RecordingLog.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

/// How a NotingLookup behaves, and which calls it got.
struct Notes {
    bool answer = true;
    std::string result;
    std::string matched;
    std::string description;
    const LogClass* log = nullptr;
    bool fails = false;
    std::function<void()> on_search;

    int searches = 0;
    int flags = -1;
    std::string res_before = "not searched";
    const std::string* matched_pointer = nullptr;
};

/// Writes its name into `events` when it gets a log or is destroyed.
class NotingLookup : public KwIfLookup {
public:
    NotingLookup(const std::string& name, Notes& notes, Strings& events)
        : m_name(name), m_notes(notes), m_events(events) {}
    ~NotingLookup() override { m_events.push_back("~" + m_name); }

    void Init(const std::string&) override {}
    std::string GetDescription() const override { return m_notes.description; }
    void InitLog(const LogClass& log) override {
        m_notes.log = &log;
        m_events.push_back(m_name);
    }
    const LogClass* GetLogPtr() const override { return m_notes.log; }
    bool Find(const KwLookupFinder&, std::string* res, int flags,
              std::string* matched) const override {
        ++m_notes.searches;
        m_notes.flags = flags;
        m_notes.res_before = res ? *res : "no string";
        m_notes.matched_pointer = matched;
        if (m_notes.on_search)
            m_notes.on_search();
        if (m_notes.fails)
            throw std::runtime_error("no answer");
        if (m_notes.answer && matched && !m_notes.matched.empty())
            *matched = m_notes.matched;
        *res = m_notes.result;
        return m_notes.answer;
    }

private:
    const std::string m_name;
    Notes& m_notes;
    Strings& m_events;
};

class LookupHolder : public ::testing::Test {
protected:
    LookupHolder() { RecordingLog::Reset(); }

    void Add(const std::string& name, Notes& notes) {
        holder.AddObject(static_cast<KwIfLookup*>(new NotingLookup(name, notes, events)));
    }

    bool Find(std::string* res, std::string* matched, int flags = 0) {
        return holder.Find(TextFinder("request"), res, flags, matched);
    }

    LogClass log{"holder"};
    LogClass own_log{"lookup"};
    Strings events;
    Notes a;
    Notes b;
    Notes c;
    KwLookupHolder holder{log};
};

TEST_F(LookupHolder, FindsNothingWhenItIsEmpty) {
    std::string res = "before";
    std::string matched = "before";
    EXPECT_FALSE(Find(&res, &matched));
    EXPECT_FALSE(Find(nullptr, nullptr));
    EXPECT_EQ(res, "before");
    EXPECT_EQ(matched, "before");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LookupHolder, GathersTheResultsOfAllLookups) {
    a.result = "a";
    b.answer = false;
    b.result = "not told";
    c.result = "c";
    Add("a", a);
    Add("b", b);
    Add("c", c);
    std::string res;
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(res, " a c");
    for (const Notes& notes : {a, b, c}) {
        EXPECT_EQ(notes.searches, 1);
        EXPECT_EQ(notes.res_before, "");
    }
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(res, " a c a c");
}

TEST_F(LookupHolder, AddsNothingForAnEmptyResult) {
    Add("a", a);
    Add("b", b);
    std::string res = "x";
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(res, "x");
    EXPECT_EQ(b.searches, 1);
}

TEST_F(LookupHolder, StopsAtTheFirstMatchWithoutAResultString) {
    a.answer = false;
    b.result = "b";
    Add("a", a);
    Add("b", b);
    Add("c", c);
    EXPECT_TRUE(Find(nullptr, nullptr));
    EXPECT_EQ(a.searches, 1);
    EXPECT_EQ(a.res_before, "") << "a lookup always gets a result string";
    EXPECT_EQ(b.searches, 1);
    EXPECT_EQ(c.searches, 0);
}

TEST_F(LookupHolder, AsksTheLookupsThatItHadAtTheStartOfTheSearch) {
    a.on_search = [this, added = false]() mutable {
        if (!added)
            Add("b", b);
        added = true;
    };
    Add("a", a);
    std::string res;
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(b.searches, 0);
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(b.searches, 1);
}

TEST_F(LookupHolder, FindsNothingWhenNoLookupMatches) {
    a.answer = b.answer = false;
    Add("a", a);
    Add("b", b);
    std::string res = "x";
    EXPECT_FALSE(Find(&res, nullptr));
    EXPECT_FALSE(Find(nullptr, nullptr));
    EXPECT_EQ(res, "x");
    EXPECT_EQ(b.searches, 2);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LookupHolder, PassesFlagsUnchanged) {
    Add("a", a);
    for (const int flags : {0, 1, 2, 4, 8, 10, 11, 15, 0x40000000, -1}) {
        Find(nullptr, nullptr, flags);
        EXPECT_EQ(a.flags, flags);
    }
}

TEST_F(LookupHolder, PassesTheMatchedStringOfTheCallerToAllLookups) {
    a.matched = "from a";
    c.matched = "";
    b.matched = "from b";
    Add("a", a);
    Add("b", b);
    Add("c", c);
    std::string res;
    std::string matched = "before";
    EXPECT_TRUE(Find(&res, &matched));
    EXPECT_EQ(matched, "from b");
    for (const Notes& notes : {a, b, c})
        EXPECT_EQ(notes.matched_pointer, &matched);
}

TEST_F(LookupHolder, KeepsTheResultsGatheredBeforeAFailure) {
    a.result = "a";
    b.fails = true;
    Add("a", a);
    Add("b", b);
    Add("c", c);
    std::string res;
    EXPECT_THROW(Find(&res, nullptr), std::runtime_error);
    EXPECT_EQ(res, " a");
    EXPECT_EQ(c.searches, 0);
    b.fails = false;
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(res, " a a");
}

TEST_F(LookupHolder, LogsEachMatch) {
    a.matched = "value a";
    a.description = "list a";
    a.log = &own_log;
    b.matched = "value b";
    Add("a", a);
    Add("b", b);
    std::string res;
    Find(&res, nullptr);
    EXPECT_THAT(RecordingLog::GetLines(),
                ElementsAre(RecordingLog::Line{DEBUG, "lookup",
                                               "KwLookupHolder::Find: found request matched with "
                                               "value a (from list a)"},
                            RecordingLog::Line{
                                DEBUG, "holder",
                                "KwLookupHolder::Find: found request matched with value b"}));
    RecordingLog::Reset();
    Find(nullptr, nullptr);
    EXPECT_EQ(RecordingLog::GetLines().size(), 1U);
}

TEST_F(LookupHolder, LogsNoMatchWithoutAValue) {
    Add("a", a);
    std::string res;
    std::string matched;
    Find(&res, nullptr);
    Find(&res, &matched);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LookupHolder, UsesOneMatchedStringForTheWholeSearch) {
    a.matched = "value a";
    Add("a", a);
    Add("b", b);
    std::string res;
    Find(&res, nullptr);
    EXPECT_EQ(a.matched_pointer, b.matched_pointer);
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("KwLookupHolder::Find: found request matched with value a",
                            "KwLookupHolder::Find: found request matched with value a"));
}

TEST_F(LookupHolder, LogsAsTheLevelsOfBothLogsRequire) {
    a.matched = "value";
    a.log = &own_log;
    b.matched = "value";
    Add("a", a);
    Add("b", b);
    struct Case {
        bool holder_debug;
        bool own_debug;
        bool with_matched;
        Strings loggers;
        bool gets_matched;
    };
    const Case cases[] = {
        {false, false, false, {}, false},
        {false, false, true, {}, true},
        // Only the holder's own log makes it request the value.
        {false, true, false, {}, false},
        {false, true, true, {"lookup"}, true},
        {true, false, false, {"holder"}, true},
        {true, false, true, {"holder"}, true},
        {true, true, false, {"lookup", "holder"}, true},
        {true, true, true, {"lookup", "holder"}, true},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(::testing::Message()
                     << test.holder_debug << test.own_debug << test.with_matched);
        RecordingLog::Reset();
        // A log without a name has no level enabled.
        log = LogClass(test.holder_debug ? "holder" : "");
        own_log = LogClass(test.own_debug ? "lookup" : "");
        std::string res;
        std::string matched;
        EXPECT_TRUE(Find(&res, test.with_matched ? &matched : nullptr));
        Strings loggers;
        for (const RecordingLog::Line& line : RecordingLog::GetLines())
            loggers.push_back(line.logger);
        EXPECT_EQ(loggers, test.loggers);
        EXPECT_EQ(a.matched_pointer != nullptr, test.gets_matched);
        EXPECT_EQ(b.matched_pointer != nullptr, test.gets_matched);
    }
}

TEST_F(LookupHolder, LogsTextsOfAnyBytes) {
    using namespace std::string_literals;
    a.matched = "\xff\0%s\n"s;
    Add("a", a);
    holder.Find(TextFinder("\0\xe9"s), nullptr, 0, nullptr);
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("KwLookupHolder::Find: found \\0\xe9 matched with \xff\\0%s\n"));
}

TEST_F(LookupHolder, PassesALogToItsLookupsInOrder) {
    Add("a", a);
    Add("b", b);
    holder.InitLog(own_log);
    EXPECT_THAT(events, ElementsAre("a", "b"));
    EXPECT_EQ(a.log, &own_log);
    EXPECT_EQ(b.log, &own_log);
    EXPECT_EQ(holder.GetLogPtr(), &log);
}

TEST_F(LookupHolder, DestroysItsLookupsInOrder) {
    Add("a", a);
    Add("b", b);
    holder.ClearObjects();
    EXPECT_THAT(events, ElementsAre("~a", "~b"));
    EXPECT_TRUE(holder.Empty());
    holder.ClearObjects();
    {
        KwLookupHolder other(log);
        for (const char* name : {"c", "d"})
            other.AddObject(static_cast<KwIfLookup*>(new NotingLookup(name, c, events)));
    }
    EXPECT_THAT(events, ElementsAre("~a", "~b", "~c", "~d"));
    Add("e", c);
    std::unique_ptr<KwIfObject> object(new KwLookupHolder(log));
    dynamic_cast<KwLookupHolder&>(*object).AddObject(
        static_cast<KwIfLookup*>(new NotingLookup("f", c, events)));
    object.reset();
    EXPECT_EQ(events.back(), "~f");
}

TEST_F(LookupHolder, IgnoresNull) {
    holder.AddObject(nullptr);
    EXPECT_TRUE(holder.Empty());
    EXPECT_EQ(holder.GetObjects().size(), 0U);
    Add("a", a);
    holder.AddObject(nullptr);
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_FALSE(holder.Empty());
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LookupHolder, NamesItsKindAndItsCreator) {
    EXPECT_STREQ(holder.GetNameFromLib(), "CreateLookup");
    EXPECT_EQ(holder.GetNameForLog(), "lookup");
    EXPECT_EQ(&holder.GetNameForLog(), &KwLookupHolder(log).GetNameForLog());
}

TEST_F(LookupHolder, MakesAStringOfAnUntypedItem) {
    const std::unique_ptr<KwIfLookup> made(static_cast<KwIfLookup*>(holder.GetDefObject("Alpha")));
    EXPECT_NE(dynamic_cast<const KwStrLookup*>(made.get()), nullptr);
    std::string matched;
    EXPECT_TRUE(made->Find(TextFinder("Alpha"), nullptr, FIND_EXACT, &matched));
    EXPECT_EQ(matched, "Alpha");
    EXPECT_TRUE(holder.Empty());
}

TEST_F(LookupHolder, MakesBuiltinTypesOnly) {
    int other = 0;
    void* added = &other;
    const std::unique_ptr<KwIfObject> file(holder.GetObjectByName("file", "ignored", added));
    ASSERT_NE(file, nullptr);
    const auto* lookup = dynamic_cast<const KwFileLookup*>(file.get());
    ASSERT_NE(lookup, nullptr);
    EXPECT_EQ(added, static_cast<const KwIfLookup*>(lookup));

    added = &other;
    EXPECT_EQ(holder.GetObjectByName("mysql", "x", added), nullptr);
    EXPECT_EQ(added, nullptr);

    for (const char* type : {"nosuch", "FILE", "value", "", "../x"}) {
        try {
            holder.GetObjectByName(type, "x", added);
            ADD_FAILURE() << type;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "unknown id '" + std::string(type) + "'");
        }
    }
}

/// The smallest lookup that a creator can return.
class SharedLookup : public KwIfSharedLookup {
public:
    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return false; }
    void PostInit() override {}
    void Init(const std::string&) override {}
    std::string GetDescription() const override { return ""; }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return false;
    }
};

const LogClass* g_creator_log;

KwIfSharedLookup* CreateShared(const LogClass& log) {
    g_creator_log = &log;
    return new SharedLookup;
}

KwIfSharedLookup* CreateNone(const LogClass&) {
    return nullptr;
}

TEST_F(LookupHolder, CallsTheCreatorOfAPlugIn) {
    int other = 0;
    void* added = &other;
    const std::unique_ptr<KwIfSharedObject> object(
        holder.CreateObject(reinterpret_cast<void*>(CreateShared), own_log, added));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(g_creator_log, &own_log);
    EXPECT_EQ(added, static_cast<KwIfLookup*>(dynamic_cast<SharedLookup*>(object.get())));

    added = &other;
    EXPECT_EQ(holder.CreateObject(reinterpret_cast<void*>(CreateNone), own_log, added), nullptr);
    EXPECT_EQ(added, nullptr);
    EXPECT_TRUE(holder.Empty());
}

TEST_F(LookupHolder, IsOneObjectThroughAllItsViews) {
    KwIfLookup& lookup = holder;
    KwObjectHolder& objects = holder;
    EXPECT_EQ(static_cast<KwIfObject*>(&lookup), static_cast<KwIfObject*>(&objects));
    EXPECT_EQ(lookup.GetLogPtr(), &log);
    EXPECT_EQ(objects.GetLogPtr(), &log);
    lookup.Init("a");
    EXPECT_EQ(objects.GetDescription(), "a");
    EXPECT_EQ(dynamic_cast<KwObjectHolder*>(&lookup), &objects);
    EXPECT_TRUE(lookup.Find(TextFinder("a"), nullptr, 0, nullptr));
}

TEST_F(LookupHolder, MayStandInAnotherHolder) {
    LogClass inner_log("inner");
    auto inner = std::make_unique<KwLookupHolder>(inner_log);
    inner->Init("a, b");
    holder.Init("c");
    holder.AddObject(static_cast<KwIfLookup*>(inner.release()));
    std::string matched;
    EXPECT_TRUE(holder.Find(TextFinder("b"), nullptr, FIND_EXACT, &matched));
    EXPECT_EQ(matched, "b");
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(
            RecordingLog::Line{DEBUG, "inner", "KwLookupHolder::Find: found b matched with b"},
            RecordingLog::Line{DEBUG, "inner",
                               "KwLookupHolder::Find: found b matched with b (from a, b)"}));
    EXPECT_FALSE(holder.Find(TextFinder("d"), nullptr, 0, nullptr));
}

TEST_F(LookupHolder, PrecedesEachResultByABlankAtEveryDepth) {
    auto inner = std::make_unique<KwLookupHolder>(log);
    a.result = "a";
    b.result = "b";
    inner->AddObject(static_cast<KwIfLookup*>(new NotingLookup("a", a, events)));
    inner->AddObject(static_cast<KwIfLookup*>(new NotingLookup("b", b, events)));
    holder.AddObject(static_cast<KwIfLookup*>(inner.release()));
    std::string res;
    EXPECT_TRUE(Find(&res, nullptr));
    EXPECT_EQ(res, "  a b");
}

TEST_F(LookupHolder, WritesToTheLoggerFromBeforeTheSearch) {
    a.matched = "value";
    a.on_search = [this] { a.log = &own_log; };
    Add("a", a);
    std::string matched;
    EXPECT_TRUE(Find(nullptr, &matched));
    EXPECT_EQ(RecordingLog::GetLines().back().logger, "holder");
    EXPECT_TRUE(Find(nullptr, &matched));
    EXPECT_EQ(RecordingLog::GetLines().back().logger, "lookup");
}

TEST_F(LookupHolder, SearchesDomainsAndStopsAtTheFirst) {
    a.answer = false;
    Add("a", a);
    Add("b", b);
    Add("c", c);
    for (const int flags : {FIND_DOMAIN | FIND_NOCASE, FIND_DOMAIN | FIND_NOCASE | FIND_EXACT}) {
        EXPECT_TRUE(Find(nullptr, nullptr, flags));
        EXPECT_EQ(b.flags, flags);
    }
    EXPECT_EQ(c.searches, 0);
}

} // namespace
