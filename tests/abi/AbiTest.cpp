// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"
#include "host/IfConfLoader.h"
#include "host/KwStorageValuesMap.h"
#include "host/LogClass.h"
#include "lookup/KwIfSharedStorage.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/KwStrLookup.h"
#include "sql/KwSQLParser.h"
#include "support/RecordingLog.h"
#include "support/TextFinder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace {

// A base that can be cast to the derived class statically is not virtual.
template <typename Base, typename Derived, typename = void>
struct IsVirtualBase : std::is_convertible<Derived*, Base*> {};
template <typename Base, typename Derived>
struct IsVirtualBase<Base, Derived,
                     std::void_t<decltype(static_cast<Derived*>(std::declval<Base*>()))>>
    : std::false_type {};

template <typename Base, typename Derived>
constexpr bool IsPlainBase =
    std::is_convertible_v<Derived*, Base*> && !IsVirtualBase<Base, Derived>::value;

/// Checks whether one class is abstract, and how it inherits KwIfObject.
template <typename Class>
void ExpectClass(bool is_abstract, bool has_object) {
    SCOPED_TRACE(typeid(Class).name());
    EXPECT_EQ(std::is_abstract_v<Class>, is_abstract);
    EXPECT_TRUE(std::has_virtual_destructor_v<Class>);
    EXPECT_EQ((IsVirtualBase<KwIfObject, Class>::value), has_object);
    EXPECT_EQ((std::is_base_of_v<KwIfObject, Class>), has_object);
}

TEST(Abi, ClassesAreAbstractAndHaveOneObject) {
    EXPECT_TRUE(std::is_abstract_v<KwIfObject>);
    EXPECT_TRUE(std::has_virtual_destructor_v<KwIfObject>);
    ExpectClass<KwIfLookup>(true, true);
    ExpectClass<KwIfStorage>(true, true);
    ExpectClass<InterfaceConfHolder>(true, false);
    ExpectClass<KwIfSharedObject>(true, true);
    ExpectClass<KwIfSharedLookup>(true, true);
    ExpectClass<KwIfSharedStorage>(true, true);
    ExpectClass<KwLookupFinder>(true, false);
    ExpectClass<KwObjectHolder>(true, true);
    ExpectClass<KwLookupHolder>(false, true);
    ExpectClass<KwStrLookup>(false, true);
    ExpectClass<KwVectorStrLookup>(true, true);
    ExpectClass<KwFileLookup>(false, true);
    ExpectClass<IfConfLoader>(true, false);
    ExpectClass<IfConfParser>(true, false);
    ExpectClass<KwSQLParser>(false, false);
}

TEST(Abi, BasesAreVirtualOrNot) {
    EXPECT_TRUE((IsVirtualBase<InterfaceConfHolder, KwIfSharedObject>::value));
    EXPECT_TRUE((IsVirtualBase<KwIfSharedObject, KwIfSharedLookup>::value));
    EXPECT_TRUE((IsVirtualBase<KwIfLookup, KwIfSharedLookup>::value));
    EXPECT_TRUE((IsVirtualBase<KwIfSharedObject, KwIfSharedStorage>::value));
    EXPECT_TRUE((IsVirtualBase<KwIfStorage, KwIfSharedStorage>::value));
    EXPECT_TRUE((IsPlainBase<KwObjectHolder, KwLookupHolder>));
    EXPECT_TRUE((IsPlainBase<KwIfLookup, KwLookupHolder>));
    EXPECT_TRUE((IsPlainBase<KwIfLookup, KwStrLookup>));
    EXPECT_TRUE((IsPlainBase<KwIfLookup, KwVectorStrLookup>));
    EXPECT_TRUE((IsPlainBase<KwVectorStrLookup, KwFileLookup>));
    EXPECT_TRUE((IsPlainBase<IfConfParser, ConfParser>));
    EXPECT_FALSE((std::is_base_of_v<KwIfLookup, KwObjectHolder>));
    EXPECT_FALSE((std::is_base_of_v<KwIfLookup, KwIfSharedObject>));
    EXPECT_FALSE((std::is_base_of_v<KwIfLookup, KwIfSharedStorage>));
    EXPECT_FALSE((std::is_base_of_v<KwIfStorage, KwIfSharedLookup>));
    // KwObjectHolder comes first.
    const LogClass log("abi");
    const KwLookupHolder holder(log);
    EXPECT_EQ(static_cast<const void*>(static_cast<const KwObjectHolder*>(&holder)), &holder);
}

TEST(Abi, InterfacesHaveNoData) {
    EXPECT_EQ(sizeof(KwIfObject), sizeof(void*));
    EXPECT_EQ(sizeof(KwIfLookup), sizeof(void*));
    EXPECT_EQ(sizeof(KwIfStorage), sizeof(void*));
    EXPECT_EQ(sizeof(InterfaceConfHolder), sizeof(void*));
    EXPECT_EQ(sizeof(KwLookupFinder), sizeof(void*));
    EXPECT_EQ(sizeof(IfConfLoader), sizeof(void*));
    EXPECT_EQ(sizeof(IfConfParser), sizeof(void*));
    // Two table pointers: one for each virtual base.
    EXPECT_EQ(sizeof(KwIfSharedObject), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(KwIfSharedLookup), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(KwIfSharedStorage), 2 * sizeof(void*));
}

TEST(Abi, NumbersStay) {
    EXPECT_EQ(FIND_EXACT, 1);
    EXPECT_EQ(FIND_NOCASE, 2);
    EXPECT_EQ(FIND_STRIP_BRACKETS, 4);
    EXPECT_EQ(FIND_DOMAIN, 8);
    EXPECT_EQ(KwObjectHolder::AnyObject, 0);
    EXPECT_EQ(KwObjectHolder::BuiltinOnly, 1);
    EXPECT_EQ(log4cxx::Level::LEVEL_ERROR, 2);
    EXPECT_EQ(log4cxx::Level::LEVEL_WARN, 3);
    EXPECT_EQ(log4cxx::Level::LEVEL_DEBUG, 5);
    EXPECT_EQ(IfConfParser::VT_UNSET, 0);
    EXPECT_EQ(IfConfParser::VT_INT, 1);
    EXPECT_EQ(IfConfParser::VT_BOOL, 2);
    EXPECT_EQ(IfConfParser::VT_STRING, 3);
    EXPECT_EQ(IfConfParser::VT_STRING_LIST, 4);
    EXPECT_EQ(IfConfParser::VT_TIME, 5);
    EXPECT_EQ(IfConfParser::VT_SIZE, 6);
    EXPECT_EQ(IfConfParser::VT_INT_LIST, 7);
    EXPECT_EQ(IfConfParser::VT_TIME_LIST, 8);
    EXPECT_EQ(IfConfParser::VT_SIZE_LIST, 9);
    EXPECT_EQ(IfConfParser::VT_OBJECT, 10);
    EXPECT_EQ(IfConfParser::VT_OBJECT_ALT, 11);
    EXPECT_EQ(IfConfParser::VT_RAW_STRING, 12);
    EXPECT_EQ(KwStorageValuesMap::Int, 0);
    EXPECT_EQ(KwStorageValuesMap::Varchar, 1);
    EXPECT_EQ(KwStorageValuesMap::Timestamp, 2);
}

/// Call entry `slot`, counted from 0, of the virtual table that `object` begins with, as a program
/// compiled long ago does: by its position only.
template <typename Result, typename Object, typename... Args>
Result CallSlot(const Object& object, std::size_t slot, Args... args) {
    void* const* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof(table));
    return reinterpret_cast<Result (*)(const Object*, Args...)>(table[slot])(&object, args...);
}

TEST(Abi, LookupIsCalledThroughItsTable) {
    RecordingLog::Reset();
    const LogClass log("abi");
    const KwStrLookup text("old");
    const KwIfLookup& lookup = text;
    CallSlot<void, KwIfLookup, const std::string&>(lookup, 2, "new");
    EXPECT_EQ(CallSlot<std::string>(lookup, 3), "");
    CallSlot<void, KwIfLookup, const LogClass&>(lookup, 4, log);
    EXPECT_EQ(CallSlot<const LogClass*>(lookup, 5), nullptr);
    std::string matched;
    const TextFinder finder("new");
    EXPECT_TRUE((CallSlot<bool, KwIfLookup, const KwLookupFinder&, std::string*, int, std::string*>(
        lookup, 6, finder, nullptr, FIND_EXACT, &matched)));
    EXPECT_EQ(matched, "new");
}

TEST(Abi, HolderIsCalledThroughItsTables) {
    RecordingLog::Reset();
    const LogClass log("abi");
    const KwLookupHolder holder(log);
    CallSlot<void, KwLookupHolder, const std::string&>(holder, 2, "a, b");
    EXPECT_EQ(holder.GetObjects().size(), 2U);
    EXPECT_EQ(CallSlot<std::string>(holder, 3), "a, b");
    EXPECT_EQ(CallSlot<const LogClass*>(holder, 5), &log);
    void* made = CallSlot<void*, KwLookupHolder, const std::string&>(holder, 6, "c");
    void* added = &made;
    EXPECT_EQ(
        (CallSlot<KwIfObject*, KwLookupHolder, const std::string&, const std::string&, void*&>(
            holder, 7, "ldap", "", added)),
        nullptr);
    EXPECT_EQ(added, nullptr);
    EXPECT_STREQ(CallSlot<const char*>(holder, 8), "CreateLookup");
    EXPECT_EQ(CallSlot<const std::string&>(holder, 9), "lookup");
    CallSlot<void, KwLookupHolder, void*>(holder, 11, made);
    EXPECT_EQ(holder.GetObjects().size(), 3U);
    const TextFinder finder("c");
    EXPECT_TRUE(
        (CallSlot<bool, KwLookupHolder, const KwLookupFinder&, std::string*, int, std::string*>(
            holder, 13, finder, nullptr, 0, nullptr)));
    const KwIfLookup& lookup = holder;
    EXPECT_TRUE((CallSlot<bool, KwIfLookup, const KwLookupFinder&, std::string*, int, std::string*>(
        lookup, 6, finder, nullptr, 0, nullptr)));
    CallSlot<void>(holder, 12);
    EXPECT_TRUE(holder.Empty());
}

/// Records which of its operations was called.
class NotingLoader : public IfConfLoader {
public:
    explicit NotingLoader(std::string& note) : m_note(note) {}
    ~NotingLoader() override { m_note = "destroyed"; }

    std::string GetDescription() const override { return "noting"; }
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder* holder,
                     const LogClass&) override {
        m_note = section + subsection + std::to_string(instance + index + options);
        return holder == nullptr;
    }
    void ReleaseLoader() override { m_note = "release"; }
    void PrepareLoad() override { m_note = "prepare"; }
    bool AcquireLoader() override {
        m_note = "acquire";
        return true;
    }

private:
    std::string& m_note;
};

TEST(Abi, LoaderIsCalledThroughItsTable) {
    const LogClass log("abi");
    std::string note;
    const IfConfLoader* loader = new NotingLoader(note);
    EXPECT_TRUE((CallSlot<bool, IfConfLoader, int, const std::string&, int, const std::string&, int,
                          InterfaceConfHolder*, const LogClass&>(*loader, 3, 1, "section", 2, "sub",
                                                                 3, nullptr, log)));
    EXPECT_EQ(note, "sectionsub6");
    CallSlot<void>(*loader, 4);
    EXPECT_EQ(note, "release");
    CallSlot<void>(*loader, 5);
    EXPECT_EQ(note, "prepare");
    EXPECT_TRUE(CallSlot<bool>(*loader, 6));
    EXPECT_EQ(note, "acquire");
    CallSlot<void>(*loader, 1);
    EXPECT_EQ(note, "destroyed");
}

} // namespace
