// SPDX-License-Identifier: MIT
#include "host/IfConfLoader.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwStrLookup.h"
#include "objects/TestPlugins.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <boost/make_shared.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

std::string LoadLine(const std::string& type) {
    return "load libkw_lookup_" + type + ".so object library";
}

/// Returns how often the log says that the library of `type` was opened.
std::ptrdiff_t TimesOpened(const std::string& type) {
    const Strings lines = RecordingLog::Texts(DEBUG);
    return std::count(lines.begin(), lines.end(), LoadLine(type));
}

int Alive(const std::string& type) {
    const LoadedPlugin plugin(type);
    return plugin ? plugin.GetCounts().alive.load() : 0;
}

int Made(const std::string& type) {
    const LoadedPlugin plugin(type);
    return plugin ? plugin.GetCounts().made.load() : 0;
}

class Plugin : public ::testing::Test {
protected:
    Plugin() { TakeErrors(); }

    LogClass log{"holder"};
    KwLookupHolder holder{log};
};

TEST_F(Plugin, AnswersASearch) {
    holder.Init("a, LDAP:(Mail=x:y)");
    ASSERT_EQ(holder.GetObjects().size(), 2U);
    EXPECT_EQ(holder.GetObjects()[1].GetLogPtr(), &log);
    std::string res;
    std::string matched;
    EXPECT_TRUE(holder.Find(TextFinder("(Mail=x:y)"), &res, 0, &matched));
    EXPECT_EQ(res, " result of (Mail=x:y)");
    EXPECT_EQ(matched, "(Mail=x:y)");
    EXPECT_THAT(RecordingLog::Texts(DEBUG).back(),
                "KwLookupHolder::Find: found (Mail=x:y) matched with (Mail=x:y) (from plug-in)");
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(Plugin, GetsItsParamsUntrimmedAndMayGetNone) {
    holder.Init("\"ldap: x \", ldap:");
    EXPECT_THAT(Values(holder), ElementsAre(" x ", ""));
}

TEST_F(Plugin, LibraryIsOpenedOnceAndStaysOpen) {
    const std::ptrdiff_t first = LoadedPlugin("shared") ? 0 : 1;
    holder.Init("shared:a, shared:b");
    {
        KwLookupHolder other(log);
        other.Init("shared:c");
        EXPECT_EQ(Alive("shared"), 3);
        other.Init("d");
        EXPECT_EQ(Alive("shared"), 2);
        other.Init("shared:e");
    }
    EXPECT_EQ(Alive("shared"), 2);
    holder.Init("");
    EXPECT_EQ(Alive("shared"), 0);
    EXPECT_TRUE(LoadedPlugin("shared"));
    holder.Init("shared:f");
    EXPECT_EQ(TimesOpened("shared"), first);
    for (const RecordingLog::Line& line : RecordingLog::GetLines())
        EXPECT_EQ(line.logger, "holder");
}

TEST_F(Plugin, EveryObjectOfATypeWithoutConfigurationGetsTheLog) {
    LogClass other_log("other");
    KwLookupHolder other(other_log);
    holder.Init("ldap:a, ldap:b");
    other.Init("ldap:c");
    EXPECT_EQ(holder.GetObjects()[0].GetLogPtr(), &log);
    EXPECT_EQ(holder.GetObjects()[1].GetLogPtr(), &log);
    EXPECT_EQ(other.GetObjects()[0].GetLogPtr(), &other_log);
}

TEST_F(Plugin, AHostMayLoadASingleObject) {
    holder.LoadFromDynamicLibrary("ldap", "one");
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_THROW(holder.LoadFromDynamicLibrary("absent", "x"), std::domain_error);
    KwLookupHolder builtin_only(log, KwObjectHolder::BuiltinOnly);
    builtin_only.LoadFromDynamicLibrary("ldap", "one");
    EXPECT_EQ(builtin_only.GetObjects().size(), 1U);
}

struct Failure {
    const char* item;
    std::string reason;
};

TEST_F(Plugin, FailureIsCollectedAndTheOtherItemsStay) {
    const int odbc_made = Made("odbc");
    const int mysql_made = Made("mysql");
    const Failure failures[] = {
        {"absent:x", "Cannot load shared library libkw_lookup_absent.so because " +
                         LoaderMessage("libkw_lookup_absent.so")},
        {"Oracle:x", "Cannot load shared library libkw_lookup_oracle.so because " +
                         LoaderMessage("libkw_lookup_oracle.so")},
        {"incomplete:x", "Cannot load shared library libkw_lookup_incomplete.so because " +
                             LoaderMessage("libkw_lookup_incomplete.so")},
        {"otherversion:x", "Cannot load shared library libkw_lookup_otherversion.so because it was "
                           "built for version 2 of libkwlookup, and this is version 1"},
        {"odbc:DSN=a:b", "Can`t create odbc:DSN=a:blookup"},
        {"odbc:", "Can`t create odbc:lookup"},
        {"ODBC:X", "Can`t create odbc:Xlookup"},
        {"mysql:x", "no connection"},
        {"firebird:x", "can`t use lookup firebird here"},
        {"unlogged:x", "no log"},
        {"ldap:bad", "bad init data"},
        {"nested:\\\"a", "no list: can't find final '\"' symbol"},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.item);
        // First with a library that this item opens, then with one that is open already.
        for (int i = 0; i < 2; ++i) {
            holder.Init("a, " + std::string(failure.item) + ", ldap:b, c");
            EXPECT_THAT(Values(holder), ElementsAre("a", "b", "c"));
            std::string item = failure.item;
            item.erase(std::remove(item.begin(), item.end(), '\\'), item.end());
            const std::string error = "Error in init lookup [" + item + "]: " + failure.reason;
            EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR), ElementsAre(error));
            EXPECT_THAT(TakeErrors(), ElementsAre(error));
        }
    }
    holder.Init("");
    for (const char* type : {"firebird", "unlogged", "ldap", "nested"})
        EXPECT_EQ(Alive(type), 0) << type;
    EXPECT_EQ(Made("odbc"), odbc_made + 6);
    EXPECT_EQ(Made("mysql"), mysql_made + 2);
}

TEST_F(Plugin, ErrorHasTheMessageOfTheDynamicLoader) {
    EXPECT_THAT(LoaderMessage("libkw_lookup_absent.so"), ::testing::HasSubstr("No such file"));
    EXPECT_THAT(LoaderMessage("libkw_lookup_oracle.so"), ::testing::HasSubstr("ELF"));
    EXPECT_THAT(LoaderMessage("libkw_lookup_incomplete.so"),
                ::testing::HasSubstr("undefined symbol"));
}

TEST_F(Plugin, WithoutACreatorIsAnErrorWithTheLoadersMessage) {
    for (int i = 0; i < 2; ++i) {
        holder.Init("postgres:x, a");
        EXPECT_THAT(Values(holder), ElementsAre("a"));
        EXPECT_THAT(TakeErrors(),
                    ElementsAre(::testing::MatchesRegex(
                        "Error in init lookup \\[postgres:x\\]: Cannot resolve 'CreateLookup' "
                        "from a shared library libkw_lookup_postgres.so because "
                        ".*undefined symbol: CreateLookup")));
    }
}

TEST_F(Plugin, LibraryStaysRegisteredIfItsCreatorFails) {
    for (const char* type : {"odbc", "mysql", "postgres", "unlogged"}) {
        SCOPED_TRACE(type);
        const std::string item = std::string(type) + ":x";
        holder.Init(item);
        RecordingLog::Reset();
        holder.Init(item + ", " + item);
        EXPECT_EQ(TimesOpened(type), 0);
        EXPECT_EQ(TakeErrors().size(), 3U);
        EXPECT_TRUE(LoadedPlugin(type));
    }
}

TEST_F(Plugin, ThatNeedsConfigurationIsForgottenWithoutALoader) {
    holder.Init("firebird:x, firebird:y, a");
    EXPECT_EQ(TimesOpened("firebird"), 2);
    holder.Init("firebird:z");
    EXPECT_EQ(TimesOpened("firebird"), 3);
    EXPECT_TRUE(LoadedPlugin("firebird"));
    EXPECT_EQ(Alive("firebird"), 0);
    EXPECT_THAT(TakeErrors(),
                ElementsAre("Error in init lookup [firebird:x]: can`t use lookup firebird here",
                            "Error in init lookup [firebird:y]: can`t use lookup firebird here",
                            "Error in init lookup [firebird:z]: can`t use lookup firebird here"));
}

/// A host's loader that records its calls.
class NotingLoader : public IfConfLoader {
public:
    std::string GetDescription() const override { return "notes"; }
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder*,
                     const LogClass&) override {
        notes.push_back(std::to_string(instance) + section + std::to_string(index) + subsection +
                        std::to_string(options));
        return true;
    }
    void ReleaseLoader() override { notes.push_back("release"); }
    void PrepareLoad() override { notes.push_back("prepare"); }
    bool AcquireLoader() override {
        notes.push_back("acquire");
        return true;
    }

    Strings notes;
};

TEST_F(Plugin, ConfigurationIsLoadedOnceAndOnlyItsFirstObjectGetsTheLog) {
    if (LoadedPlugin("configured"))
        GTEST_SKIP() << "opened already; run this test in a process of its own";
    auto loader = boost::make_shared<NotingLoader>();
    KwObjectHolder::SetConfLoader(loader);
    holder.Init("configured:a, configured:b");
    KwLookupHolder other(log);
    other.Init("configured:c");
    EXPECT_THAT(loader->notes,
                ElementsAre("acquire", "prepare", "0lookup_configured00", "release"));
    EXPECT_EQ(holder.GetObjects()[0].GetLogPtr(), &log);
    EXPECT_EQ(holder.GetObjects()[1].GetLogPtr(), nullptr);
    EXPECT_EQ(other.GetObjects()[0].GetLogPtr(), nullptr);
    EXPECT_EQ(TimesOpened("configured"), 1);

    loader.reset();
    other.Init("configured:d");
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [configured:d]: can`t use lookup "
                                          "configured here"));
    EXPECT_EQ(Alive("configured"), 2);
    other.Init("configured:e");
    EXPECT_EQ(TimesOpened("configured"), 0);
}

TEST_F(Plugin, LibraryIsClosedIfItCannotBeRegistered) {
    if (LoadedPlugin("latecomer"))
        GTEST_SKIP() << "opened already; run this test in a process of its own";
    RecordingLog::FailOn(LoadLine("latecomer"));
    holder.Init("latecomer:a, b");
    EXPECT_FALSE(LoadedPlugin("latecomer"));
    EXPECT_THAT(Values(holder), ElementsAre("b"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [latecomer:a]: log is full"));
    holder.Init("latecomer:a, b");
    EXPECT_EQ(TimesOpened("latecomer"), 1);
    EXPECT_THAT(Values(holder), ElementsAre("a", "b"));
}

TEST_F(Plugin, LibraryIsNeverClosedOnceItHasMadeAnObject) {
    if (LoadedPlugin("unloadable"))
        GTEST_SKIP() << "opened already; run this test in a process of its own";
    void* const handle = ::dlopen("libkw_lookup_unloadable.so", RTLD_NOW);
    ASSERT_NE(handle, nullptr);
    ASSERT_TRUE(LoadedPlugin("unloadable"));
    ::dlclose(handle);
    ASSERT_FALSE(LoadedPlugin("unloadable")) << "this one goes when it is closed";

    RecordingLog::FailOn(LoadLine("unloadable"));
    holder.Init("unloadable:x");
    EXPECT_FALSE(LoadedPlugin("unloadable")) << "it could not be registered";
    RecordingLog::Reset();

    holder.Init("unloadable:x");
    EXPECT_TRUE(LoadedPlugin("unloadable")) << "without a loader it is forgotten, but stays open";
    EXPECT_EQ(Made("unloadable"), 1);
    EXPECT_EQ(Alive("unloadable"), 0);

    auto loader = boost::make_shared<NotingLoader>();
    KwObjectHolder::SetConfLoader(loader);
    holder.Init("unloadable:y");
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    loader.reset();
    holder.Init("unloadable:z");
    EXPECT_EQ(Alive("unloadable"), 0);
    EXPECT_EQ(Made("unloadable"), 3);
    TakeErrors();
}

TEST_F(Plugin, NonStandardExceptionPropagates) {
    holder.Init("ldap:warm");
    EXPECT_THROW(holder.Init("a, ldap:int, b"), int);
    EXPECT_EQ(Alive("ldap"), 0);
    EXPECT_THAT(Values(holder), ElementsAre("a"));
    EXPECT_THAT(TakeErrors(), IsEmpty());
    holder.Init("ldap:c");
    EXPECT_THAT(Values(holder), ElementsAre("c"));
}

TEST_F(Plugin, MayFillAHolderOfItsOwnWhileItIsInitialised) {
    holder.Init(R"(nested:ldap:a\, b\, nosuch:c\, "nested:d\, \"nested:ldap:e\"", f)");
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [nosuch:c]: unknown id 'nosuch'"));
    EXPECT_THAT(Values(holder), ::testing::Contains("a"));
    EXPECT_EQ(holder.GetObjects().size(), 2U);
    std::string res;
    EXPECT_TRUE(holder.Find(TextFinder("a"), &res, 0, nullptr));
    EXPECT_EQ(res, "  result of a");
    EXPECT_TRUE(holder.Find(TextFinder("f"), nullptr, 0, nullptr));
}

/// A holder that treats every type as a plug-in type.
class OpenHolder : public KwLookupHolder {
public:
    using KwLookupHolder::KwLookupHolder;
    KwIfObject* GetObjectByName(const std::string&, const std::string&,
                                void*& lookup) const override {
        lookup = nullptr;
        return nullptr;
    }
};

/// Changes to a directory and back.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& path) : m_old(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(m_old); }

private:
    std::filesystem::path m_old;
};

TEST_F(Plugin, TypeThatIsAPathNeverReachesTheLoader) {
    holder.Init("ldap:x");
    holder.Init("../x:y, /x:y, a");
    EXPECT_THAT(Values(holder), ElementsAre("a"));
    EXPECT_THAT(TakeErrors(), ElementsAre("Error in init lookup [../x:y]: unknown id '../x'",
                                          "Error in init lookup [/x:y]: unknown id '/x'"));

    // A library that the loader would open by its path.
    const TempDir directory;
    const std::string trap = directory.Path("libkw_lookup_..");
    std::filesystem::create_directory(trap);
    std::filesystem::create_symlink(TEST_PLUGIN_DIR "/libkw_lookup_ldap.so", trap + "/x.so");
    const WorkingDirectory here(directory.Path(""));
    OpenHolder open(log);
    open.Init("../x:y, a");
    EXPECT_THAT(Values(open), ElementsAre("a"));
    EXPECT_EQ(TimesOpened("../x"), 0);
    EXPECT_THAT(TakeErrors(),
                ElementsAre("Error in init lookup [../x:y]: Cannot load shared library "
                            "libkw_lookup_../x.so because the type is not a plain name"));
}

TEST_F(Plugin, TypeOfAnyBytesFindsOnlyItsOwnLibrary) {
    using namespace std::string_literals;
    OpenHolder open(log);
    const std::string long_type(1 << 16, 'x');
    open.Init("ldap.so\0:x, \xe9:x, %s:x, "s + long_type + ":x, ldap:y");
    EXPECT_THAT(Values(open), ElementsAre("y"));
    const Strings errors = TakeErrors();
    ASSERT_EQ(errors.size(), 4U);
    EXPECT_EQ(errors[0].find("Error in init lookup [ldap.so\\0:x]: Cannot load shared library"),
              0U);
    EXPECT_EQ(errors[1], "Error in init lookup [\xe9:x]: Cannot load shared library "
                         "libkw_lookup_\xe9.so because " +
                             LoaderMessage("libkw_lookup_\xe9.so"));
    EXPECT_EQ(errors[2], "Error in init lookup [%s:x]: Cannot load shared library "
                         "libkw_lookup_%s.so because " +
                             LoaderMessage("libkw_lookup_%s.so"));
    EXPECT_EQ(errors[3].compare(0, 30, "Error in init lookup [xxxxxxxx"), 0);
}

/// A finder that is also a lookup, which a plug-in can detect.
class LookupFinder : public TextFinder, public KwStrLookup {
public:
    LookupFinder() : TextFinder("x"), KwStrLookup("x") {}
    std::string GetDescription() const override { return "a lookup of the host"; }
};

class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A finder whose Match() throws.
class FailingFinder : public TextFinder {
public:
    FailingFinder() : TextFinder("x") {}
    bool Match(const std::string&) const override { throw HostError("no memory"); }
};

/// The plug-ins built by this compiler and, if it is installed, by the other one.
class PluginBorder : public ::testing::TestWithParam<std::string> {
protected:
    PluginBorder() { TakeErrors(); }

    const KwIfLookup& Make(const std::string& value) {
        holder.Init(GetParam() + ":" + value);
        EXPECT_THAT(TakeErrors(), IsEmpty());
        return holder.GetObjects().at(0);
    }

    LogClass log{"holder"};
    KwLookupHolder holder{log};
};

TEST_P(PluginBorder, IsPassedByCalls) {
    const KwIfLookup& lookup = Make("x");
    std::string res;
    std::string matched;
    EXPECT_TRUE(lookup.Find(TextFinder("x"), &res, 0, &matched));
    EXPECT_EQ(res, "result of x");
    EXPECT_EQ(matched, "x");
    EXPECT_FALSE(lookup.Find(TextFinder("y"), &res, 0, nullptr));
    EXPECT_EQ(lookup.GetDescription(), "plug-in");
    EXPECT_EQ(lookup.GetLogPtr(), &log);
    EXPECT_EQ(Alive(GetParam()), 1);
    holder.ClearObjects();
    EXPECT_EQ(Alive(GetParam()), 0);
}

TEST_P(PluginBorder, IsPassedByExceptionsOfThePlugIn) {
    holder.Init(GetParam() + ":bad");
    EXPECT_THAT(TakeErrors(),
                ElementsAre("Error in init lookup [" + GetParam() + ":bad]: bad init data"));
    Make("broken");
    std::string res;
    try {
        holder.Find(TextFinder("x"), &res, 0, nullptr);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "cannot answer");
    }
}

TEST_P(PluginBorder, IsPassedByExceptionsOfTheHost) {
    Make("x");
    std::string res;
    EXPECT_THROW(holder.Find(FailingFinder(), &res, 0, nullptr), HostError);
}

TEST_P(PluginBorder, IsPassedByCastsOfTheHost) {
    const KwIfLookup& lookup = Make("x");
    const auto* shared = dynamic_cast<const KwIfSharedLookup*>(&lookup);
    ASSERT_NE(shared, nullptr);
    EXPECT_FALSE(shared->IsNeedCofigLoading());
    EXPECT_NE(dynamic_cast<const KwIfSharedObject*>(&lookup), nullptr);
    EXPECT_NE(dynamic_cast<const InterfaceConfHolder*>(&lookup), nullptr);
    EXPECT_EQ(dynamic_cast<const KwObjectHolder*>(&lookup), nullptr);
    const KwIfObject& object = *shared;
    EXPECT_EQ(dynamic_cast<const KwIfLookup*>(&object), &lookup);
    EXPECT_EQ(static_cast<const KwIfObject*>(&lookup), &object);
}

TEST_P(PluginBorder, IsPassedByCastsOfThePlugIn) {
    Make("echo");
    std::string res;
    EXPECT_TRUE(holder.Find(LookupFinder(), &res, 0, nullptr));
    EXPECT_EQ(res, " a lookup of the host");
    EXPECT_FALSE(holder.Find(TextFinder("echo"), &res, 0, nullptr));
}

INSTANTIATE_TEST_SUITE_P(OwnCompiler, PluginBorder, ::testing::Values("ldap"));
#ifdef TEST_FOREIGN_PLUGIN
INSTANTIATE_TEST_SUITE_P(OtherCompiler, PluginBorder, ::testing::Values("foreign"));
#endif

} // namespace
