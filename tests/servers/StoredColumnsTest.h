// SPDX-License-Identifier: MIT
#pragma once

#include "servers/SqlServerTest.h"
#include "support/StorageSupport.h"

#include <map>
#include <string>
#include <vector>

/// Values of each kind in columns of each type.
template <typename Service>
class StoredColumnsTest : public SqlServerTest<Service> {
protected:
    using Base = SqlServerTest<Service>;

    struct Case {
        std::string column; ///< its type
        std::string type;   ///< of the value
        std::string value;
        std::string result; ///< of a search; or, behind a '!', a part of the reason of a refusal
    };

    /// Keeps the connections.
    StoredColumnsTest() { m_keeper.Init(Base::Item(Base::Get().GetQuery())); }

    /// Makes the tables, and stores each value.
    void ExpectStored(const std::vector<Case>& cases) {
        std::map<std::string, std::string> tables;
        std::string statements;
        for (const Case& test : cases) {
            const auto [table, is_new] =
                tables.try_emplace(test.column, "stored_" + std::to_string(tables.size()));
            if (is_new)
                statements += "create table " + table->second + " (id varchar(9), c " +
                              test.column + ");\n" + Base::GrantOf("select, insert", table->second);
        }
        Base::Sql(statements);
        for (const Case& test : cases) {
            SCOPED_TRACE(test.type + " '" + test.value + "' in " + test.column);
            const std::string& table = tables[test.column];
            const std::string id = std::to_string(&test - cases.data());
            const std::string error = ErrorOfStoring(
                "insert into " + table + " values (:id<varchar>, :value<" + test.type + ">)", id,
                test.value);
            const std::string found =
                this->AskList(Base::Item("select c from " + table + " where id = '$s'"), id).res;
            if (test.result[0] == '!') {
                EXPECT_NE(error, "");
                EXPECT_THAT(error, testing::HasSubstr(test.result.substr(1)));
                EXPECT_EQ(found, "");
            } else {
                EXPECT_EQ(error, "");
                EXPECT_EQ(found, " " + test.result);
            }
        }
    }

    /// Why a record could not be stored, without the server's name.
    std::string ErrorOfStoring(const std::string& statement, const std::string& id,
                               const std::string& value) {
        KwStorageHolder holder(this->m_log);
        holder.Init(Base::Item(statement));
        const std::string error = StoreError(holder, Record({{"id", id}, {"value", value}}));
        const std::string name = Base::Server().GetHost() + ": ";
        return error.compare(0, name.size(), name) == 0 ? error.substr(name.size()) : error;
    }

private:
    KwLookupHolder m_keeper{this->m_log};
};
