// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <string>

namespace kwlookup {

/// Knows how to expand templates; is never searched.
class Expander : public KwLookupWithConfig {
public:
    Expander() : KwLookupWithConfig(nullptr) {}

    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return false;
    }
    std::string GetDescription() const override { return ""; }
    void Init(const std::string&) override {}
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return true; }
    void PostInit() override {}

protected:
    KwLookupSharedConf* CreateLocalConf() override { return nullptr; }
};

} // namespace kwlookup
