// SPDX-License-Identifier: MIT
#include "host/InterfaceConfHolder.h"
#include "objects/KwObjectHolder.h"
#include "objects/ReloadSupport.h"
#include "support/RecordingLog.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

/// An exception that is not a std::exception.
struct Foreign {};

class Target : public InterfaceConfHolder {
public:
    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return true; }
    void PostInit() override {}
};

class LoadConfig : public ::testing::Test {
protected:
    LoadConfig() {
        RecordingLog::Reset();
        KwObjectHolder::SetConfLoader(loader);
    }

    /// Returns the text of the exception that the load throws, or an empty text.
    std::string Load(const std::string& type = "ldap") {
        try {
            KwObjectHolder::LoadConfig(type, &target, log);
            return std::string();
        } catch (const std::domain_error& error) {
            return error.what();
        } catch (const std::runtime_error& error) {
            return std::string("runtime_error: ") + error.what();
        } catch (const Foreign&) {
            return "foreign";
        }
    }

    LogClass log{"load"};
    Target target;
    Strings calls;
    boost::shared_ptr<ScriptedLoader> loader = boost::make_shared<ScriptedLoader>(calls);
};

TEST_F(LoadConfig, FailsWithoutALoader) {
    const std::string none = "can`t load configuratoin for ldap: no ConfLoader object";
    KwObjectHolder::SetConfLoader(nullptr);
    EXPECT_EQ(Load(), none);

    KwObjectHolder::SetConfLoader(loader);
    EXPECT_EQ(Load(), "");
    loader.reset();
    EXPECT_EQ(calls.back(), "gone") << "the library kept the loader";
    EXPECT_EQ(Load(), none);
}

TEST_F(LoadConfig, PassesTheHolderAndTheLog) {
    EXPECT_EQ(Load("a b"), "");
    EXPECT_THAT(calls, ElementsAre("acquire", "prepare", "load lookup_a b", "release"));
    EXPECT_EQ(loader->last_holder, &target);
    EXPECT_EQ(loader->last_log, &log);
    const RecordingLog::Line line{DEBUG, "load", "Success load configuration for lookup_a b"};
    EXPECT_THAT(RecordingLog::GetLines(), ElementsAre(line));
}

TEST_F(LoadConfig, LogsNothingBelowDebugLevel) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    EXPECT_EQ(Load(), "");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LoadConfig, ASectionThatCannotBeReadIsAnError) {
    loader->section_is_good = false;
    EXPECT_EQ(Load(), "error in reading configuration for ldap");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(LoadConfig, ReleasesOnEveryPathExactlyWhatWasAcquired) {
    const Strings steps = {"acquire", "prepare", "load lookup_ldap"};
    for (const bool acquired : {false, true})
        for (const bool good : {false, true})
            for (const bool foreign : {false, true})
                for (std::size_t failing = 0; failing <= steps.size(); ++failing) {
                    SCOPED_TRACE(testing::Message() << acquired << good << foreign << failing);
                    loader->acquired = acquired;
                    loader->section_is_good = good;
                    loader->on_call = [&](const std::string& operation) {
                        if (failing == steps.size() || operation != steps[failing])
                            return;
                        if (foreign)
                            throw Foreign();
                        throw std::runtime_error("no file");
                    };
                    calls.clear();
                    const std::string thrown = Load();

                    Strings expected(steps.begin(),
                                     steps.begin() + static_cast<std::ptrdiff_t>(
                                                         std::min(failing + 1, steps.size())));
                    if (acquired && failing != 0)
                        expected.push_back("release");
                    EXPECT_THAT(calls, ElementsAreArray(expected));
                    if (failing < steps.size())
                        EXPECT_EQ(thrown, foreign ? "foreign" : "runtime_error: no file");
                    else
                        EXPECT_EQ(thrown, good ? "" : "error in reading configuration for ldap");
                }
}

TEST_F(LoadConfig, SurvivesALoaderThatCannotRelease) {
    for (const bool good : {false, true})
        for (const bool foreign : {false, true}) {
            SCOPED_TRACE(testing::Message() << good << foreign);
            loader->section_is_good = good;
            loader->on_call = [&](const std::string& operation) {
                if (operation != "release")
                    return;
                if (foreign)
                    throw Foreign();
                throw std::runtime_error("still busy");
            };
            RecordingLog::Reset();
            EXPECT_EQ(Load(), good ? "" : "error in reading configuration for ldap");
            EXPECT_THAT(RecordingLog::Texts(ERROR),
                        ElementsAre(std::string("Error in releasing the configuration loader: ") +
                                    (foreign ? "unknown error" : "still busy")));
            RecordingLog::FailOn("Error in releasing");
            EXPECT_EQ(Load(), good ? "" : "error in reading configuration for ldap");
            RecordingLog::Silence();
            EXPECT_EQ(Load(), good ? "" : "error in reading configuration for ldap");
            EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
        }
}

TEST_F(LoadConfig, UsesOneLoaderEvenIfItIsReplacedMeanwhile) {
    const auto other = boost::make_shared<ScriptedLoader>(calls, "other ");
    loader->on_call = [&](const std::string& operation) {
        if (operation == "prepare")
            KwObjectHolder::SetConfLoader(other);
    };
    EXPECT_EQ(Load(), "");
    EXPECT_EQ(Load(), "");
    EXPECT_THAT(calls,
                ElementsAre("acquire", "prepare", "load lookup_ldap", "release", "other acquire",
                            "other prepare", "other load lookup_ldap", "other release"));
}

TEST_F(LoadConfig, KeepsALoaderAliveThatTheHostDropsMeanwhile) {
    loader->on_call = [&](const std::string& operation) {
        if (operation == "prepare")
            loader.reset();
    };
    EXPECT_EQ(Load(), "");
    EXPECT_THAT(calls, ElementsAre("acquire", "prepare", "load lookup_ldap", "release", "gone"));
    EXPECT_EQ(Load(), "can`t load configuratoin for ldap: no ConfLoader object");
}

TEST_F(LoadConfig, FailsIfTheLogFailsAndStillReleases) {
    RecordingLog::FailOn("Success load");
    EXPECT_EQ(Load(), "runtime_error: log is full");
    EXPECT_EQ(calls.back(), "release");
}

} // namespace
