// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/ListGeneration.h"

#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "tools/lists/Plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

using kwlookup::ListGeneration;
using kwlookup::ListSettings;
using kwlookup::Outcome;
using kwlookup::Reply;
using Search = ListSettings::Search;

namespace {

const LogClass LIST_LOG("lists");

ListSettings ListOf(const std::string& objects, Search search = Search::Address) {
    ListSettings settings;
    settings.name = "test";
    settings.objects = objects;
    settings.search = search;
    return settings;
}

std::string AskList(const ListSettings& settings, const std::string& text) {
    const ListGeneration list(settings, LIST_LOG, nullptr);
    Reply reply;
    list.Ask(text, false, reply);
    return reply.outcome == Outcome::Found      ? "found " + reply.text
           : reply.outcome == Outcome::NotFound ? "not found" + reply.text
                                                : "unavailable";
}

/// Expects that many questions at once get the answers that each gets alone.
void ExpectSameAnswers(const ListSettings& settings, const std::vector<std::string>& texts) {
    const ListGeneration list(settings, LIST_LOG, nullptr);
    std::vector<Reply> replies(texts.size());
    std::vector<ListGeneration::Question> questions;
    for (std::size_t i = 0; i < texts.size(); ++i)
        questions.push_back({&texts[i], &replies[i]});
    ListGeneration::Finders finders;
    list.AskAll(questions.data(), questions.size(), finders);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        Reply reply;
        list.Ask(texts[i], false, reply);
        EXPECT_EQ(replies[i].outcome, reply.outcome) << texts[i];
        EXPECT_EQ(replies[i].text, reply.text) << texts[i];
        EXPECT_EQ(replies[i].has_result, reply.has_result) << texts[i];
    }
}

struct SearchCase {
    Search search;
    const char* objects;
    const char* text;
    const char* answer;
};

} // namespace

TEST(ListGenerationTest, SearchesInTheWayThatIsSet) {
    const SearchCase cases[] = {
        {Search::Address, "jdoe@corp.lan yes", "JDoe@Corp.LAN", "found yes"},
        {Search::Address, "jdoe@corp.lan yes", "<jdoe@corp.lan>", "found yes"},
        {Search::Address, "corp.lan", "jdoe@corp.lan", "found corp.lan"},
        {Search::Address, ".lan", "jdoe@corp.lan", "found .lan"},
        {Search::Address, "jdoe@", "jdoe@corp.lan", "found jdoe@"},
        {Search::Address, "corp.lan", "jdoe@other.lan", "not found"},
        {Search::Address, "<> null", "", "found null"},
        {Search::Address, "<> null", "<>", "found null"},
        {Search::Domain, "corp.lan yes", "jdoe@Corp.lan", "found yes"},
        {Search::Domain, "jdoe@corp.lan", "jdoe@corp.lan", "not found"},
        {Search::Domain, ".corp.lan yes", "jdoe@mx.corp.lan", "found yes"},
        {Search::Domain, "<> null", "<>", "found null"},
        {Search::Exact, "Secret", "Secret", "found Secret"},
        {Search::Exact, "Secret", "secret", "not found"},
        {Search::Exact, "corp.lan", "jdoe@corp.lan", "not found"},
        {Search::Exact, "Secret yes", "Secret", "found yes"},
        {Search::Exact, "Secret yes", "secret", "not found"},
        {Search::Exact, "a b c, a d", "a b c", "found a b c"},
        {Search::Exact, "a B c, a d", "a b c", "not found"},
        {Search::Exact, "a b, a c", "a", "found b"},
        {Search::Exact, "jdoe@corp.lan yes", "<jdoe@corp.lan>", "not found"},
        {Search::ExactNoCase, "Secret", "sECRET", "found Secret"},
        {Search::ExactNoCase, "Secret yes", "sECRET", "found yes"},
        {Search::ExactNoCase, "<>", "", "found <>"},
    };
    for (const SearchCase& each : cases)
        EXPECT_EQ(AskList(ListOf(each.objects, each.search), each.text), each.answer)
            << each.objects << " asked about " << each.text;
}

TEST(ListGenerationTest, AsksWithTheExtensionOfALocalPartFirst) {
    ListSettings settings = ListOf("corp.lan all, jdoe@corp.lan base, jdoe+x@corp.lan tagged, "
                                   "jdoe+@corp.lan none, +@corp.lan odd");
    EXPECT_EQ(AskList(settings, "jdoe+x@corp.lan"), "found all");
    settings.sub_address = "+";
    EXPECT_EQ(AskList(settings, "JDoe+X@corp.lan"), "found tagged");
    EXPECT_EQ(AskList(settings, "jdoe+y@corp.lan"), "found base");
    EXPECT_EQ(AskList(settings, "other+y@corp.lan"), "found all");
    settings.objects = "jdoe@corp.lan base, a+b@ local";
    EXPECT_EQ(AskList(settings, "jdoe+y+z@corp.lan"), "found base");
    EXPECT_EQ(AskList(settings, "a+b@corp.lan"), "found local");
    EXPECT_EQ(AskList(settings, "\"jdoe+y\"@corp.lan"), "not found");
    EXPECT_EQ(AskList(settings, "+jdoe@corp.lan"), "not found");
    for (std::size_t size = 1; size < 100; ++size) {
        const std::string local(size, 'a');
        settings.objects = local + "@corp.lan base";
        EXPECT_EQ(AskList(settings, local + "+y@corp.lan"), "found base") << size;
        EXPECT_EQ(AskList(settings, local + "@corp.lan"), "found base") << size;
        EXPECT_EQ(AskList(settings, '"' + local + "\"@corp.lan"), "found base") << size;
    }
    settings.objects = "jdoe@corp.lan base";
    settings.sub_address = "-+";
    EXPECT_EQ(AskList(settings, "jdoe-y@corp.lan"), "found base");
}

TEST(ListGenerationTest, AsksBothFormsOfAnInternationalDomain) {
    ListSettings settings = ListOf("gr\xc3\xbcn.example u, xn--bcher-kva.example a");
    EXPECT_EQ(AskList(settings, "x@xn--grn-ioa.example"), "not found");
    settings.idn = true;
    EXPECT_EQ(AskList(settings, "x@xn--grn-ioa.example"), "found u");
    EXPECT_EQ(AskList(settings, "x@XN--GRN-IOA.example"), "found u");
    EXPECT_EQ(AskList(settings, "x@GR\xc3\x9cN.example"), "found u");
    EXPECT_EQ(AskList(settings, "x@gr\xc3\xbcn.example"), "found u");
    EXPECT_EQ(AskList(settings, "x@b\xc3\xbc"
                                "cher.example"),
              "found a");
    EXPECT_EQ(AskList(settings, "b\xc3\xbc"
                                "cher.example"),
              "found a");
    // Invalid ones are asked as they are.
    EXPECT_EQ(AskList(settings, "x@xn--\xff.example"), "not found");
    EXPECT_EQ(AskList(settings, "x@\xff\xfe"), "not found");
    EXPECT_EQ(AskList(settings, "x@" + std::string(100000, '\xc3')), "not found");
    settings.search = Search::Domain;
    EXPECT_EQ(AskList(settings, "x@b\xc3\xbc"
                                "cher.example"),
              "found a");
}

TEST(ListGenerationTest, AsksAllFormsOfAnAddressBeforeItsDomain) {
    const std::string ascii = "@xn--grn-ioa.example", unicode = "@gr\xc3\xbcn.example";
    const struct {
        std::string objects, text;
        const char* answer;
    } cases[] = {
        {"\"a,b" + ascii + " quoted\"", "\"a,b\"" + ascii, "found quoted"},
        {"\"a,b" + ascii + " quoted\"", "\"a,b\"" + unicode, "found quoted"},
        {"\"a,b" + unicode + " quoted\"", "\"a,b\"" + ascii, "found quoted"},
        {R"(\"a\,b\")" + unicode + " plain", "a,b" + ascii, "found plain"},
        {unicode.substr(1) + " REJECT, good" + ascii + " OK", "good" + unicode, "found OK"},
        {ascii.substr(1) + " REJECT, good" + unicode + " OK", "good" + ascii, "found OK"},
        {ascii.substr(1) + " REJECT, good" + unicode + " OK", "good+tag" + ascii, "found OK"},
        {unicode.substr(1) + " REJECT, good" + ascii + " OK", "bad" + ascii, "found REJECT"},
        {ascii.substr(1) + " a, " + unicode.substr(1) + " u", "x" + unicode, "found u"},
        {".example parent, a+b@ local, good@ base", "good+tag" + unicode, "found parent"},
        {"good@ base", "good+tag" + unicode, "found base"},
        {"good+tag@ local", "good+tag" + unicode, "found local"},
    };
    for (const auto& each : cases) {
        ListSettings settings = ListOf(each.objects);
        settings.idn = true;
        settings.sub_address = "+";
        EXPECT_EQ(AskList(settings, each.text), each.answer) << each.objects << " " << each.text;
    }
}

TEST(ListGenerationTest, RefusesAListWithErrors) {
    EXPECT_THROW(ListGeneration(ListOf("a, file:/nonexistent/list"), LIST_LOG, nullptr),
                 std::runtime_error);
    EXPECT_THROW(ListGeneration(ListOf("\"a"), LIST_LOG, nullptr), std::invalid_argument);
}

TEST(ListGenerationTest, FindsQuotedLocalPartsInEitherForm) {
    const TempDir dir;
    const ListSettings settings = ListOf("file:" + dir.Write("list", R"(all.lan domain
"a,b"@all.lan quoted
c,d@all.lan bare
"e\"f"@all.lan escaped
lone"@all.lan lone
)"));
    const std::pair<const char*, const char*> cases[] = {
        {R"("a,b"@all.lan)", "found quoted"},   {"a,b@all.lan", "found quoted"},
        {R"("c,d"@all.lan)", "found bare"},     {"C,D@all.lan", "found bare"},
        {R"("e\"f"@all.lan)", "found escaped"}, {R"(e"f@all.lan)", "found escaped"},
        {R"("lone\""@all.lan)", "found lone"},  {R"(lone"@all.lan)", "found lone"},
        {R"("x,y"@all.lan)", "found domain"},   {"x,y@all.lan", "found domain"},
        {R"("x,y"@other.lan)", "not found"},    {R"("@other.lan)", "not found"},
        {R"("\"@other.lan)", "not found"},      {"@other.lan", "not found"},
        {R"(""@other.lan)", "not found"},
    };
    for (const auto& [text, answer] : cases)
        EXPECT_EQ(AskList(settings, text), answer) << text;
}

TEST(ListGenerationTest, TellsItemFileAndLine) {
    const TempDir dir;
    const std::string file = dir.Write("blocked", "one.lan\n\n  two.lan  reject it\n");
    const ListGeneration list(ListOf("x.lan, file:" + file), LIST_LOG, nullptr);
    Reply reply;
    list.Ask("a@two.lan", true, reply);
    EXPECT_EQ(reply.text, "reject it");
    EXPECT_EQ(reply.item, "file:" + file);
    EXPECT_EQ(reply.file, file);
    EXPECT_EQ(reply.line, 3u);
    list.Ask("x.lan", true, reply);
    EXPECT_EQ(reply.item, "x.lan");
    EXPECT_EQ(reply.file, "");
    EXPECT_EQ(reply.line, 0u);
}

TEST(ListGenerationTest, FindsExactTextsInALongFile) {
    const TempDir dir;
    std::string lines;
    for (int i = 0; i < 3000; ++i)
        lines += "Key-" + std::to_string(i) + " result " + std::to_string(i) + "\n";
    const std::string list = "file:" + dir.Write("long", lines + "a text\n<>\n");
    const SearchCase cases[] = {
        {Search::Exact, list.c_str(), "Key-2999", "found result 2999"},
        {Search::Exact, list.c_str(), "key-2999", "not found"},
        {Search::Exact, list.c_str(), "Key-7 result 7", "found Key-7 result 7"},
        {Search::Exact, list.c_str(), "a text", "found a text"},
        {Search::Exact, list.c_str(), "a", "found text"},
        {Search::Exact, list.c_str(), "", "found <>"},
        {Search::ExactNoCase, list.c_str(), "key-2999", "found result 2999"},
        {Search::ExactNoCase, list.c_str(), "A TEXT", "found a text"},
    };
    for (const SearchCase& each : cases)
        EXPECT_EQ(AskList(ListOf(each.objects, each.search), each.text), each.answer) << each.text;
}

TEST(ListGenerationTest, CountsWhatChanged) {
    const TempDir dir;
    const std::string file = dir.Write("blocked", "a.lan\nb.lan\nc.lan\n");
    const ListGeneration first(ListOf("x.lan, file:" + file), LIST_LOG, nullptr);
    EXPECT_EQ(first.GetRecordCount(), 4u);
    EXPECT_EQ(first.GetChange().added, 4u);
    dir.Write("blocked", "c.lan\na.lan\nd.lan\ne.lan 1\n");
    const ListGeneration second(ListOf("x.lan, file:" + file), LIST_LOG, &first);
    EXPECT_EQ(second.GetRecordCount(), 5u);
    EXPECT_EQ(second.GetChange().added, 2u);
    EXPECT_EQ(second.GetChange().removed, 1u);
    EXPECT_EQ(second.GetChange().kept, 3u);
    std::string values;
    second.ForEachValue([&](std::string_view value) { values.append(value).append(";"); });
    EXPECT_EQ(values, "x.lan;c.lan;a.lan;d.lan;e.lan 1;");
}

TEST(ListGenerationTest, AnswersManyQuestionsAsOneByOne) {
    const TempDir dir;
    std::string lines, more, addresses;
    for (int i = 0; i < 200; ++i) {
        const std::string number = std::to_string(i);
        lines += "host" + number + ".lan\nuser" + number + "@corp.lan result" + number + "\n";
        more += ".sub" + number + ".lan sub\n\"a,b\"@host" + number + ".example\n";
        addresses += "USER" + number + "@Corp.lan first\n";
    }
    const std::string files = "file:" + dir.Write("list", lines + "<> null\n") +
                              ", user7@, file:" + dir.Write("more", more);
    const std::string few = "file:" + dir.Write("few", "host3.lan few\n");
    const std::string lists[] = {files, few + ", " + files, "user9@, host6.lan",
                                 "file:" + dir.Write("addresses", addresses) + ", " + files};
    std::vector<std::string> texts = {"", "<>", "@", "x@", "<user1@corp.lan>", "user7@x.example"};
    for (int i = 0; i < 300; i += 11) {
        const std::string number = std::to_string(i);
        for (const char* text : {"x@host*.lan", "USER*@Corp.lan", "user*+tag@corp.lan",
                                 "x@a.sub*.lan", "a,b@host*.example", "host*.lan"}) {
            texts.emplace_back(text);
            texts.back().replace(texts.back().find('*'), 1, number);
        }
    }
    for (const std::string& objects : lists) {
        SCOPED_TRACE(objects);
        for (const Search search :
             {Search::Address, Search::Domain, Search::Exact, Search::ExactNoCase}) {
            ListSettings settings = ListOf(objects, search);
            ExpectSameAnswers(settings, texts);
            settings.idn = true;
            settings.sub_address = "+";
            ExpectSameAnswers(settings, texts);
        }
    }
}
