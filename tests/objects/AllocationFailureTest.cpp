// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "objects/TestPlugins.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

namespace {

/// Fills a holder with `list` again and again, and lets the first, the second, ... allocation fail
/// until all succeed. The list has `good` items that can be made and `bad` ones that cannot.
/// `forgotten` libraries are not kept when they fail; they may become registered meanwhile.
void FillWithoutMemory(const std::string& list, std::size_t good, std::size_t bad,
                       long forgotten = 0) {
    SCOPED_TRACE(list);
    LogClass log("holder");
    // Lets everything grow that grows once a process: libraries, tables, the list of errors.
    for (int i = 0; i < 2; ++i) {
        KwLookupHolder holder(log);
        holder.Init(list + ", nosuch:x");
        TakeErrors();
    }
    const LoadedPlugin ldap("ldap");
    const LoadedPlugin firebird("firebird");
    int failed_items = 0;
    long growth = 0;
    bool failed = true;
    for (long nth = 0; failed; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, 10000);
        const long allocations = FailingAllocation::Live();
        {
            RecordingLog::Silence();
            KwLookupHolder holder(log);
            bool thrown = false;
            {
                FailingAllocation failure(nth);
                try {
                    holder.Init(list);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                failed = failure.HasFailed();
            }
            const std::size_t made = holder.GetObjects().size();
            const std::vector<std::string> errors = TakeErrors();
            const auto memory_errors =
                std::count_if(errors.begin(), errors.end(), [](const std::string& error) {
                    return error.find("]: std::bad_alloc") != std::string::npos ||
                           error.find(": Cannot allocate memory") != std::string::npos;
                });
            EXPECT_TRUE(failed || !thrown);
            EXPECT_LE(memory_errors, failed ? 1 : 0);
            if (!thrown) {
                EXPECT_EQ(made + errors.size(), good + bad);
                EXPECT_GE(made, good - static_cast<std::size_t>(memory_errors));
                failed_items += static_cast<int>(memory_errors);
            } else if (bad == 0) {
                // No item was made yet: the text was being copied or split.
                EXPECT_EQ(made, 0U);
                EXPECT_TRUE(errors.empty());
            }

            // The lock is free and everything works again.
            holder.Init(list);
            EXPECT_EQ(holder.GetObjects().size(), good);
            EXPECT_EQ(TakeErrors().size(), bad);
        }
        growth += FailingAllocation::Live() - allocations;
        EXPECT_GE(growth, 0);
        EXPECT_LE(growth, forgotten);
        EXPECT_EQ(ldap ? ldap.GetCounts().alive.load() : 0, 0);
        EXPECT_EQ(firebird ? firebird.GetCounts().alive.load() : 0, 0);
    }
    EXPECT_GT(failed_items, 0);
}

TEST(AllocationFailure, CostsOneItemOfAList) {
    const TempDir directory;
    const std::string long_name(100, 'x');
    const std::string file = directory.Write(long_name, "one\n" + long_name + "\n");
    // At the third and the fifth item the list of objects grows.
    FillWithoutMemory("a, " + long_name + ", file:" + file + ", value:" + long_name +
                          ", ldap:" + long_name + ", b",
                      6, 0);
}

TEST(AllocationFailure, LeavesNothingBehindAnItemThatFails) {
    const std::string long_name(100, 'x');
    FillWithoutMemory("a, firebird:" + long_name + ", ldap:bad, ldap:" + long_name, 2, 2, 1);
    FillWithoutMemory("nosuch:x, absent:x, file:/" + long_name + ", a, odbc:x, mysql:x, ldap:x", 2,
                      5);
}

} // namespace
