// SPDX-License-Identifier: MIT
#include "objects/KwObjectHolder.h"

#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Case {
    std::string item;
    std::string type;
    std::string params;
};

void Check(const Case& c) {
    SCOPED_TRACE(c.item.substr(0, 40));
    std::string type = "old type";
    std::string params = "old params";
    KwObjectHolder::ParseObject(c.item, type, params);
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(params, c.params);
}

TEST(ParseObject, SplitsTypeAndParams) {
    using namespace std::string_literals;
    const std::string megabyte(1 << 20, 'x');
    const Case cases[] = {
        {"", "", ""},
        {"abc", "", "abc"},
        {"value:abc", "", "abc"},
        {"Value:abc", "", "abc"},
        {"VALUE:file:/x", "", "file:/x"},
        {"value:", "", ""},
        {"values:abc", "values", "abc"},
        {"a b:c", "", "a b:c"},
        {" a:c", "", " a:c"},
        {"a :c", "", "a :c"},
        {"a\tb:c", "", "a\tb:c"},
        {"a\nb:c", "", "a\nb:c"},
        {"a\vb:c", "", "a\vb:c"},
        {"a\fb:c", "", "a\fb:c"},
        {"a\rb:c", "", "a\rb:c"},
        {"(uid = x:y)", "", "(uid = x:y)"},
        {"ab: c", "ab", " c"},
        {"ab:c ", "ab", "c "},
        {"ab:", "ab", ""},
        {":c", "", "c"},
        {":", "", ""},
        {"::", "", ":"},
        {"a:b:c", "a", "b:c"},
        {"FILE:/X", "file", "/X"},
        {"Ldap:X", "ldap", "X"},
        {"../X:y", "../x", "y"},
        {"\xc4\xff:\xe9", "\xc4\xff", "\xe9"},
        {"a\0B:c\0D"s, "a\0b"s, "c\0D"s},
        {"\0:\0"s, "\0"s, "\0"s},
        {megabyte + ":" + megabyte, megabyte, megabyte},
        {megabyte, "", megabyte},
    };
    for (const Case& c : cases)
        Check(c);
}

TEST(ParseObject, FollowsTheGlobalLocale) {
    Check({"\xc4\xa0:x", "\xc4\xa0", "x"});
    {
        TestBytes bytes = TestBytes::Latin1();
        bytes.space['_'] = true;
        bytes.space['\t'] = false;
        bytes.lower['!'] = 'e';
        const GlobalLocale global(bytes.GetLocale());
        Check({"\xc4:X", "\xe4", "X"});
        Check({"\xc4\xa0:x", "", "\xc4\xa0:x"});
        Check({"a_b:c", "", "a_b:c"});
        Check({"a\tb:c", "a\tb", "c"});
        Check({"VALU!:x", "", "x"});
    }
    Check({"a_b:c", "a_b", "c"});
}

} // namespace
