// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwDomainsLookup.h"
#include "lookup/builtin/StringList.h"
#include "support/RecordingLog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kwlookup;

TEST(KeyedWalkThreads, FirstWalksAndFirstExactSearchMayRunAtOnce) {
    RecordingLog::Silence();
    LogClass log("domains");
    std::vector<std::string> values;
    for (int i = 0; i < 1000; ++i)
        values.push_back("host" + std::to_string(i) + ".lan");
    for (int round = 0; round < 20; ++round) {
        KwDomainsLookup domains(log);
        domains.AddObject(static_cast<KwIfLookup*>(new StringList(values)));
        int missed[3] = {0, 0, 0};
        const auto search = [&](int& misses, bool allow_subdomains) {
            for (int i = 0; i < 200; ++i) {
                const std::string text =
                    (allow_subdomains ? "x.host" : "host") + std::to_string(i) + ".lan";
                misses +=
                    !domains.FindDomain(TextRange(text.begin(), text.end()), allow_subdomains);
            }
        };
        std::thread one([&] { search(missed[0], true); });
        std::thread two([&] { search(missed[1], true); });
        std::thread three([&] { search(missed[2], false); });
        one.join();
        two.join();
        three.join();
        EXPECT_EQ(missed[0] + missed[1] + missed[2], 0);
    }
}

} // namespace
