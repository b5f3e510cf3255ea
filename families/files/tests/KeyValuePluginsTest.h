// SPDX-License-Identifier: MIT
#pragma once

#include "support/DatabaseSupport.h"

#include <string>

/// Tests of every plug-in that searches files of keys and values, on files that the tools of the
/// formats made. The parameter is the format; the tests of each plug-in instantiate it.
class KeyValuePluginsTest : public DatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    static std::string GetType() { return TypeOf(GetParam()); }

    std::string Make(const Records& records, const std::string& file = "table") const {
        const std::string name = m_dir.Path(file);
        MakeKeyValueFile(GetParam(), name, records);
        return name;
    }

    static std::string Item(const std::string& database, const std::string& rest = "$s") {
        return GetType() + ":Database=" + database + "|" + rest;
    }

    static std::string Strict(const std::string& database, const std::string& rest = "$s") {
        return Item(database, "OnError=exception|" + rest);
    }

    static std::string InvalidFile() {
        return GetType() == "cdb" ? "not a valid cdb file" : "not a valid Berkeley DB file";
    }
};
