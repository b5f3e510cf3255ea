// SPDX-License-Identifier: MIT
// Built without run-time type information, as a plug-in may be.
#include "lookup/KwIfSharedLookup.h"

namespace {

/// Matches every text.
class UntypedLookup : public KwIfSharedLookup {
public:
    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return true; }
    void PostInit() override {}
    void Init(const std::string&) override {}
    std::string GetDescription() const override { return std::string(); }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return true;
    }
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new UntypedLookup;
}
