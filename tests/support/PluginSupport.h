// SPDX-License-Identifier: MIT
#pragma once

#include "conf/ConfParser.h"
#include "host/InterfaceConfHolder.h"
#include "kwhost/ConfFileLoader.h"
#include "lookup/KwLookupHolder.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <vector>

/// A loader that lets plug-ins register their parameters but sets none of them.
class LoaderWithoutValues : public IfConfLoader {
public:
    std::string GetDescription() const override { return "no values"; }
    bool LoadSection(int, const std::string&, int, const std::string&, int,
                     InterfaceConfHolder* holder, const LogClass& log) override {
        const bool good = holder->MakePreInit(boost::make_shared<ConfParser>(log));
        holder->PostInit();
        return good;
    }
    void ReleaseLoader() override {}
    void PrepareLoad() override {}
    bool AcquireLoader() override { return false; }
};

/// Base of the tests of plug-ins, with a real configuration file.
class PluginTest : public testing::Test {
protected:
    /// The answer to a search.
    struct Answer {
        bool found;
        std::string res;
        std::string matched;

        bool operator==(const Answer& other) const {
            return found == other.found && res == other.res && matched == other.matched;
        }
        friend void PrintTo(const Answer& answer, std::ostream* out) {
            *out << (answer.found ? "found" : "not found") << " res [" << answer.res
                 << "] matched [" << answer.matched << "]";
        }
    };

    PluginTest() : m_log("list") {
        RecordingLog::Reset();
        KwObjectHolder::SetConfLoader(m_loader);
        Configure("");
    }

    ~PluginTest() override {
        TakeErrors();
        KwObjectHolder::SetConfLoader(nullptr);
    }

    /// Set the configuration to `text`, and reload it for the plug-ins in use.
    void Configure(const std::string& text) {
        const std::string name = m_dir.Write("kwlookup.conf", text);
        ::chmod(name.c_str(), 0600);
        m_loader->SetFile(kwlookup::ConfFile(name));
        TakeErrors();
        KwObjectHolder::BeforeReload(m_log);
    }

    /// Reload the plug-ins in use with a loader that sets no values.
    void ConfigureNothing() {
        TakeErrors();
        m_without_values = boost::make_shared<LoaderWithoutValues>();
        KwObjectHolder::SetConfLoader(m_without_values);
        KwObjectHolder::BeforeReload(m_log);
    }

    /// The message of the exception of a search.
    std::string SearchErrorOf(const std::string& list, const std::string& text) {
        try {
            AskList(list, text);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "nothing was thrown";
    }

    /// The errors of items collected since the last call. Clears the recorded log before.
    std::vector<std::string> TakeErrors() {
        RecordingLog::Reset();
        std::vector<std::string> errors;
        try {
            KwObjectHolder::AfterReload(m_log);
        } catch (const std::domain_error&) {
            errors = RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR);
            errors.erase(errors.begin());
        }
        return errors;
    }

    static Answer Ask(const KwLookupHolder& holder, const std::string& text, int flags = 0) {
        Answer answer{false, "", ""};
        answer.found = holder.Find(TextFinder(text), &answer.res, flags, &answer.matched);
        return answer;
    }

    Answer AskList(const std::string& list, const std::string& text, int flags = 0) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        return Ask(holder, text, flags);
    }

    /// Search twice, because the second search finds its source open, and once without a result
    /// string.
    void ExpectAnswer(const std::string& list, const std::string& text, int flags,
                      const Answer& answer) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        EXPECT_EQ(Ask(holder, text, flags), answer);
        EXPECT_EQ(Ask(holder, text, flags), answer);
        EXPECT_EQ(holder.Find(TextFinder(text), nullptr, flags, nullptr), answer.found);
    }

    /// The error of the only item of `list`, which must fail.
    std::string ErrorOf(const std::string& list) {
        TakeErrors();
        KwLookupHolder holder(m_log);
        holder.Init(list);
        EXPECT_TRUE(holder.Empty());
        const std::vector<std::string> errors = TakeErrors();
        return errors.size() == 1 ? errors[0] : std::to_string(errors.size()) + " errors";
    }

    static Answer Miss() { return {false, "", ""}; }

    TempDir m_dir;
    LogClass m_log;
    boost::shared_ptr<kwlookup::ConfFileLoader> m_loader =
        boost::make_shared<kwlookup::ConfFileLoader>();
    boost::shared_ptr<LoaderWithoutValues> m_without_values;
};
