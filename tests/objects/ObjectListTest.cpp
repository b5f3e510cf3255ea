// SPDX-License-Identifier: MIT
#include "lookup/KwFactory.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwStrLookup.h"
#include "objects/TestPlugins.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

KwIfLookup* MakeNothing(const std::string&) {
    return nullptr;
}

int g_alive = 0;
int g_most_alive = 0;

class CountedLookup : public KwStrLookup {
public:
    explicit CountedLookup(const std::string& text) : KwStrLookup(text) {
        g_most_alive = std::max(g_most_alive, ++g_alive);
    }
    ~CountedLookup() override { --g_alive; }
};

KwIfLookup* MakeCounted(const std::string& text) {
    return new CountedLookup(text);
}

class ObjectList : public ::testing::Test {
protected:
    ObjectList() { TakeErrors(); }

    void ExpectThrowOfInit(const std::string& list, const std::string& reason) {
        SCOPED_TRACE(list);
        try {
            holder.Init(list);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), reason);
        }
    }

    LogClass log{"holder"};
    KwLookupHolder holder{log};
};

TEST_F(ObjectList, StartsEmpty) {
    EXPECT_TRUE(holder.Empty());
    EXPECT_EQ(holder.GetDescription(), "");
    EXPECT_EQ(holder.GetLogPtr(), &log);
}

TEST_F(ObjectList, HoldsLiteralsInOrder) {
    using namespace std::string_literals;
    const std::string list = R"(b, a,value:c ,Value:D, a b:c,:e, x\,y, " q ", value:file:/x, )"
                             "\xe9, a\0b"s;
    holder.Init(list);
    EXPECT_THAT(Values(holder), ElementsAre("b", "a", "c", "D", "a b:c", "e", "x,y", " q ",
                                            "file:/x", "\xe9", "a\0b"s));
    EXPECT_EQ(holder.GetDescription(), list);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(ObjectList, CountsEmptyItems) {
    holder.Init("");
    EXPECT_TRUE(holder.Empty());
    holder.Init("a,,b");
    EXPECT_THAT(Values(holder), ElementsAre("a", "", "b"));
    holder.Init("a,");
    EXPECT_THAT(Values(holder), ElementsAre("a"));
    holder.Init("a, ");
    EXPECT_THAT(Values(holder), ElementsAre("a", ""));
}

TEST_F(ObjectList, IsReplacedByTheNextOne) {
    holder.Init("a, b");
    holder.Init("c");
    EXPECT_THAT(Values(holder), ElementsAre("c"));
    EXPECT_EQ(holder.GetDescription(), "c");
    holder.Init("nosuch:x");
    EXPECT_TRUE(holder.Empty());
    EXPECT_EQ(holder.GetDescription(), "nosuch:x");
}

TEST_F(ObjectList, IsDestroyedBeforeTheNextOneIsMade) {
    KwFactory<KwIfLookup>::Instance().Register("counted", MakeCounted);
    holder.Init("counted:a, counted:b");
    holder.Init("counted:c, counted:d");
    EXPECT_THAT(Values(holder), ElementsAre("c", "d"));
    EXPECT_EQ(g_alive, 2);
    EXPECT_EQ(g_most_alive, 2);
}

TEST_F(ObjectList, CanBeRebuiltFromItsDescription) {
    const std::string list = "a, \"b,c\"";
    holder.Init(list);
    holder.Init(holder.GetDescription());
    EXPECT_THAT(Values(holder), ElementsAre("a", "b,c"));
}

TEST_F(ObjectList, ThatCannotBeSplitThrowsAndLeavesNothing) {
    holder.Init("old");
    ExpectThrowOfInit("a, \"b, c", "can't find final '\"' symbol");
    EXPECT_TRUE(holder.Empty());
    EXPECT_EQ(holder.GetDescription(), "a, \"b, c");
    ExpectThrowOfInit("a, b\\", "can't find sybol after '\\'");
    ExpectThrowOfInit("\"a\\", "can't find final '\"' symbol");
    EXPECT_TRUE(holder.Empty());
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_THAT(TakeErrors(), IsEmpty());
    holder.Init("new");
    EXPECT_THAT(Values(holder), ElementsAre("new"));
}

TEST_F(ObjectList, LoadsFiles) {
    const TempDir directory;
    const std::string file = directory.Write("list", "one\ntwo\n");
    holder.Init("a, FILE:" + file + ", b");
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(RecordingLog::Line{DEBUG, "holder",
                                       "KwObjectHolder: Success create lookup with name "
                                       "'file' and params '" +
                                           file + "'"},
                    RecordingLog::Line{DEBUG, "holder",
                                       "KwFileLookup: loaded 2 records from " + file + " file."}));
    EXPECT_THAT(Values(holder), ElementsAre("a", "one", "two", "b"));
    EXPECT_EQ(holder.GetObjects()[1].GetDescription(), file);
}

TEST_F(ObjectList, CollectsTheErrorOfAFileAndGoesOn) {
    const TempDir directory;
    const std::string missing = directory.Path("missing");
    holder.Init("a, file:" + missing + ", file:" + directory.Path("") + ", file:, b");
    EXPECT_THAT(Values(holder), ElementsAre("a", "b"));
    const Strings errors = {
        "Error in init lookup [file:" + missing + "]: Can not load file '" + missing +
            "': No such file or directory",
        "Error in init lookup [file:" + directory.Path("") + "]: Can not load file '" +
            directory.Path("") + "': Is a directory",
        "Error in init lookup [file:]: Can not load file '': No such file or directory"};
    EXPECT_EQ(RecordingLog::Texts(ERROR), errors);
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("KwObjectHolder: Success create lookup with name 'file' and params '" +
                                missing + "'",
                            "KwObjectHolder: Success create lookup with name 'file' and params '" +
                                directory.Path("") + "'",
                            "KwObjectHolder: Success create lookup with name 'file' and params "
                            "''"));
    EXPECT_EQ(TakeErrors(), errors);
}

TEST_F(ObjectList, WritesNoMessageAtADisabledLevel) {
    const TempDir directory;
    const std::string file = directory.Write("list", "one\n");
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    holder.Init("file:" + file + ", ldap:x, nosuch:x");
    EXPECT_THAT(RecordingLog::GetLines(),
                ElementsAre(RecordingLog::Line{
                    ERROR, "holder", "Error in init lookup [nosuch:x]: unknown id 'nosuch'"}));
    RecordingLog::Silence();
    holder.Init("nosuch:y, a");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_THAT(Values(holder), ElementsAre("a"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [nosuch:x]: unknown id 'nosuch'",
                                          "Error in init lookup [nosuch:y]: unknown id 'nosuch'"));
}

TEST_F(ObjectList, MessagesHaveTheItemAsWrittenAndTheTypeInLowerCase) {
    holder.Init("  \"NoSuch: x, y \" , a");
    EXPECT_THAT(TakeErrors(),
                ElementsAre("Error in init lookup [NoSuch: x, y ]: unknown id 'nosuch'"));
}

TEST_F(ObjectList, ReportsTheErrorsOfAllHoldersOnce) {
    KwLookupHolder other(log);
    holder.Init("one:x");
    other.Init("two:x, a, three:x");
    RecordingLog::Reset();
    LogClass reload("reload");
    try {
        KwObjectHolder::AfterReload(reload);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::domain_error& error) {
        EXPECT_STREQ(error.what(), "Errors in lookups/storage. See above.");
    }
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(
            RecordingLog::Line{ERROR, "reload", "last lookups/storage errors:"},
            RecordingLog::Line{ERROR, "reload", "  Error in init lookup [one:x]: unknown id 'one'"},
            RecordingLog::Line{ERROR, "reload", "  Error in init lookup [two:x]: unknown id 'two'"},
            RecordingLog::Line{ERROR, "reload",
                               "  Error in init lookup [three:x]: unknown id 'three'"}));
    EXPECT_NO_THROW(KwObjectHolder::AfterReload(reload));
}

TEST_F(ObjectList, OfBuiltinTypesAcceptsNoOthers) {
    const TempDir directory;
    const std::string file = directory.Write("list", "one\n");
    KwLookupHolder builtin(log, KwObjectHolder::BuiltinOnly);
    builtin.Init("a, ldap:x, value:b, nosuch:x, FILE:" + file + ", Ldap:y, c");
    EXPECT_THAT(Values(builtin), ElementsAre("a", "b", "one", "c"));
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("Error in init lookup [ldap:x]: can`t use this lookup here",
                            "Error in init lookup [nosuch:x]: can`t use this lookup here",
                            "Error in init lookup [Ldap:y]: can`t use this lookup here"));
    EXPECT_EQ(TakeErrors().size(), 3U);
}

TEST_F(ObjectList, UsesAPlugInIfTheCreatorOfATypeReturnsNull) {
    KwFactory<KwIfLookup>::Instance().Register("nothing", MakeNothing);
    holder.Init("nothing:x, a");
    EXPECT_THAT(Values(holder), ElementsAre("a"));
    EXPECT_THAT(TakeErrors(),
                ElementsAre("Error in init lookup [nothing:x]: Cannot load shared library "
                            "libkw_lookup_nothing.so because " +
                            LoaderMessage("libkw_lookup_nothing.so")));
}

TEST_F(ObjectList, HoldsTenThousandItems) {
    std::string list;
    Strings values;
    Strings errors;
    for (int i = 0; i < 10000; ++i) {
        const std::string number = std::to_string(i);
        if (i % 100 == 99) {
            list += "nosuch:" + number + ",";
            errors.push_back("Error in init lookup [nosuch:" + number + "]: unknown id 'nosuch'");
        } else if (i % 100 == 98) {
            list += "ldap:" + number + ",";
            values.push_back(number);
        } else {
            list += number + ",";
            values.push_back(number);
        }
    }
    holder.Init(list);
    EXPECT_EQ(holder.GetObjects().size(), 9900U);
    EXPECT_EQ(Values(holder), values);
    std::string matched;
    std::string res;
    EXPECT_TRUE(holder.Find(TextFinder("9998"), &res, 0, &matched));
    EXPECT_EQ(res, " result of 9998");
    EXPECT_EQ(matched, "9998");
    EXPECT_EQ(TakeErrors(), errors);
}

TEST_F(ObjectList, AcceptsAnItemOfAnyLength) {
    const std::string megabyte(1 << 20, 'x');
    holder.Init(megabyte + ", " + megabyte + ":a, b");
    EXPECT_THAT(Values(holder), ElementsAre(megabyte, "b"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [" + megabyte +
                                          ":a]: unknown id '" + megabyte + "'"));
}

TEST_F(ObjectList, KeepsItsErrorsIfTheLogIsFull) {
    RecordingLog::FailOn("Error in init");
    holder.Init("nosuch:x, a, nosuch:y, b");
    EXPECT_THAT(Values(holder), ElementsAre("a", "b"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [nosuch:x]: unknown id 'nosuch'",
                                          "Error in init lookup [nosuch:y]: unknown id 'nosuch'"));
}

TEST_F(ObjectList, CollectsTheErrorOfAFullLogForItsItem) {
    const TempDir directory;
    const std::string file = directory.Write("list", "one\n");
    RecordingLog::FailOn("Success create");
    holder.Init("a, file:" + file + ", b");
    EXPECT_THAT(Values(holder), ElementsAre("a", "b"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [file:" + file + "]: log is full"));
}

} // namespace
