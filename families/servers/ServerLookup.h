// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/AnswerCache.h"
#include "families/servers/Deadline.h"
#include "families/servers/PerProcess.h"
#include "families/servers/ServerReport.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/SharedByKey.h"
#include "host/LogText.h"
#include "lookup/config/PluginLookup.h"

#include <memory>
#include <string>

namespace kwlookup {

/// A lookup that asks servers. A type provides three classes:
///
///   - `Config` derives from ServerConfig. Besides what PluginLookup requires, it has
///     `ServerSettings GetSettings() const`, which calls GetServerSettings() with the type's
///     default port and puts the type's own parameters that make connections differ into `of_type`.
///   - `Query` is what the item asks. It has
///       - a constructor from (const std::string& text, const Config&);
///       - `GetText()`, the text as configured;
///       - `GetKey()`, which differs between queries that may have different answers;
///       - `bool Expand(const KwLookupWithConfig&, const KwLookupFinder&, int flags, std::string&
///         question) const`, which makes the question for a searched text, or returns false if
///         there is nothing to ask;
///       - `Matched(question)`, the text for *matched after a match.
///     Equal questions have equal answers.
///   - `Source` answers. It has a constructor from std::shared_ptr<const ServerSettings>, and
///     `Ask(const Query&, const std::string& question, Deadline, Answer&)`. That throws ServerFault
///     with the names of the servers if none can be asked, and another exception if a server
///     rejects the question. With ServerSet<Connection> the type writes only the `Connection`.
///
/// Items with equal settings share one Source, and items that also have equal queries share their
/// answers. A child process after fork(2) has its own.
///
/// `Base` is the parameter of PluginLookup. For types that can store, see ServerStorage.
///
/// Threads: any number may search at once.
template <typename Config, typename Query, typename Source, typename Base = KwLookupWithConfig>
class ServerLookup : public PluginLookup<Config, Base> {
public:
    using PluginLookup<Config, Base>::PluginLookup;

    std::string GetDescription() const override {
        return m_state ? m_state->query.GetText() : std::string();
    }

protected:
    void Load(const std::string& text) override {
        const Config& config = this->GetConfig();
        const auto settings = std::make_shared<const ServerSettings>(config.GetSettings());
        m_state = std::make_unique<const State>(text, config, settings);
        WarnOfTls(*settings);
    }

    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override {
        const State& state = *m_state;
        static thread_local std::string question; // keeps its memory between searches
        question.clear();
        if (!state.query.Expand(*this, finder, flags, question))
            return false;
        const Deadline deadline(state.timeout);
        AnswerCache& cache = *state.cache->Get();
        const AnswerCache::AnswerPtr answer = cache.Get(question, deadline, [&](Answer& empty) {
            state.source->Get()->Ask(state.query, question, deadline, empty);
        });
        const std::string stale = cache.TakeStaleReason();
        if (!stale.empty())
            Warn("old answers are used: " + stale);
        if (!answer->IsFound())
            return false;
        if (res)
            *res = answer->GetResult();
        if (matched)
            *matched = state.query.Matched(question);
        return true;
    }

    static std::shared_ptr<PerProcess<Source>>
    SharedSource(const std::shared_ptr<const ServerSettings>& settings) {
        ServerReport::Begin(Config::NAME);
        return Shared<Source>(settings->GetKey(),
                              [settings] { return std::make_shared<Source>(settings); });
    }

    void WarnOfTls(const ServerSettings& settings) const {
        if (settings.tls.mode != TlsSettings::Mode::No && !settings.tls.verify)
            Warn("TlsVerify is off: whoever takes a server's place can read and answer");
    }

private:
    template <typename T>
    static std::shared_ptr<PerProcess<T>> Shared(const std::string& key,
                                                 typename PerProcess<T>::Make make) {
        return SharedByKey<PerProcess<T>>::Get(
            key, [&make] { return std::make_shared<PerProcess<T>>(make); });
    }

    struct State {
        State(const std::string& text, const Config& config,
              const std::shared_ptr<const ServerSettings>& settings)
            : query(text, config), timeout(settings->timeout), source(SharedSource(settings)),
              cache(Shared<AnswerCache>(settings->GetKey() + query.GetKey(), [settings] {
                  return std::make_shared<AnswerCache>(*settings);
              })) {}

        Query query;
        std::chrono::milliseconds timeout;
        std::shared_ptr<PerProcess<Source>> source;
        std::shared_ptr<PerProcess<AnswerCache>> cache;
    };

    void Warn(const std::string& text) const {
        const LogClass& log = *this->GetLogPtr();
        if (log.isWarnEnabled())
            LogText(log, log4cxx::Level::LEVEL_WARN, std::string(Config::NAME) + ": " + text);
    }

    std::unique_ptr<const State> m_state;
};

} // namespace kwlookup
