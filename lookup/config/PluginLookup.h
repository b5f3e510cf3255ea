// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"
#include "lookup/config/KwLookupWithConfig.h"

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace kwlookup {

/// A lookup with a configuration, but for the search itself: its logger, its configuration, what
/// `SkipDomains` and `OnError` ask of a search.
///
/// `Config` derives from TypeConfig, has a constructor that takes the type-wide configuration (null
/// for that one itself), and the name of its section as `Config::NAME`.
///
/// Each load of the type's section fills a new type-wide configuration, which counts for the
/// lookups made from then on, and only when it is good. A lookup keeps the one that it was made
/// with, and keeps it alive, so a reload changes nothing under a running search. Lookups are made
/// and loaded under the library's process-wide lock, so the current one needs no lock of its own.
template <typename Config>
class PluginLookup : public KwLookupWithConfig {
public:
    /// Keeps the address of `log`, which must outlive the lookup.
    explicit PluginLookup(const LogClass& log)
        : KwLookupWithConfig(Current().get()), m_log(&log), m_type_config(Current()) {}

    /// Keeps the address of `log` instead.
    void InitLog(const LogClass& log) override { m_log = &log; }
    const LogClass* GetLogPtr() const override { return m_log; }

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        m_loading = std::make_shared<Config>(nullptr);
        m_loading->SetLog(*m_log);
        return m_loading->MakePreInit(parser);
    }

    void PostInit() override {
        m_loading->PostInit();
        m_type_config = Current() = m_loading;
        m_conf = m_type_config.get();
    }

    /// Throws std::domain_error "SECTION is not loaded", and what ParseInitData() and Load() throw;
    /// the lookup then stays as it was.
    void Init(const std::string& init_data) override {
        if (!m_conf)
            throw std::domain_error(std::string(Config::NAME) + " is not loaded");
        const auto local_conf = m_local_conf;
        KwLookupSharedConf* const conf = m_conf;
        try {
            Load(ParseInitData(init_data));
            m_skips = !m_conf->GetVal<KwDomainsLookup>("SkipDomains").Empty();
        } catch (...) {
            m_local_conf = local_conf;
            m_conf = conf;
            throw;
        }
    }

    /// A failed search throws under `OnError = exception`; otherwise it is a miss, and "SECTION:
    /// REASON" is written at error level.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override {
        try {
            return !(m_skips && CheckSkipDomains(finder, flags)) &&
                   Search(finder, flags, res, matched);
        } catch (const std::exception& error) {
            if (m_conf->GetOnError())
                throw;
            if (m_log->isErrorEnabled())
                LogText(*m_log, log4cxx::Level::LEVEL_ERROR,
                        std::string(Config::NAME) + ": " + error.what());
            return false;
        }
    }

protected:
    /// Takes what follows the settings in the init data. When it throws, the lookup must be as it
    /// was.
    virtual void Load(const std::string& text) = 0;

    /// The search itself; `res` and `matched` may be null. What it throws is a failed search.
    virtual bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                        std::string* matched) const = 0;

    /// The configuration that this lookup asks.
    const Config& GetConfig() const { return static_cast<const Config&>(*m_conf); }

    KwLookupSharedConf* CreateLocalConf() override { return new Config(m_type_config.get()); }

    /// The searched text, under FIND_STRIP_BRACKETS without one '<' at its start and one '>' at its
    /// end.
    static std::string_view TextOf(const KwLookupFinder& finder, int flags) {
        std::string_view text = ViewOf(finder.GetRequest());
        if (flags & FIND_STRIP_BRACKETS) {
            if (!text.empty() && text.front() == '<')
                text.remove_prefix(1);
            if (!text.empty() && text.back() == '>')
                text.remove_suffix(1);
        }
        return text;
    }

private:
    static std::shared_ptr<Config>& Current() {
        // Never freed, so that threads that end after the process began to exit find it.
        static auto& current = *new std::shared_ptr<Config>;
        return current;
    }

    const LogClass* m_log;
    bool m_skips = false; ///< the configuration has SkipDomains
    std::shared_ptr<Config> m_type_config;
    std::shared_ptr<Config> m_loading; ///< what was last loaded, good or bad
};

} // namespace kwlookup
