// SPDX-License-Identifier: MIT
#pragma once

#include "support/DatabaseSupport.h"

#include <filesystem>
#include <set>
#include <string>

/// Searches in several threads while the file is replaced. The parameter is the format; the tests
/// of each plug-in instantiate it.
class DatabaseThreadsTest : public DatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    static constexpr int VERSIONS = 4;

    DatabaseThreadsTest() {
        for (int version = 0; version < VERSIONS; ++version) {
            Records records{{"version", "v" + std::to_string(version)}};
            for (int i = 0; i < 100; ++i)
                records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
            Make(records, Version(version));
        }
        Replace(0);
        const std::string type = TypeOf(GetParam());
        m_list = type + ":OnError=exception|Database=" + m_dir.Path("table") + "|" +
                 (type == "sqlite" ? "select result from access where address = '$s'" : "$s");
    }

    static void Make(const Records& records, const std::string& name) {
        if (TypeOf(GetParam()) != "sqlite")
            return MakeKeyValueFile(GetParam(), name, records);
        std::string statements = "create table access (address text primary key, result text);\n";
        for (const auto& [address, result] : records)
            statements += "insert into access values ('" + address + "', '" + result + "');\n";
        RunSql(name, "begin;\n" + statements + "commit;\n");
    }

    /// Rename a new file over the table.
    void Replace(int version) {
        std::filesystem::copy_file(Version(version), m_dir.Path("next"));
        Rename(m_dir.Path("next"), m_dir.Path("table"));
    }

    /// Count wrong answers, and note the version of the file.
    static int Wrong(const KwLookupHolder& holder, std::set<std::string>& versions) {
        int wrong = 0;
        for (int i = 0; i < 20; ++i) {
            const std::string number = std::to_string(i * 5);
            const Answer expected{true, " value" + number, "key" + number};
            wrong += !(Ask(holder, "key" + number) == expected);
            wrong += Ask(holder, "nokey" + number).found;
        }
        versions.insert(Ask(holder, "version").res);
        return wrong;
    }

    std::string Version(int version) const { return m_dir.Path(std::to_string(version)); }

    std::string m_list;
};
