// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "objects/ReloadSupport.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

constexpr char REPORTED[] = "Errors in lookups/storage. See above.";

/// Libraries stay registered until the process ends. Each test must pass whether or not others ran
/// before it in the same process.
class Reload : public ::testing::Test {
protected:
    Reload() {
        for (const char* type : {"first", "second", "third"}) {
            StateOf(type).fault = Fault::None;
            StateOf(type).needs_config = true;
            StateOf(type).keeps_log = true;
            StateOf(type).has_own_log = false;
        }
        KwObjectHolder::SetConfLoader(loader);
        AfterReload();
        RecordingLog::Reset();
    }

    /// Registers and configures the three libraries, and clears what that recorded.
    void Fill() {
        holder.Init("first:a, second:b, third:c");
        ASSERT_EQ(holder.GetObjects().size(), 3U);
        Forget();
    }

    void Forget() {
        calls.clear();
        RecordingLog::Reset();
    }

    /// Returns the text of the exception that it throws, or an empty text.
    std::string BeforeReload() {
        try {
            KwObjectHolder::BeforeReload(log);
            return std::string();
        } catch (const std::domain_error& error) {
            return error.what();
        }
    }

    std::string AfterReload() {
        try {
            KwObjectHolder::AfterReload(log);
            return std::string();
        } catch (const std::domain_error& error) {
            return error.what();
        }
    }

    Strings Loaded() const {
        Strings loaded;
        std::copy_if(calls.begin(), calls.end(), std::back_inserter(loaded),
                     [](const std::string& call) { return call.compare(0, 4, "load") == 0; });
        return loaded;
    }

    LogClass log{"host"};
    LogClass holder_log{"holder"};
    Strings calls;
    boost::shared_ptr<ScriptedLoader> loader = boost::make_shared<ScriptedLoader>(calls);
    KwLookupHolder holder{holder_log};
};

TEST_F(Reload, DoesNothingIfNothingIsRegistered) {
    EXPECT_EQ(BeforeReload(), "");
    if (!Loaded().empty())
        GTEST_SKIP() << "another test of this process has registered libraries";
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

// Filling a holder.

TEST_F(Reload, TypeWithoutConfigurationIsNotLoadedAndAlwaysGetsTheLog) {
    Fill();
    StateOf("first").needs_config = false;
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(Loaded(), ElementsAre("load lookup_second", "load lookup_third"));
    Forget();
    const int init_logs = StateOf("first").init_logs;
    holder.Init("first:a, first:b");
    EXPECT_EQ(StateOf("first").init_logs, init_logs + 2);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Reload, ItemFailsWithItsConfigurationAndTheNextOneTriesAgain) {
    Fill();
    holder.Init("");
    loader->section_is_good = false;
    BeforeReload(); // fails, and leaves all three unconfigured
    Forget();
    holder.Init("first:a, first:b, second:c");
    EXPECT_TRUE(holder.Empty());
    EXPECT_EQ(StateOf("first").alive, 0);
    EXPECT_THAT(Loaded(),
                ElementsAre("load lookup_first", "load lookup_first", "load lookup_second"));
    const std::string error = "Error in init lookup [first:a]: error in reading configuration for "
                              "first";
    EXPECT_EQ(RecordingLog::Texts(ERROR).front(), error);
    EXPECT_EQ(AfterReload(), REPORTED);

    loader->section_is_good = true;
    loader->on_call = [](const std::string& operation) {
        if (operation == "prepare")
            throw std::runtime_error("no file");
    };
    holder.Init("first:a");
    EXPECT_EQ(RecordingLog::Texts(ERROR).back(), "Error in init lookup [first:a]: no file");
    EXPECT_EQ(AfterReload(), REPORTED);

    loader->on_call = nullptr;
    holder.Init("first:a");
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_EQ(AfterReload(), "");
}

TEST_F(Reload, LibraryIsForgottenIfThereIsNoLoader) {
    loader.reset();
    for (int i = 0; i < 2; ++i) {
        RecordingLog::Reset();
        holder.Init("unready:a");
        EXPECT_THAT(RecordingLog::Texts(ERROR),
                    ElementsAre("Error in init lookup [unready:a]: can`t use lookup unready here"));
        EXPECT_THAT(RecordingLog::Texts(DEBUG),
                    ElementsAre("load libkw_lookup_unready.so object library"));
        EXPECT_EQ(StateOf("unready").alive, 0);
        EXPECT_EQ(AfterReload(), REPORTED);
    }
    calls.clear();
    loader = boost::make_shared<ScriptedLoader>(calls);
    KwObjectHolder::SetConfLoader(loader);
    BeforeReload();
    EXPECT_THAT(Loaded(), Not(Contains("load lookup_unready")));
}

TEST_F(Reload, ConfiguredTypeCannotBeUsedOnceTheLoaderIsGone) {
    Fill();
    loader.reset();
    Forget();
    holder.Init("first:a, b");
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(RecordingLog::Line{
            ERROR, "holder", "Error in init lookup [first:a]: can`t use lookup first here"}));
    EXPECT_EQ(AfterReload(), REPORTED);

    loader = boost::make_shared<ScriptedLoader>(calls);
    KwObjectHolder::SetConfLoader(loader);
    Forget();
    holder.Init("first:a");
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_THAT(calls, IsEmpty()) << "it stayed registered and configured";
}

TEST_F(Reload, ListInsideAConfigurationMayHaveErrors) {
    Fill();
    LogClass inner_log("inner");
    KwLookupHolder inner(inner_log);
    loader->on_call = [&](const std::string& operation) {
        if (operation == "load lookup_first")
            inner.Init("a, file:/nonexistent/file, second:b, nosuch:c");
    };
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_EQ(inner.GetObjects().size(), 1U);
    const Strings errors = {
        "Error in init lookup [file:/nonexistent/file]: Can not load file '/nonexistent/file': No "
        "such file or directory",
        "Error in init lookup [second:b]: can`t use lookup second here",
        "Error in init lookup [nosuch:c]: unknown id 'nosuch'"};
    EXPECT_EQ(RecordingLog::Texts(ERROR), errors);
    EXPECT_THAT(Loaded(),
                ElementsAre("load lookup_first", "load lookup_second", "load lookup_third"));
    Forget();
    EXPECT_EQ(AfterReload(), REPORTED);
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("last lookups/storage errors:", "  " + errors[0], "  " + errors[1],
                            "  " + errors[2]));
}

// BeforeReload.

TEST_F(Reload, LoadsEachRegisteredTypeAgainInOrder) {
    Fill();
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_EQ(BeforeReload(), "");
    const Strings once = {"load lookup_first", "load lookup_second", "load lookup_third"};
    Strings twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(Loaded(), twice);
    for (const char* type : {"first", "second", "third"})
        EXPECT_EQ(StateOf(type).alive, 1) << "the object of " << type << " was a throw-away one";
    EXPECT_THAT(RecordingLog::Texts(ERROR), IsEmpty());

    Forget();
    holder.Init("third:a, first:b");
    EXPECT_THAT(calls, IsEmpty()) << "the reload has loaded what this needs";
}

TEST_F(Reload, ObjectGetsTheLogBeforeItsConfigurationIsLoadedAgain) {
    Fill();
    const int init_logs = StateOf("first").init_logs;
    const int inits = StateOf("first").inits;
    int init_logs_at_the_load = 0;
    loader->on_call = [&](const std::string& operation) {
        if (operation == "load lookup_first")
            init_logs_at_the_load = StateOf("first").init_logs;
    };
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_EQ(init_logs_at_the_load, init_logs + 1);
    EXPECT_EQ(StateOf("first").init_logs, init_logs + 1);
    EXPECT_EQ(StateOf("first").inits, inits) << "the throw-away object needs no init data";
}

TEST_F(Reload, LoadsWithTheLogOfTheObjectIfItHasOne) {
    Fill();
    StateOf("first").has_own_log = true;
    StateOf("third").keeps_log = false;
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(
            RecordingLog::Line{DEBUG, "own", "Success load configuration for lookup_first"},
            RecordingLog::Line{DEBUG, "host", "Success load configuration for lookup_second"},
            RecordingLog::Line{DEBUG, "host", "Success load configuration for lookup_third"}));
}

TEST_F(Reload, ReportsEarlierErrorsAndReloadsNothing) {
    Fill();
    holder.Init("a, x:b, y:c");
    Forget();
    EXPECT_EQ(BeforeReload(), REPORTED);
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(
            RecordingLog::Line{ERROR, "host", "last lookups/storage errors:"},
            RecordingLog::Line{ERROR, "host", "  Error in init lookup [x:b]: unknown id 'x'"},
            RecordingLog::Line{ERROR, "host", "  Error in init lookup [y:c]: unknown id 'y'"}));

    EXPECT_EQ(AfterReload(), "") << "the errors were reported";
    holder.Init("second:a");
    EXPECT_THAT(Loaded(), ElementsAre("load lookup_second")) << "no type counts as configured";
    Forget();
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_EQ(Loaded().size(), 3U);
}

TEST_F(Reload, FailureInAnyStepIsReportedAndTheNextTypeIsReloaded) {
    Fill();
    holder.Init("");
    struct Failure {
        const char* what;
        std::function<void()> cause;
        std::string reason;
    };
    const auto fault = [](Fault where) { return [where] { StateOf("second").fault = where; }; };
    // Each step runs once for each type, so its second call is for "second".
    const auto throw_at = [&](const std::string& step) {
        return [this, step] {
            loader->on_call = [this, step](const std::string& operation) {
                const auto is_step = [&](const std::string& call) {
                    return call.compare(0, step.size(), step) == 0;
                };
                if (is_step(operation) && std::count_if(calls.begin(), calls.end(), is_step) == 2)
                    throw std::runtime_error("told to fail");
            };
        };
    };
    const Failure failures[] = {
        {"null", fault(Fault::NullObject), "Can`t create second"},
        {"creator", fault(Fault::Creator), "told to fail"},
        {"InitLog", fault(Fault::InitLog), "told to fail"},
        {"question", fault(Fault::Question), "told to fail"},
        {"GetLogPtr", fault(Fault::LogPtr), "told to fail"},
        {"acquire", throw_at("acquire"), "told to fail"},
        {"prepare", throw_at("prepare"), "told to fail"},
        {"load", throw_at("load"), "told to fail"},
        {"false",
         [this] {
             loader->on_call = [this](const std::string& operation) {
                 if (operation.compare(0, 4, "load") == 0)
                     loader->section_is_good = operation != "load lookup_second";
             };
         },
         "error in reading configuration for second"},
        {"log", [] { RecordingLog::FailOn("Success load configuration for lookup_second"); },
         "log is full"},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.what);
        Forget();
        failure.cause();
        EXPECT_EQ(BeforeReload(), "");
        EXPECT_THAT(RecordingLog::Texts(ERROR),
                    ElementsAre("Error in configuration reload for second: " + failure.reason));
        EXPECT_EQ(Loaded().front(), "load lookup_first");
        EXPECT_EQ(Loaded().back(), "load lookup_third");
        EXPECT_EQ(StateOf("second").alive, 0);
        EXPECT_EQ(AfterReload(), "") << "it is not an error of initialisation";

        StateOf("second").fault = Fault::None;
        loader->on_call = nullptr;
        loader->section_is_good = true;
        Forget();
        holder.Init("first:a, second:b, third:c");
        EXPECT_THAT(Loaded(), ElementsAre("load lookup_second")) << "it is not configured";
        EXPECT_EQ(holder.GetObjects().size(), 3U);
        holder.Init("");
    }
}

TEST_F(Reload, WithoutMemoryForAMessageTheNextTypeIsStillReloaded) {
    Fill();
    std::size_t reloads = 0;
    for (long nth = 0; nth < 30; ++nth) {
        SCOPED_TRACE(nth);
        std::optional<FailingAllocation> failure;
        loader->on_call = [&](const std::string& operation) {
            if (operation == "load lookup_second") {
                failure.emplace(nth);
                throw std::runtime_error("a reason that is too long to be kept without memory");
            }
        };
        Forget();
        EXPECT_EQ(BeforeReload(), "");
        failure.reset();
        reloads += Loaded().back() == "load lookup_third";
    }
    EXPECT_GT(reloads, 20U) << "memory for the call itself may be missing";
    loader->on_call = nullptr;
}

TEST_F(Reload, FailingLogDoesNotPreventTheReloadOfTheNextType) {
    Fill();
    StateOf("second").fault = Fault::NullObject;
    RecordingLog::FailOn("Error in configuration reload");
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_EQ(Loaded().back(), "load lookup_third");
}

TEST_F(Reload, LogsNothingIfErrorsAreDisabled) {
    Fill();
    StateOf("second").fault = Fault::NullObject;
    RecordingLog::Silence();
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(Reload, EveryTypeFailsWithoutALoader) {
    Fill();
    loader.reset();
    Forget();
    StateOf("first").needs_config = false;
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("Error in configuration reload for second: can`t use second without "
                            "configuration loading",
                            "Error in configuration reload for third: can`t use third without "
                            "configuration loading"));
    EXPECT_EQ(AfterReload(), "");
}

/// A holder with a creator symbol of its own.
class OtherHolder : public KwLookupHolder {
public:
    using KwLookupHolder::KwLookupHolder;
    const char* GetNameFromLib() const override { return "CreateOther"; }
};

TEST_F(Reload, AlwaysCallsCreateLookup) {
    Fill();
    OtherHolder other(log);
    other.Init("first:a");
    EXPECT_EQ(AfterReload(), REPORTED);
    Forget();
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(RecordingLog::Texts(ERROR), IsEmpty());
    EXPECT_EQ(Loaded().size(), 3U);
}

TEST_F(Reload, NestedReloadByTheLoaderLoadsTheRemainingTypes) {
    Fill();
    bool nested = false;
    loader->on_call = [&](const std::string& operation) {
        if (operation != "load lookup_first" || nested)
            return;
        nested = true;
        KwObjectHolder::BeforeReload(log);
    };
    EXPECT_EQ(BeforeReload(), "");
    const std::string end = " already loaded";
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("Success load configuration for lookup_first",
                            "Success load configuration for lookup_second",
                            "Success load configuration for lookup_third",
                            "Success load configuration for lookup_first",
                            "KwObjectHolder: configuration for library second already loaded",
                            "KwObjectHolder: configuration for library third already loaded"));
}

// AfterReload.

TEST_F(Reload, ReportsEachErrorOnce) {
    EXPECT_EQ(AfterReload(), "");
    KwLookupHolder other(log);
    holder.Init("a, x:b");
    other.Init("y:c");
    RecordingLog::Reset();
    EXPECT_EQ(AfterReload(), REPORTED);
    EXPECT_THAT(
        RecordingLog::GetLines(),
        ElementsAre(
            RecordingLog::Line{ERROR, "host", "last lookups/storage errors:"},
            RecordingLog::Line{ERROR, "host", "  Error in init lookup [x:b]: unknown id 'x'"},
            RecordingLog::Line{ERROR, "host", "  Error in init lookup [y:c]: unknown id 'y'"}));
    EXPECT_EQ(AfterReload(), "");
    EXPECT_EQ(RecordingLog::GetLines().size(), 3U);
}

TEST_F(Reload, ThrowsForErrorsThatMayNotBeLogged) {
    holder.Init("x:b");
    RecordingLog::Silence();
    EXPECT_EQ(AfterReload(), REPORTED);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_EQ(AfterReload(), "");
}

TEST_F(Reload, ErrorsStayUntilTheyAreReported) {
    holder.Init("x:b");
    RecordingLog::FailOn("  Error in init");
    EXPECT_THROW(KwObjectHolder::AfterReload(log), std::runtime_error);
    RecordingLog::Reset();
    EXPECT_EQ(AfterReload(), REPORTED);
    EXPECT_EQ(RecordingLog::Texts(ERROR).size(), 2U);
}

TEST_F(Reload, ReportTakesNoLock) {
    Fill();
    bool returned = false;
    loader->on_call = [&](const std::string& operation) {
        if (operation == "load lookup_first")
            returned =
                std::async(std::launch::async, [this] { return AfterReload(); }).get().empty();
    };
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_TRUE(returned);
}

// More libraries. They stay registered, so these tests come last: the tests above expect three.

TEST_F(Reload, FirstObjectOfATypeLoadsItsConfiguration) {
    ReloadPluginState& late = StateOf("late");
    std::vector<int> done_before_the_load;
    loader->on_call = [&](const std::string& operation) {
        if (operation == "acquire")
            done_before_the_load = {late.init_logs, late.inits};
    };
    holder.Init("late:a");
    EXPECT_THAT(done_before_the_load, ElementsAre(1, 0)) << "InitLog, the load, Init";
    EXPECT_THAT(calls, ElementsAre("acquire", "prepare", "load lookup_late", "release"));
    EXPECT_EQ(loader->last_log, &holder_log);
    EXPECT_EQ(late.init_logs, 1);
    EXPECT_EQ(holder.GetObjects()[0].GetLogPtr(), &holder_log);
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("load libkw_lookup_late.so object library",
                            "Success load configuration for lookup_late"));

    KwLookupHolder other(log);
    other.Init("late:b, late:c");
    EXPECT_EQ(Loaded().size(), 1U) << "loaded once a type, not once an object";
    EXPECT_EQ(late.init_logs, 1) << "later objects get no log here";
    EXPECT_EQ(other.GetObjects()[0].GetLogPtr(), nullptr);
    EXPECT_EQ(late.inits, 3);
}

TEST_F(Reload, ErrorNamesTheTypeOfALibraryWithoutACreator) {
    Fill();
    holder.Init("bare:a");
    EXPECT_EQ(AfterReload(), REPORTED);
    Forget();
    EXPECT_EQ(BeforeReload(), "");
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre(::testing::MatchesRegex(
                    "Error in configuration reload for bare: Cannot resolve 'CreateLookup' from a "
                    "shared library bare because .*undefined symbol: CreateLookup")));
    EXPECT_THAT(Loaded(), Contains("load lookup_third"));
}

} // namespace
