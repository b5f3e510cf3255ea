// SPDX-License-Identifier: MIT
#include "objects/reload_plugins/ReloadPlugin.h"

#include "host/LogClass.h"
#include "lookup/KwIfSharedLookup.h"

#include <stdexcept>

ReloadPluginState g_state;

namespace {

void FailAt(Fault fault) {
    if (g_state.fault == fault)
        throw std::runtime_error("told to fail");
}

/// A lookup that matches nothing.
class ReloadPlugin : public KwIfSharedLookup {
public:
    ReloadPlugin() { ++g_state.alive; }
    ~ReloadPlugin() override { --g_state.alive; }

    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return true; }
    void PostInit() override {}
    bool IsNeedCofigLoading() const override {
        FailAt(Fault::Question);
        return g_state.needs_config;
    }

    void Init(const std::string&) override { ++g_state.inits; }
    std::string GetDescription() const override { return std::string(); }
    void InitLog(const LogClass& log) override {
        FailAt(Fault::InitLog);
        ++g_state.init_logs;
        if (g_state.keeps_log)
            m_log = &log;
    }
    const LogClass* GetLogPtr() const override {
        FailAt(Fault::LogPtr);
        static const LogClass own_log("own");
        return g_state.has_own_log ? &own_log : m_log;
    }

    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return false;
    }

private:
    const LogClass* m_log = nullptr;
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    FailAt(Fault::Creator);
    return g_state.fault == Fault::NullObject ? nullptr : new ReloadPlugin;
}

extern "C" KW_EXPORT KwIfSharedLookup* CreateOther(const LogClass&) {
    throw std::runtime_error("the wrong creator");
}
