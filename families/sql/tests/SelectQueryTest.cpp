// SPDX-License-Identifier: MIT
#include "families/sql/SelectQuery.h"

#include "servers/HostileAddress.h"
#include "support/Expander.h"
#include "support/TextFinder.h"

#include <gtest/gtest.h>

#include <string>

namespace kwlookup {
namespace {

/// The statement and the value that are sent to the server for `text`.
std::string Sent(const SelectQuery& query, const std::string& text) {
    static const Expander expander;
    std::string value;
    if (!query.Expand(expander, TextFinder(text), 0, value))
        return "nothing";
    return query.GetStatement() + '\n' + value;
}

SelectQuery Query(const std::string& value, SelectStatement::Columns columns) {
    return SelectQuery("select a, b from m.t where c = '" + value + "'", '`', "?", 7, columns);
}

} // namespace

TEST(SelectQuery, AsksForOneRowMoreAndForTheConditionsColumn) {
    const auto selected = SelectStatement::Columns::Selected;
    EXPECT_EQ(Sent(Query("$s", selected), "x"),
              "select `a`, `b` from `m`.`t` where `c` = ? limit 8\nx");
    const auto condition = SelectStatement::Columns::AndCondition;
    EXPECT_EQ(Sent(Query("$s", condition), "x"),
              "select `a`, `b`, `c` from `m`.`t` where `c` = ? limit 8\nx");
    EXPECT_EQ(Sent(Query("$d", condition), "x"), "nothing");
}

TEST(SelectQuery, HostileAddressesAreTheValueAndNothingElse) {
    const std::string statement = "select `a`, `b`, `c` from `m`.`t` where `c` = ? limit 8\n";
    const auto condition = SelectStatement::Columns::AndCondition;
    const SelectQuery whole = Query("$s", condition);
    const SelectQuery parts = Query("<$u at $d>", condition);
    for (unsigned i = 0; i < HostileAddresses(500000); ++i) {
        const std::string address = HostileAddress(i);
        ASSERT_EQ(Sent(whole, address), address.empty() ? "nothing" : statement + address) << i;
        const std::size_t at = address.find('@');
        const bool has_both = at != std::string::npos && at != 0 && at + 1 != address.size();
        ASSERT_EQ(Sent(parts, address), has_both ? statement + '<' + address.substr(0, at) +
                                                       " at " + address.substr(at + 1) + '>'
                                                 : "nothing")
            << i;
    }
}

} // namespace kwlookup
