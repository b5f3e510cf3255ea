// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/StatusPage.h"

#include "tools/kwlookupd/status/Escape.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace kwlookup {

namespace {

// The policy names the hashes of both texts. The tests compute them.
constexpr const char* STYLE = R"(
:root {
  color-scheme: light dark;
  --page: #f7f6f3; --card: #ffffff; --line: #dedad1; --ink: #1c2024; --soft: #5b646d;
  --good: #0a6b4b; --bad: #b3261e; --second: #9a5b00; --fill: #0a6b4b26;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #131619; --card: #1a1e22; --line: #2d343a; --ink: #e5e8ea; --soft: #98a3ad;
    --good: #63d2a8; --bad: #ff8f85; --second: #f0bd5e; --fill: #63d2a82e;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font: 1rem/1.5 system-ui, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif;
  font-variant-numeric: tabular-nums;
}
main { max-width: 72rem; margin: 0 auto; padding: 2rem 1.25rem 4rem; }
header { display: flex; flex-wrap: wrap; align-items: baseline; gap: .25rem 1.25rem; }
h1 { margin: 0; font-size: 1.6rem; letter-spacing: -.01em; }
h2 { margin: 2.5rem 0 .75rem; font-size: 1.1rem; }
h3 { margin: 0; font-size: 1.05rem; }
p { margin: 0; }
.soft, th, dt, figcaption, .axis { color: var(--soft); }
.good { color: var(--good); }
.bad { color: var(--bad); }
code {
  font: .92em ui-monospace, "Cascadia Mono", "DejaVu Sans Mono", Menlo, Consolas, monospace;
  overflow-wrap: anywhere; unicode-bidi: isolate; white-space: pre-wrap;
}
.card { background: var(--card); border: 1px solid var(--line); border-radius: .5rem; }
form { display: flex; flex-wrap: wrap; gap: .75rem; align-items: end; padding: 1rem; }
label { display: grid; gap: .2rem; font-size: .875rem; color: var(--soft); }
label.wide { flex: 1 1 16rem; }
input, select, button {
  font: inherit; min-height: 2.5rem; padding: .3rem .7rem; border-radius: .35rem;
  border: 1px solid var(--soft); background: var(--page); color: var(--ink); max-width: 100%;
}
input { width: 100%; }
button { background: var(--good); border-color: var(--good); color: var(--card); font-weight: 600; }
:focus-visible { outline: 2px solid var(--second); outline-offset: 2px; }
#answer:not(:empty) { padding: 0 1rem 1rem; }
#answer p { margin-bottom: .4rem; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .1rem 1rem; margin: 0; }
dd { margin: 0; }
table { width: 100%; border-collapse: collapse; }
th, td { padding: .55rem .9rem; text-align: left; vertical-align: top; }
th { font-weight: 500; font-size: .875rem; }
th.number, td.number { text-align: right; white-space: nowrap; }
tbody th { font-size: 1rem; color: var(--ink); }
h3 .soft { font-weight: 400; }
tbody tr { border-top: 1px solid var(--line); }
tbody tr.fault { border-top: 0; }
tbody tr.fault td { padding-top: 0; }
.doors { display: grid; gap: 1rem; grid-template-columns: repeat(auto-fill, minmax(min(100%, 30rem), 1fr)); }
.door { padding: 1rem; display: grid; gap: .75rem; min-width: 0; }
figure { margin: 0; }
figcaption { font-size: .875rem; }
figcaption b { color: var(--ink); font-weight: 600; }
svg { display: block; width: 100%; height: 4.5rem; margin: .25rem 0; border-bottom: 1px solid var(--line); }
svg * { vector-effect: non-scaling-stroke; fill: none; stroke-width: 1.5; }
.grid { stroke: var(--line); stroke-width: 1; }
.rate { fill: var(--fill); stroke: var(--good); }
.median { stroke: var(--good); }
.slowest { stroke: var(--second); stroke-dasharray: 4 2; }
.faults { stroke: var(--bad); }
.key-median { color: var(--good); }
.key-slowest { color: var(--second); }
.axis { display: flex; justify-content: space-between; font-size: .8rem; }
@media (max-width: 48rem) {
  main { padding-top: 1.25rem; }
  thead { display: none; }
  table, tbody { display: block; }
  tbody tr { display: grid; grid-template-columns: 1fr 1fr; padding: .6rem .9rem; }
  th, td, th.number, td.number { padding: .1rem 0; text-align: left; }
  tbody tr:first-child { border-top: 0; }
  tbody th, tbody tr.fault td { grid-column: 1 / -1; }
  td[data-label]::before { content: attr(data-label) " "; color: var(--soft); }
}
)";

constexpr const char* SCRIPT = R"(
"use strict";
const state = document.getElementById("state");
async function load(url, ids) {
  const answer = await fetch(url, { cache: "no-store" });
  if (!answer.ok) throw new Error(answer.status);
  const page = new DOMParser().parseFromString(await answer.text(), "text/html");
  for (const id of ids)
    document.getElementById(id).replaceChildren(...page.getElementById(id).childNodes);
}
async function renew() {
  if (document.hidden) return;
  try {
    await load("./", ["summary", "lists", "servers", "doors"]);
    state.textContent = "live";
    state.className = "good";
  } catch (error) {
    state.textContent = "no answer from the daemon";
    state.className = "bad";
  }
}
setInterval(renew, 5000);
document.addEventListener("visibilitychange", renew);
renew();
document.querySelector("form").addEventListener("submit", async event => {
  event.preventDefault();
  const url = "./?" + new URLSearchParams(new FormData(event.target));
  try {
    await load(url, ["answer"]);
    history.replaceState(null, "", url);
  } catch (error) {
    location.assign(url);
  }
});
)";

constexpr int WIDTH = 3600; ///< of a chart: a unit a second
constexpr int HEIGHT = 100;
constexpr int MARGIN = 4; ///< keeps the thickest line inside

/// Writes thousands with commas.
std::string Number(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t i = text.size(); i > 3; i -= 3)
        text.insert(i - 3, 1, ',');
    return text;
}

/// Small numbers get a decimal.
std::string Rate(double rate) {
    if (rate >= 10)
        return Number(static_cast<std::uint64_t>(std::llround(rate)));
    const auto tenths = std::llround(rate * 10);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string Connections(std::uint64_t number) {
    return Number(number) + (number == 1 ? " connection" : " connections");
}

std::string Latency(std::uint64_t nanoseconds) {
    if (nanoseconds < 1'000'000)
        return Number(nanoseconds / 1'000) + " \u00b5s";
    if (nanoseconds < 1'000'000'000)
        return Number(nanoseconds / 1'000'000) + " ms";
    return Number(nanoseconds / 1'000'000'000) + " s";
}

std::string Age(std::time_t seconds) {
    const auto age = static_cast<std::uint64_t>(std::max<std::time_t>(seconds, 0));
    if (age < 120)
        return Number(age) + " s ago";
    if (age < 120 * 60)
        return Number(age / 60) + " min ago";
    if (age < 48 * 3600)
        return Number(age / 3600) + " h ago";
    return Number(age / (24 * 3600)) + " days ago";
}

std::string Clock(std::time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d UTC", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

std::string Code(std::string_view text) {
    return "<code>" + EscapeHtml(text) + "</code>";
}

/// A text and the label that it gets where the table has no head.
std::string Cell(const char* label, const std::string& html) {
    return std::string("<td class=\"number\" data-label=\"") + label + "\">" + html + "</td>";
}

/// The stairs of a chart, from the left to the right.
class Stairs {
public:
    void Step(int left, int right, int y) {
        if (m_open)
            Add('V', y);
        else {
            Add('M', left);
            Add(' ', y);
        }
        Add('H', right);
        m_open = true;
    }
    void Gap() { m_open = false; }
    std::string ToSvg(const char* kind) const {
        return m_path.empty() ? ""
                              : std::string("<path class=\"") + kind + "\" d=\"" + m_path + "\"/>";
    }

private:
    void Add(char command, int number) {
        m_path += command;
        m_path += std::to_string(number);
    }

    std::string m_path;
    bool m_open = false;
};

std::string Svg(const std::string& label, const std::string& inside) {
    return "<svg viewBox=\"0 0 " + std::to_string(WIDTH) + " " + std::to_string(HEIGHT) +
           "\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"" + label + "\">" + inside +
           "</svg>\n";
}

/// Calls `draw` for each sample with its place in the chart.
template <typename Draw>
void ForEachPlace(const std::vector<Metrics::Sample>& history, Draw draw) {
    double left = WIDTH;
    for (const Metrics::Sample& sample : history)
        left -= sample.seconds;
    for (const Metrics::Sample& sample : history) {
        const double right = left + sample.seconds;
        if (right > 0)
            draw(sample, std::max(static_cast<int>(std::lround(left)), 0),
                 static_cast<int>(std::lround(right)));
        left = right;
    }
}

std::string RateChart(const std::vector<Metrics::Sample>& history, std::size_t door) {
    double most = 0;
    const auto rate = [](std::uint64_t number, const Metrics::Sample& sample) {
        return sample.seconds > 0 ? static_cast<double>(number) / sample.seconds : 0;
    };
    for (const Metrics::Sample& sample : history)
        most = std::max(most, rate(sample.doors[door].requests, sample));
    const double now =
        history.empty() ? 0 : rate(history.back().doors[door].requests, history.back());
    const auto height = [&](double value) {
        return HEIGHT -
               static_cast<int>(std::lround(most > 0 ? value / most * (HEIGHT - MARGIN) : 0));
    };
    Stairs requests, faults;
    int begin = -1, end = 0;
    ForEachPlace(history, [&](const Metrics::Sample& sample, int left, int right) {
        if (begin < 0)
            requests.Step(begin = left, left, HEIGHT);
        requests.Step(left, end = right, height(rate(sample.doors[door].requests, sample)));
        if (sample.doors[door].unavailable == 0)
            faults.Gap();
        else
            faults.Step(left, right, height(rate(sample.doors[door].unavailable, sample)));
    });
    if (begin >= 0)
        requests.Step(end, end, HEIGHT);
    const std::string label = "now " + Rate(now) + ", at most " + Rate(most);
    return "<figure><figcaption>Requests a second: <b>" + Rate(now) + "</b> now, " + Rate(most) +
           " at most</figcaption>\n" +
           Svg("Requests a second in the last hour: " + label,
               requests.ToSvg("rate") + faults.ToSvg("faults")) +
           "<div class=\"axis\"><span>1 hour ago</span><span>now</span></div></figure>\n";
}

std::string LatencyChart(const std::vector<Metrics::Sample>& history, std::size_t door) {
    // The scale is logarithmic, from 1 microsecond to a power of ten that all fit below.
    double decades = 3;
    const Metrics::DoorSample* latest = nullptr;
    for (const Metrics::Sample& sample : history)
        if (sample.doors[door].requests != 0) {
            latest = &sample.doors[door];
            decades =
                std::max(decades, std::ceil(std::log10(static_cast<double>(latest->slowest))) - 3);
        }
    const auto height = [&](std::uint64_t nanoseconds) {
        const double place = (std::log10(static_cast<double>(nanoseconds)) - 3) / decades;
        return HEIGHT - MARGIN / 2 - static_cast<int>(std::lround(place * (HEIGHT - MARGIN)));
    };
    std::string inside;
    std::uint64_t top = 1'000;
    for (int i = 0; i <= static_cast<int>(decades); ++i, top *= 10) {
        const std::string y = std::to_string(height(top));
        inside += "<path class=\"grid\" d=\"M0 " + y + "H" + std::to_string(WIDTH) + "\"/>";
    }
    Stairs median, slowest;
    ForEachPlace(history, [&](const Metrics::Sample& sample, int left, int right) {
        const Metrics::DoorSample& part = sample.doors[door];
        if (part.requests == 0) {
            median.Gap();
            slowest.Gap();
        } else {
            median.Step(left, right, height(part.median));
            slowest.Step(left, right, height(part.slowest));
        }
    });
    const std::string half = latest ? Latency(latest->median) : "\u2013";
    const std::string most = latest ? Latency(latest->slowest) : "\u2013";
    return "<figure><figcaption>Latency: <span class=\"key-slowest\">99 %</span> within <b>" +
           most + "</b>, <span class=\"key-median\">half</span> within <b>" + half +
           "</b></figcaption>\n" +
           Svg("Latency in the last hour: 99 % within " + most + ", half within " + half,
               inside + slowest.ToSvg("slowest") + median.ToSvg("median")) +
           "<div class=\"axis\"><span>1 hour ago, 1 \u00b5s to " + Latency(top / 10) +
           "</span><span>now</span></div></figure>\n";
}

} // namespace

StatusPage::StatusPage(const std::vector<DoorConfig>& doors, std::vector<ListState> lists,
                       const Metrics& metrics, std::time_t now, PluginStates plugins)
    : m_doors(doors), m_lists(std::move(lists)), m_metrics(metrics), m_now(now),
      m_plugins(std::move(plugins)) {}

const char* StatusPage::GetSecurityPolicy() {
    return "default-src 'none'; style-src 'sha256-xtrdlrG+PePShJjxfdGrp4MwGVBVYPJ7O9ZUT3KZLjo='; "
           "script-src 'sha256-UKerzFPpuzi0kkULW/OUJV/kzEzzcPemnhsuCDYhEKs='; "
           "connect-src 'self'; img-src data:; form-action 'self'; base-uri 'none'; "
           "frame-ancestors 'none'";
}

void StatusPage::ShowAnswer(const std::string& list, const std::string& text, const Reply* reply) {
    m_list = list;
    m_text = text;
    if (!reply) {
        m_answer = "<p class=\"bad\">This door serves no list " + Code(list) + ".</p>";
        return;
    }
    const std::string question = Code(text.empty() ? "<>" : text) + " in " + Code(list);
    switch (reply->outcome) {
    case Outcome::Found:
        m_answer = "<p><b class=\"good\">Found</b> " + question + "</p>\n<dl>";
        m_answer += std::string(reply->has_result ? "<dt>Result" : "<dt>Value") + "</dt><dd>" +
                    Code(reply->text) + "</dd>";
        m_answer += "<dt>Item</dt><dd>" + Code(reply->item) + "</dd>";
        if (!reply->file.empty())
            m_answer += "<dt>File</dt><dd>" + Code(reply->file) + "</dd>";
        if (reply->line != 0)
            m_answer += "<dt>Line</dt><dd>" + Number(reply->line) + "</dd>";
        m_answer += "</dl>\n";
        break;
    case Outcome::NotFound:
        m_answer = "<p><b>Not found</b> " + question + "</p>\n";
        break;
    case Outcome::Unavailable:
        m_answer = "<p><b class=\"bad\">Could not ask</b> " + question + ": " +
                   EscapeHtml(reply->text) + "</p>\n";
        break;
    }
}

std::string StatusPage::MakeSummary(const std::vector<Metrics::Sample>& history) const {
    const auto loaded = std::count_if(m_lists.begin(), m_lists.end(),
                                      [](const ListState& list) { return list.loaded; });
    std::uint64_t connections = 0;
    double requests = 0;
    for (std::size_t i = 0; i < m_doors.size(); ++i) {
        connections += m_metrics.GetConnections(i);
        if (!history.empty() && history.back().seconds > 0)
            requests +=
                static_cast<double>(history.back().doors[i].requests) / history.back().seconds;
    }
    const bool all = static_cast<std::size_t>(loaded) == m_lists.size();
    return std::string("<span class=\"") + (all ? "good" : "bad") + "\">" + std::to_string(loaded) +
           " of " + std::to_string(m_lists.size()) + " lists loaded</span> \u00b7 " +
           Connections(connections) + " \u00b7 " + Rate(requests) + " requests a second \u00b7 " +
           Clock(m_now);
}

std::string StatusPage::MakeForm() const {
    std::string html =
        "<form action=\"./#answer\" method=\"get\">\n<label>List <select name=\"list\">";
    for (const std::string& list : m_offered)
        html += std::string("<option") + (list == m_list ? " selected" : "") + " value=\"" +
                EscapeHtml(list) + "\">" + EscapeHtml(list) + "</option>";
    html +=
        "</select></label>\n<label class=\"wide\">Address, domain or text "
        "<input name=\"text\" value=\"" +
        EscapeHtml(m_text) +
        "\" maxlength=\"2000\" autocomplete=\"off\" autocapitalize=\"off\" spellcheck=\"false\" "
        "placeholder=\"jdoe@example.com\"></label>\n<button>Ask</button>\n</form>\n";
    return html + "<div id=\"answer\" aria-live=\"polite\">" + m_answer + "</div>\n";
}

std::string StatusPage::MakeLists(const std::vector<Metrics::Sample>& history) const {
    std::string html = "<table><thead><tr><th>List</th><th class=\"number\">Records</th>"
                       "<th class=\"number\">Generation</th><th class=\"number\">Loaded</th>"
                       "<th class=\"number\">Last change</th><th class=\"number\">Found</th>"
                       "<th class=\"number\">Not found</th><th class=\"number\">Faults in an "
                       "hour</th></tr></thead>\n"
                       "<tbody>\n";
    for (std::size_t i = 0; i < m_lists.size(); ++i) {
        const ListState& list = m_lists[i];
        const Metrics::Counts counts = m_metrics.GetListCounts(i);
        std::uint64_t faults = 0;
        for (const Metrics::Sample& sample : history)
            faults += sample.unavailable[i];
        html += "<tr><th scope=\"row\">" + Code(list.name) + "</th>";
        if (list.loaded)
            html += Cell("Records", Number(list.records)) +
                    Cell("Generation", Number(list.generation)) +
                    Cell("Loaded", Age(m_now - list.load_time)) +
                    Cell("Last change", std::string("+") + Number(list.added) + " \u2212" +
                                            Number(list.removed) + " =" + Number(list.kept));
        else
            html += "<td colspan=\"4\" class=\"bad\">not loaded</td>";
        html += Cell("Found", Number(counts.found)) + Cell("Not found", Number(counts.not_found)) +
                Cell("Faults",
                     faults == 0 ? "0" : "<span class=\"bad\">" + Number(faults) + "</span>") +
                "</tr>\n";
        if (list.rolled_back)
            html += "<tr class=\"fault\"><td colspan=\"8\">rolled back</td></tr>\n";
        if (!list.fault.empty())
            html += "<tr class=\"fault\"><td colspan=\"8\" class=\"bad\">" +
                    EscapeHtml(list.fault) + "</td></tr>\n";
        const Metrics::Fault fault = m_metrics.GetFault(i);
        if (fault.time != 0)
            html += "<tr class=\"fault\"><td colspan=\"8\"><span class=\"bad\">" +
                    EscapeHtml(fault.reason) + "</span> <span class=\"soft\">" +
                    Age(m_now - fault.time) + "</span></td></tr>\n";
    }
    return html + "</tbody></table>\n";
}

std::string StatusPage::MakeServers() const {
    if (m_plugins.servers.empty())
        return std::string();
    std::string html = "<h2>Servers of plug-ins</h2>\n<section class=\"card\"><table><thead><tr>"
                       "<th>Type</th><th>Server</th><th>State</th></tr></thead>\n<tbody>\n";
    for (const PluginStates::Server& server : m_plugins.servers)
        html += "<tr><th scope=\"row\">" + Code(server.type) + "</th>" +
                "<td data-label=\"Server\">" + Code(server.name) +
                "</td><td data-label=\"State\">" +
                (server.up ? "up" : "<span class=\"bad\">failed</span>") + "</td></tr>\n";
    html += "</tbody></table>\n";
    std::string type;
    for (const PluginStates::Answers& answers : m_plugins.answers) {
        html += (answers.type == type ? ", "
                 : type.empty()       ? "<p>"
                                      : "</p>\n<p>") +
                (answers.type == type ? std::string() : "Answers of " + Code(answers.type) + ": ") +
                EscapeHtml(answers.origin) + " " + Number(answers.count);
        type = answers.type;
    }
    return html + (type.empty() ? "" : "</p>\n") + "</section>\n";
}

std::string StatusPage::MakeDoors(const std::vector<Metrics::Sample>& history) const {
    std::string html;
    for (std::size_t i = 0; i < m_doors.size(); ++i) {
        const DoorConfig& door = m_doors[i];
        html += "<article class=\"card door\">\n<div><h3>" + Code(door.name) +
                " <span class=\"soft\">" + EscapeHtml(door.protocol) + "</span></h3>\n<p>" +
                Connections(m_metrics.GetConnections(i)) + " \u00b7 ";
        for (const std::string& address : door.addresses)
            html += Code(address) + " ";
        html += "</p></div>\n" + RateChart(history, i) + LatencyChart(history, i) + "</article>\n";
    }
    return html;
}

std::string StatusPage::ToHtml() const {
    const std::vector<Metrics::Sample> history = m_metrics.GetHistory();
    return std::string(
               "<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
               "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
               "<title>kwlookupd</title>\n"
               "<link rel=\"icon\" href=\"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/"
               "2000/svg' viewBox='0 0 8 8'%3E%3Ccircle cx='3.4' cy='3.4' r='2.4' fill='none' "
               "stroke='%230a6b4b'/%3E%3Cpath d='M5 5l2.4 2.4' stroke='%230a6b4b'/%3E%3C/svg"
               "%3E\">\n<style>") +
           STYLE +
           "</style>\n</head>\n<body>\n<main>\n<header><h1>kwlookupd</h1>\n<p id=\"summary\">" +
           MakeSummary(history) +
           "</p>\n<p><span id=\"state\" class=\"soft\"></span></p></header>\n"
           "<h2>Ask a list</h2>\n<section class=\"card\">\n" +
           MakeForm() + "</section>\n<h2>Lists</h2>\n<section class=\"card\" id=\"lists\">" +
           MakeLists(history) + "</section>\n<div id=\"servers\">" + MakeServers() +
           "</div>\n<h2>Doors</h2>\n<section class=\"doors\" id=\"doors\">" + MakeDoors(history) +
           "</section>\n</main>\n<script>" + SCRIPT + "</script>\n</body>\n</html>\n";
}

} // namespace kwlookup
