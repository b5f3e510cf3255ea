// SPDX-License-Identifier: MIT
#include "host/KwStorageValuesMap.h"
#include "lookup/KwStorageHolder.h"
#include "objects/TestPlugins.h"
#include "support/RecordingLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

constexpr char ODD[] = "an exception of unknown type was thrown";

/// Adds the records that it stores, and its end, to `events`. With the error ODD it throws a
/// number.
class NotingStorage : public KwIfStorage {
public:
    NotingStorage(const std::string& name, Strings& events, const std::string& error = "")
        : m_name(name), m_error(error), m_events(events) {}
    ~NotingStorage() override { m_events.push_back("~" + m_name); }

    void Init(const std::string&) override {}
    std::string GetDescription() const override { return m_name; }
    void InitLog(const LogClass&) override { m_events.push_back("log " + m_name); }
    const LogClass* GetLogPtr() const override { return nullptr; }
    void Store(const KwStorageValuesMap& values) override {
        m_events.push_back(m_name + " stores " + values.m_values.at("a").second);
        if (m_error == ODD)
            throw 42;
        if (!m_error.empty())
            throw std::invalid_argument(m_error);
    }

private:
    const std::string m_name;
    const std::string m_error;
    Strings& m_events;
};

KwStorageValuesMap Record(const std::string& value) {
    KwStorageValuesMap record;
    record.m_values["a"] = {KwStorageValuesMap::Varchar, value};
    return record;
}

class StorageHolderTest : public ::testing::Test {
protected:
    StorageHolderTest() { TakeErrors(); }

    void Add(const std::string& name, const std::string& error = "") {
        m_holder.AddObject(static_cast<KwIfStorage*>(new NotingStorage(name, m_events, error)));
    }

    LogClass m_log{"holder"};
    Strings m_events;
    KwStorageHolder m_holder{m_log};
};

TEST_F(StorageHolderTest, StoresIntoEveryItemAndTellsAllErrors) {
    Add("first", "no");
    Add("odd", ODD);
    Add("second");
    Add("third", "never");
    m_holder.AddObject(nullptr);
    EXPECT_EQ(m_holder.GetObjects().size(), 4U);
    try {
        m_holder.Store(Record("x"));
        ADD_FAILURE();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "no; " + std::string(ODD) + "; never");
    }
    EXPECT_THAT(m_events,
                ElementsAre("first stores x", "odd stores x", "second stores x", "third stores x"));
    m_events.clear();
    m_holder.InitLog(m_log);
    m_holder.ClearObjects();
    EXPECT_THAT(m_events, ElementsAre("log first", "log odd", "log second", "log third", "~first",
                                      "~odd", "~second", "~third"));
    EXPECT_TRUE(m_holder.Empty());
}

TEST_F(StorageHolderTest, WithoutAnErrorNothingIsThrown) {
    EXPECT_NO_THROW(m_holder.Store(Record("x")));
    Add("only");
    EXPECT_NO_THROW(m_holder.Store(Record("y")));
    EXPECT_THAT(m_events, ElementsAre("only stores y"));
}

TEST_F(StorageHolderTest, WhatCannotStoreIsAnErrorOfItsItem) {
    struct Refused {
        std::string item;
        std::string reason;
    };
    const Refused cases[] = {
        {"jdoe@corp.lan", "a literal value cannot be stored into"},
        {"value:x", "a literal value cannot be stored into"},
        {"file:/etc/passwd", "the type 'file' cannot be stored into"},
        {"nothing:x", "unknown id 'nothing'"},
        {"ldap:x", "this type cannot be stored into"},
        {"odbc:x", "Can`t create odbc:xstorage"},
        {"mysql:x", "no connection"},
    };
    for (const Refused& test : cases) {
        m_holder.Init(test.item);
        EXPECT_TRUE(m_holder.Empty());
        EXPECT_THAT(TakeErrors(),
                    ElementsAre("Error in init storage [" + test.item + "]: " + test.reason))
            << test.item;
    }
    EXPECT_EQ(m_holder.GetNameForLog(), "storage");
}

} // namespace
