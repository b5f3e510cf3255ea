// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/StatusPage.h"
#include "kwlookupd/ConstantView.h"
#include "kwlookupd/CountAnswer.h"
#include "support/RunProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

using kwlookup::Outcome;
using kwlookup::Reply;
using kwlookup::StatusPage;
using testing::HasSubstr;
using testing::Not;

namespace {

StatusPage MakePage(const ConstantView& view) {
    return {view.GetDoors(), view.GetLists(), view.GetMetrics(), view.GetTime(), view.GetPlugins()};
}

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + 1))
        ++count;
    return count;
}

/// What stands between the first `begin` and the next `end`.
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t from = text.find(begin) + begin.size();
    return text.substr(from, text.find(end, from) - from);
}

TEST(StatusPage, TellsListsAndDoors) {
    ConstantView view;
    view.lists[0].rolled_back = true;
    view.lists[1].fault = "cannot open <file>";
    kwlookup::Metrics& metrics = view.GetCounters();
    metrics.CountConnection(0, 0, 1);
    metrics.NoteFault(1, "server gone");
    const auto start = std::chrono::steady_clock::now();
    metrics.TakeSample(start);
    for (int i = 0; i < 45; ++i)
        CountAnswer(metrics, 0, 0, 0, Outcome::Found, 3'000);
    CountAnswer(metrics, 0, 0, 1, Outcome::Unavailable, 600'000'000);
    metrics.TakeSample(start + std::chrono::seconds(10));
    const std::string html = MakePage(view).ToHtml();
    for (const char* part : {
             "<span class=\"bad\">1 of 2 lists loaded</span> \u00b7 1 connection \u00b7 4.6 "
             "requests a second \u00b7 2023-11-14 22:13:20 UTC",
             "<code>blocked</code>",
             "data-label=\"Records\">1,234,567</td>",
             "data-label=\"Generation\">3</td>",
             "data-label=\"Loaded\">60 s ago</td>",
             "data-label=\"Last change\">+12 \u22123 =1,234,555</td>",
             "data-label=\"Found\">45</td>",
             "<td colspan=\"8\">rolled back</td>",
             "class=\"bad\">not loaded</td>",
             "class=\"bad\">cannot open &lt;file&gt;</td>",
             "<span class=\"bad\">server gone</span>",
             "data-label=\"Faults\"><span class=\"bad\">1</span></td>",
             "<code>127.0.0.1:8825</code>",
             "<b>4.6</b> now, 4.6 at most",
             "99 %</span> within <b>1 s</b>, <span class=\"key-median\">half</span> within <b>5 "
             "\u00b5s</b>",
             "1 hour ago, 1 \u00b5s to 1 s",
             "<path class=\"rate\" d=\"M3590 100H3590V",
             "<path class=\"faults\" d=\"M3590 ",
         })
        EXPECT_THAT(html, HasSubstr(part));
}

TEST(StatusPage, DrawsTheWholeHour) {
    ConstantView view;
    kwlookup::Metrics& metrics = view.GetCounters();
    auto now = std::chrono::steady_clock::now();
    metrics.TakeSample(now);
    for (int i = 0; i < 400; ++i) {
        for (int j = 0; j < i % 7; ++j)
            CountAnswer(metrics, 0, 0, 0, Outcome::Found, 3'000);
        metrics.TakeSample(now += std::chrono::seconds(10));
    }
    const std::string html = MakePage(view).ToHtml();
    const std::string path = Between(html, "<path class=\"rate\" d=\"", "\"");
    EXPECT_EQ(path.substr(0, 7), "M0 100H") << path;
    EXPECT_THAT(path, HasSubstr("H3600V100H3600"));
    // Without requests there is no latency to draw.
    EXPECT_EQ(Count(Between(html, "<path class=\"median\" d=\"", "\""), "M"), 52U);
}

TEST(StatusPage, IsWholeBeforeAnythingHappened) {
    const ConstantView view;
    const std::string html = MakePage(view).ToHtml();
    EXPECT_THAT(html, HasSubstr("0.0 requests a second"));
    EXPECT_THAT(html, HasSubstr("within <b>\u2013</b>"));
    EXPECT_EQ(Count(html, "<svg"), 2U);
    EXPECT_EQ(Count(html, "NaN") + Count(html, "nan") + Count(html, "inf"), 0U);
}

TEST(StatusPage, TellsServersOfPlugins) {
    ConstantView view;
    EXPECT_THAT(MakePage(view).ToHtml(), Not(HasSubstr("Servers of plug-ins")));
    view.plugins.servers = {{"ldap", "ldap.corp.lan:389", true}, {"redis", "<b>", false}};
    view.plugins.answers = {{"ldap", "server", 1234}, {"ldap", "cache", 5}, {"redis", "server", 0}};
    const std::string html = MakePage(view).ToHtml();
    for (const char* part : {
             "<code>ldap</code></th><td data-label=\"Server\"><code>ldap.corp.lan:389</code></td>"
             "<td data-label=\"State\">up</td>",
             "<code>&lt;b&gt;</code></td><td data-label=\"State\"><span "
             "class=\"bad\">failed</span>",
             "<p>Answers of <code>ldap</code>: server 1,234, cache 5</p>",
             "<p>Answers of <code>redis</code>: server 0</p>",
         })
        EXPECT_THAT(html, HasSubstr(part));
}

TEST(StatusPage, ShowsWhichItemAnswered) {
    const ConstantView view;
    Reply reply;
    reply.outcome = Outcome::Found;
    reply.has_result = true;
    reply.text = "REJECT";
    reply.item = "file:/etc/mail/blocked";
    reply.file = "/etc/mail/blocked";
    reply.line = 1234;
    StatusPage page = MakePage(view);
    page.Offer("blocked");
    page.Offer("access");
    page.ShowAnswer("access", "a@b", &reply);
    const std::string html = page.ToHtml();
    for (const char* part :
         {"<option value=\"blocked\">blocked</option>",
          "<option selected value=\"access\">access</option>", "value=\"a@b\" maxlength",
          "<b class=\"good\">Found</b> <code>a@b</code> in <code>access</code>",
          "<dt>Result</dt><dd><code>REJECT</code></dd>",
          "<dt>Item</dt><dd><code>file:/etc/mail/blocked</code></dd>",
          "<dt>File</dt><dd><code>/etc/mail/blocked</code></dd>", "<dt>Line</dt><dd>1,234</dd>"})
        EXPECT_THAT(html, HasSubstr(part));

    reply.has_result = false;
    reply.file.clear();
    reply.line = 0;
    page.ShowAnswer("access", "", &reply);
    EXPECT_THAT(page.ToHtml(), HasSubstr("Found</b> <code>&lt;&gt;</code>"));
    EXPECT_THAT(page.ToHtml(), HasSubstr("<dt>Value</dt>"));
    EXPECT_THAT(page.ToHtml(), Not(HasSubstr("<dt>File</dt>")));
    EXPECT_THAT(page.ToHtml(), Not(HasSubstr("<dt>Line</dt>")));
    reply.outcome = Outcome::NotFound;
    page.ShowAnswer("access", "a", &reply);
    EXPECT_THAT(page.ToHtml(), HasSubstr("<b>Not found</b> <code>a</code>"));
    reply.outcome = Outcome::Unavailable;
    reply.text = "timed out";
    page.ShowAnswer("access", "a", &reply);
    EXPECT_THAT(page.ToHtml(), HasSubstr("<b class=\"bad\">Could not ask</b> <code>a</code> in "
                                         "<code>access</code>: timed out"));
    page.ShowAnswer("other", "a", nullptr);
    EXPECT_THAT(page.ToHtml(), HasSubstr("This door serves no list <code>other</code>."));
}

TEST(StatusPage, NamesAndAnswersCannotBecomeMarkup) {
    const std::string hostile = "\"'><script>alert(1)</script>&amp;\xff\x1b";
    const std::string harmless =
        "&quot;&#39;&gt;&lt;script&gt;alert(1)&lt;/script&gt;&amp;amp;\ufffd\ufffd";
    ConstantView view(hostile);
    view.lists[0].fault = hostile;
    view.GetCounters().NoteFault(0, hostile);
    StatusPage page = MakePage(view);
    page.Offer(hostile);
    Reply reply;
    reply.text = reply.item = reply.file = hostile;
    for (const Outcome outcome : {Outcome::Found, Outcome::NotFound, Outcome::Unavailable}) {
        reply.outcome = outcome;
        page.ShowAnswer(hostile, hostile, &reply);
        const std::string html = page.ToHtml();
        EXPECT_EQ(Count(html, "<script"), 1U);
        EXPECT_THAT(html, Not(HasSubstr("alert(1)</script>")));
        EXPECT_THAT(html, Not(HasSubstr("\xff")));
        // The question twice, the form twice, a row of the table with two faults
        EXPECT_GE(Count(html, harmless), 7U);
    }
    page.ShowAnswer(hostile, hostile, nullptr);
    EXPECT_EQ(Count(page.ToHtml(), "<script"), 1U);
}

// A browser computes the same hashes. To find a new one, read the failure.
TEST(StatusPage, PolicyAllowsItsOwnStyleAndScript) {
    const ConstantView view;
    const std::string html = MakePage(view).ToHtml();
    const std::string policy = StatusPage::GetSecurityPolicy();
    for (const char* element : {"style", "script"}) {
        const std::string name = element;
        const std::string text = Between(html, "<" + name + ">", "</" + name + ">");
        const ProgramResult digest =
            RunProgram({"/usr/bin/openssl", "dgst", "-sha256", "-binary"}, text);
        const ProgramResult base64 = RunProgram({"/usr/bin/openssl", "base64", "-A"}, digest.out);
        EXPECT_THAT(policy, HasSubstr(name + "-src 'sha256-" + base64.out + "';"));
    }
    // Neither handlers nor styles in attributes, which the policy forbids
    EXPECT_THAT(html, Not(testing::ContainsRegex("<[^>]* (on[a-z]+|style)=")));
    // No resource from elsewhere. The icon's name of its format is no address.
    EXPECT_EQ(Count(html, "http:"), Count(html, "xmlns='http:"));
    EXPECT_EQ(Count(html, "https:"), 0U);
}

} // namespace
