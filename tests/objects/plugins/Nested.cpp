// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

namespace {

/// A plug-in whose init data is an object list. It fills its own holder with that list.
class NestedLookup : public PluginLookup {
public:
    explicit NestedLookup(const LogClass& log) : m_list(log) {}

    void Init(const std::string& list) override {
        try {
            m_list.Init(list);
        } catch (const std::invalid_argument& error) {
            throw PluginError(std::string("no list: ") + error.what());
        }
    }
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override {
        return m_list.Find(finder, res, flags, matched);
    }

private:
    KwLookupHolder m_list;
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new NestedLookup(log);
}
