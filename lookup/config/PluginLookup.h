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

/// The base of plug-in lookups. It does everything but the search itself: the logger, the
/// configuration, `SkipDomains` and `OnError`.
///
///     class PathLookup : public kwlookup::PluginLookup<PathConfig> {
///         using PluginLookup::PluginLookup;
///         void Load(const std::string& text) override;
///         bool Search(const KwLookupFinder& finder, int flags, std::string* res,
///                     std::string* matched) const override;
///     };
///
/// `Config` derives from TypeConfig. It has a constructor that takes the type-wide configuration,
/// which is null for the type-wide one itself, and `Config::NAME`, the name of its section.
///
/// Each load of the section fills a new type-wide configuration. If it is good, lookups that are
/// made from then on use it. A lookup shares ownership of the configuration that it was made with,
/// so a reload does not disturb a running search. Lookups are made and loaded under a process-wide
/// lock of the library, so Current() needs no lock.
///
/// `Base` is KwLookupWithConfig, or a class derived from it with the same constructor.
template <typename Config, typename Base = KwLookupWithConfig>
class PluginLookup : public Base {
public:
    /// Keeps the address of `log`, which must outlive the lookup.
    explicit PluginLookup(const LogClass& log)
        : Base(Current().get()), m_log(&log), m_type_config(Current()) {}

    /// Keeps the address of `log` from now on.
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
        this->m_conf = m_type_config.get();
    }

    /// Throws std::domain_error "SECTION is not loaded", and what ParseInitData() and Load() throw.
    /// The lookup then does not change.
    void Init(const std::string& init_data) override {
        if (!this->m_conf)
            throw std::domain_error(std::string(Config::NAME) + " is not loaded");
        const auto local_conf = this->m_local_conf;
        KwLookupSharedConf* const conf = this->m_conf;
        try {
            Load(this->ParseInitData(init_data));
            m_skips = !this->m_conf->template GetVal<KwDomainsLookup>("SkipDomains").Empty();
        } catch (...) {
            this->m_local_conf = local_conf;
            this->m_conf = conf;
            throw;
        }
    }

    /// Calls Search(), unless `SkipDomains` has the domain. When Search() throws, throws the same
    /// with `OnError = exception`. With `OnError = ignore`, writes "SECTION: REASON" at error level
    /// and returns false.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override {
        try {
            return !(m_skips && this->CheckSkipDomains(finder, flags)) &&
                   Search(finder, flags, res, matched);
        } catch (const std::exception& error) {
            Fail(error);
            return false;
        }
    }

protected:
    /// Loads the part of the init data after the settings. When it throws, it must not have changed
    /// the lookup.
    virtual void Load(const std::string& text) = 0;

    /// Searches. `res` and `matched` may be null. Throws a standard exception when the search
    /// fails.
    virtual bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                        std::string* matched) const = 0;

    /// Handles the failure of a search. Call it in the handler of `error`. With
    /// `OnError = exception` it throws the exception again, otherwise it logs "SECTION: REASON" at
    /// error level.
    void Fail(const std::exception& error) const {
        if (this->m_conf->GetOnError())
            throw;
        if (m_log->isErrorEnabled())
            LogText(*m_log, log4cxx::Level::LEVEL_ERROR,
                    std::string(Config::NAME) + ": " + error.what());
    }

    /// Returns the configuration of this lookup.
    const Config& GetConfig() const { return static_cast<const Config&>(*this->m_conf); }

    KwLookupSharedConf* CreateLocalConf() override { return new Config(m_type_config.get()); }

    /// Returns the searched text. With FIND_STRIP_BRACKETS, leaves out a '<' at its start and a '>'
    /// at its end.
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
        // Never freed, because threads may use it while the process exits.
        static auto& current = *new std::shared_ptr<Config>;
        return current;
    }

    const LogClass* m_log;
    bool m_skips = false; ///< SkipDomains is not empty
    std::shared_ptr<Config> m_type_config;
    std::shared_ptr<Config> m_loading; ///< the last one loaded, good or bad
};

} // namespace kwlookup
