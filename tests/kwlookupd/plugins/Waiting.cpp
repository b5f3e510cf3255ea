// SPDX-License-Identifier: MIT
// A plug-in that knows slow@corp.lan. Its answer takes the milliseconds that its item names:
// "waiting:20". With the path of a pipe in its place, loading the item waits for a byte from there.
#include "objects/plugins/TestPlugin.h"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

PluginCounts g_counts;

namespace {

class WaitingLookup : public PluginLookup {
public:
    void Init(const std::string& milliseconds) override {
        if (milliseconds.rfind('/', 0) == 0)
            std::ifstream(milliseconds).get();
        else
            m_time = std::chrono::milliseconds(std::stoi(milliseconds));
    }

    bool Find(const KwLookupFinder& finder, std::string* res, int, std::string*) const override {
        ++g_counts.searched;
        std::this_thread::sleep_for(m_time);
        *res = "waited";
        return finder.Match("slow@corp.lan");
    }

private:
    std::chrono::milliseconds m_time{};
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new WaitingLookup;
}
