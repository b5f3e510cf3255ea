// SPDX-License-Identifier: MIT
#include "plugins/odbc/ConnectionText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace kwlookup;

namespace {

std::string ErrorOf(const std::string& text) {
    try {
        CheckConnectionText(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

TEST(ConnectionText, IsChecked) {
    for (const char* text : {"", " ", "Driver=x", "Driver = x ; Database=/a b;",
                             "A={b;PWD=c}}d};B=", "A=PWD", "A={", "A={b}}", "DSN=x;Option=PWD=1"})
        EXPECT_EQ(ErrorOf(text), "") << text;
    for (const char* text : {"x", "A=b;x", ";", "A=b;;B=c", "=b", "A=b; =c"})
        EXPECT_EQ(ErrorOf(text), "Wrong Connection setting: wait KEYWORD=VALUE[;...]") << text;
    EXPECT_NE(ErrorOf(std::string("A=b\0", 4)), "");
    for (const char* text : {"PWD=x", "A=b; pwd = x", "A={b;c};Password=x", "A={b}};};PWD=x"})
        EXPECT_EQ(ErrorOf(text), "Connection has a password: set Password") << text;
}

TEST(ConnectionText, IsFilledIn) {
    Server server;
    server.host = "db.corp.lan";
    server.port = 5432;
    ServerSettings settings;
    settings.of_type = "Driver=x;Server=$h;Port=$p;Cost=$5";
    const std::string expected = "Driver=x;Server=db.corp.lan;Port=5432;Cost=$5";
    EXPECT_EQ(ConnectionTextFor(server, settings), expected);
    settings.user = "kw";
    settings.password = "a b";
    EXPECT_EQ(ConnectionTextFor(server, settings), expected + ";UID=kw;PWD=a b");
    settings.user = "x;UID=root";
    settings.password = " }; ";
    EXPECT_EQ(ConnectionTextFor(server, settings), expected + ";UID={x;UID=root};PWD={ }}; }");
}

} // namespace
