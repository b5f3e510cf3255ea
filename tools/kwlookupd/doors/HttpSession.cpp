// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/HttpSession.h"

#include "tools/kwlookupd/doors/HttpDate.h"
#include "tools/kwlookupd/doors/HttpTarget.h"
#include "tools/kwlookupd/status/StatusPage.h"
#include "tools/lists/Report.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace kwlookup {

namespace {

namespace http = boost::beast::http;
using Json = nlohmann::ordered_json;

/// Between requests an empty line is skipped, as some clients send one too many.
constexpr std::string_view LINE_END = "\r\n";

/// The shortest end of a body in chunks, "0" and two line ends.
constexpr std::size_t LAST_CHUNK = 5;

std::string_view View(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

bool EqualNoCase(std::string_view left, std::string_view right) {
    return boost::beast::iequals({left.data(), left.size()}, {right.data(), right.size()});
}

bool ContainsNoCase(std::string_view text, std::string_view word) {
    for (std::size_t i = 0; i + word.size() <= text.size(); ++i)
        if (EqualNoCase(text.substr(i, word.size()), word))
            return true;
    return false;
}

/// JSON for bytes of any kind: those that are not UTF-8 become U+FFFD.
std::string ToText(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Collects the texts of a JSON array.
class TextsHandler : public nlohmann::json_sax<nlohmann::json> {
public:
    TextsHandler(std::vector<std::string>& texts, std::size_t most)
        : m_texts(texts), m_most(most) {}

    bool start_array(std::size_t) override { return !std::exchange(m_inside, true); }
    bool end_array() override { return true; }
    bool string(std::string& text) override {
        if (m_inside && m_texts.size() <= m_most)
            m_texts.push_back(std::move(text));
        return m_inside;
    }

    bool null() override { return false; }
    bool boolean(bool) override { return false; }
    bool number_integer(std::int64_t) override { return false; }
    bool number_unsigned(std::uint64_t) override { return false; }
    bool number_float(double, const std::string&) override { return false; }
    bool binary(nlohmann::json::binary_t&) override { return false; }
    bool start_object(std::size_t) override { return false; }
    bool key(std::string&) override { return false; }
    bool end_object() override { return false; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    std::vector<std::string>& m_texts;
    const std::size_t m_most;
    bool m_inside = false;
};

/// Splits `body` into lines; the last needs no line end. Stops above `most`.
std::vector<std::string> SplitLines(std::string_view body, std::size_t most) {
    std::vector<std::string> lines;
    while (!body.empty() && lines.size() <= most) {
        const std::size_t end = std::min(body.find('\n'), body.size());
        std::string_view line = body.substr(0, end);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        lines.emplace_back(line);
        body.remove_prefix(std::min(end + 1, body.size()));
    }
    return lines;
}

std::string OnOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return text;
}

Json ToJson(const std::string& text, const Reply& reply, bool explain) {
    Json json{{"text", text}};
    switch (reply.outcome) {
    case Outcome::Found:
        json["outcome"] = "found";
        json[reply.has_result ? "result" : "value"] = reply.text;
        if (explain) {
            json["item"] = reply.item;
            if (!reply.file.empty())
                json["file"] = reply.file;
            if (reply.line != 0)
                json["line"] = reply.line;
        }
        break;
    case Outcome::NotFound:
        json["outcome"] = "not_found";
        break;
    case Outcome::Unavailable:
        json["outcome"] = "unavailable";
        json["reason"] = reply.text;
        break;
    }
    return json;
}

std::string ToLine(const Reply& reply) {
    switch (reply.outcome) {
    case Outcome::Found:
        return "found " + OnOneLine(reply.text);
    case Outcome::NotFound:
        return "not_found";
    case Outcome::Unavailable:
        break;
    }
    return "unavailable " + OnOneLine(reply.text);
}

/// True if one of the tags of a field If-None-Match is `etag`. It is compared weakly: W/ is
/// ignored.
bool HasTag(std::string_view field, std::string_view etag) {
    while (!field.empty()) {
        const std::size_t end = std::min(field.find(','), field.size());
        std::string_view tag = field.substr(0, end);
        field.remove_prefix(std::min(end + 1, field.size()));
        tag.remove_prefix(std::min(tag.find_first_not_of(" \t"), tag.size()));
        tag = tag.substr(0, tag.find_last_not_of(" \t") + 1);
        if (tag.substr(0, 2) == "W/")
            tag.remove_prefix(2);
        if (tag == "*" || tag == etag)
            return true;
    }
    return false;
}

} // namespace

/// A request and what its answer depends on.
struct HttpSession::Request {
    http::request_parser<http::string_body> parser;
    std::size_t size = 0; ///< of the body, as it was sent
    HttpTarget target;
    bool head = false;
    bool close = false; ///< end the connection after the answer
    bool json = false;
    bool explain = false;
    bool page = false; ///< the question came from the status page

    auto& GetMessage() { return parser.get(); }
    std::string_view Get(http::field field) { return View(parser.get()[field]); }
    std::size_t Count(http::field field) { return parser.get().count(field); }
};

struct HttpSession::Response {
    unsigned status = 200;
    std::string body;
    const char* type = "text/plain; charset=utf-8";
    const char* policy = "default-src 'none'; frame-ancestors 'none'";
    const char* cache = "no-store";
    std::string fields{}; ///< lines with their ends
    /// Sent instead of `body`.
    std::shared_ptr<const std::string> shared_body{};
};

HttpSession::HttpSession(const HttpDoor& door) : m_door(door) {}
HttpSession::~HttpSession() = default;

Session::Step HttpSession::Read(std::string_view& input, Query& query, Output& output) {
    return m_request ? ReadBody(input, query, output) : ReadHeader(input, query, output);
}

Session::Step HttpSession::ReadEnd(std::string_view& input, Query& query, Output& output) {
    const Step step = Read(input, query, output);
    return step == Step::NeedMore ? Step::Close : step;
}

// Beast limits each of its calls, not the header, and accepts more line ends. So it gets whole
// headers.
Session::Step HttpSession::ReadHeader(std::string_view& input, Query& query, Output& output) {
    while (m_scanned == 0 && input.substr(0, 2) == LINE_END)
        input.remove_prefix(2);
    if (input.empty() || input == "\r")
        return Step::NeedMore;
    const std::string_view header = input.substr(0, MAX_HEADER);
    for (bool ended = false; !ended;) {
        const std::size_t end = header.find('\n', m_scanned);
        if (end == std::string_view::npos) {
            m_scanned = header.size();
            if (header.size() < MAX_HEADER)
                return Step::NeedMore;
            return m_line == 0 ? Refuse(414, "the request line is too long", output)
                               : Refuse(431, "the header is too long", output);
        }
        if (end == 0 || header[end - 1] != '\r')
            return Refuse(400, "a line ends without a carriage return", output);
        ended = end - m_line == 1;
        m_line = m_scanned = end + 1;
    }
    const std::size_t size = std::exchange(m_line, 0);
    m_scanned = 0;

    m_request = std::make_unique<Request>();
    m_request->parser.header_limit(MAX_HEADER + 1);
    m_request->parser.body_limit(MAX_BODY);
    boost::beast::error_code error;
    m_request->parser.put(boost::asio::const_buffer(input.data(), size), error);
    input.remove_prefix(size);
    m_request->head = m_request->GetMessage().method() == http::verb::head;
    if (error == http::error::body_limit)
        return Refuse(413, "the body is too long", output);
    if (error == http::error::bad_version)
        return Refuse(505, "the version is not HTTP/1.0 or 1.1", output);
    if (error || !m_request->parser.is_header_done())
        return Refuse(400, "the header is malformed", output);
    if (!CheckFraming(output) || !CheckClient(output))
        return Step::Close;
    if (m_request->parser.is_done())
        return Serve(query, output);
    m_request->parser.eager(true);
    if (m_request->Count(http::field::expect) != 0 && m_request->GetMessage().version() > 10)
        output.Append("HTTP/1.1 100 Continue\r\n\r\n");
    return Step::Go;
}

/// Refuses all that two programs could take for requests of different length.
bool HttpSession::CheckFraming(Output& output) {
    Request& request = *m_request;
    const bool old = request.GetMessage().version() == 10;
    const std::size_t encodings = request.Count(http::field::transfer_encoding);
    const bool chunked = encodings == 1 && request.parser.chunked() &&
                         EqualNoCase(request.Get(http::field::transfer_encoding), "chunked");
    if (request.Count(http::field::content_length) > 1 ||
        request.Get(http::field::content_length).find(',') != std::string_view::npos)
        Refuse(400, "there is more than one Content-Length", output);
    else if (encodings != 0 && (old || request.Count(http::field::content_length) != 0))
        Refuse(400, "Transfer-Encoding must not be used here", output);
    else if (encodings != 0 && !chunked)
        Refuse(501, "the only Transfer-Encoding is chunked", output);
    else if (request.Count(http::field::host) > 1 ||
             (!old && request.Count(http::field::host) == 0))
        Refuse(400, "there must be one field Host", output);
    else if (request.Count(http::field::expect) != 0 &&
             !EqualNoCase(request.Get(http::field::expect), "100-continue"))
        Refuse(417, "the only expectation is 100-continue", output);
    else
        return true;
    return false;
}

bool HttpSession::CheckClient(Output& output) {
    Request& request = *m_request;
    const http::verb method = request.GetMessage().method();
    request.close = !request.GetMessage().keep_alive();
    if (method != http::verb::get && method != http::verb::head && method != http::verb::post) {
        Refuse(405, "the methods are GET, HEAD and POST", output);
        return false;
    }
    std::string_view target = View(request.GetMessage().target());
    std::string_view host = request.Get(http::field::host);
    if (EqualNoCase(target.substr(0, 7), "http://")) { // as clients write it for a proxy
        target.remove_prefix(7);
        host = target.substr(0, std::min(target.find_first_of("/?"), target.size()));
        target.remove_prefix(host.size());
        if (target.empty())
            target = "/";
    }
    std::optional<HttpTarget> parsed = HttpTarget::Parse(target);
    if (!parsed) {
        Refuse(400, "the path is malformed", output);
        return false;
    }
    request.target = std::move(*parsed);
    if (!host.empty() && !m_door.IsOwnHost(host)) {
        Refuse(421, "this is another host: see the setting Host of the door", output);
        return false;
    }
    const bool is_health = request.target.path == std::vector<std::string>{"healthz"};
    if (!is_health && (request.Count(http::field::authorization) > 1 ||
                       !m_door.MayAsk(request.Get(http::field::authorization)))) {
        Refuse(401, "the token is missing or wrong", output);
        return false;
    }
    return true;
}

Session::Step HttpSession::ReadBody(std::string_view& input, Query& query, Output& output) {
    auto& parser = m_request->parser;
    // Less than the end of the chunks is never worth a try, and Beast asserts that it has so much.
    if (input.size() < (parser.chunked() ? LAST_CHUNK : 1))
        return Step::NeedMore;
    boost::beast::error_code error;
    // The parser wants the line of a chunk as a whole. So this limits the line, too.
    const std::string_view next = input.substr(0, MAX_HEADER);
    const std::size_t used = parser.put(boost::asio::const_buffer(next.data(), next.size()), error);
    input.remove_prefix(used);
    m_request->size += used;
    // Short chunks with long lines are not worth their work.
    if (error == http::error::body_limit || m_request->size > 2 * MAX_BODY)
        return Refuse(413, "the body is too long", output);
    if (error && error != http::error::need_more)
        return Refuse(400, "the body is malformed", output);
    if (parser.is_done())
        return Serve(query, output);
    if (used != 0)
        return Step::Go;
    return input.size() < MAX_HEADER ? Step::NeedMore
                                     : Refuse(400, "the line of a chunk is too long", output);
}

Session::Step HttpSession::Serve(Query& query, Output& output) {
    query = Query();
    const HttpTarget& target = m_request->target;
    const std::vector<std::string>& path = target.path;
    const bool post = m_request->GetMessage().method() == http::verb::post;
    const std::string* format = target.Find("format");
    m_request->json = format
                          ? *format == "json"
                          : ContainsNoCase(m_request->Get(http::field::accept), "application/json");
    if (format && *format != "json" && *format != "plain")
        return Respond({400, "the format is json or plain\n"}, output);
    for (const char* name : {"text", "list"})
        if (target.HasTwice(name))
            return Respond({400, std::string("there are two parameters ") + name + "\n"}, output);
    // A text with a "&" that is not encoded would be cut, and not be found.
    if (target.Find("text") && !target.HasOnly({"explain", "format", "list", "text"}))
        return Respond({400, "a parameter is unknown; write & in a text as %26\n"}, output);
    if (path.size() == 1 && m_door.FindList(path[0]) && post)
        return ServeTexts(*m_door.FindList(path[0]), query, output);
    if (post) {
        if (path.size() == 1)
            Count(Refusals::UnknownList, "there is no list [" + Shortened(path[0]) + ']');
        Response response{405, "POST is for the path of a list\n"};
        response.fields = "Allow: GET, HEAD\r\n";
        return Respond(response, output);
    }
    if (path.empty())
        return ServePage(query, output);
    if (path.size() == 1 && path[0] == "healthz")
        return ServeHealth(output);
    if (path.size() == 1 && path[0] == "metrics") {
        const DaemonView& view = m_door.GetView();
        Response response;
        response.type = "text/plain; version=0.0.4; charset=utf-8";
        response.body =
            view.GetMetrics().ToPrometheus(view.GetLists(), view.GetTime(), view.GetPlugins());
        return Respond(response, output);
    }
    if (path.size() == 1)
        return ServeList(path[0], query, output);
    if (path.size() == 2 && path[1] == "all")
        return ServeWholeList(path[0], output);
    // Clients take 404 for an answer to a question.
    return Respond({target.Find("text") ? 400U : 404U, "there is no such page\n"}, output);
}

Session::Step HttpSession::ServeList(const std::string& name, Query& query, Output& output) {
    const DoorConfig::List* list = m_door.FindList(name);
    const std::string* text = m_request->target.Find("text");
    if (!list)
        return text ? RefuseList(name, 400, output) // other names are those of pages
                    : Respond({404, "this door serves no list of that name\n"}, output);
    if (!text)
        return Respond({400, "say which text: ?text=TEXT, or /all for the whole list\n"}, output);
    query.explain = m_request->explain = m_request->target.Find("explain") != nullptr;
    query.asks.push_back({list->number, text->empty() ? "<>" : *text});
    return Step::Ask;
}

Session::Step HttpSession::ServeTexts(const DoorConfig::List& list, Query& query, Output& output) {
    const std::string& body = m_request->GetMessage().body();
    const std::string_view type = m_request->Get(http::field::content_type);
    std::vector<std::string> texts;
    const std::string_view encoding = m_request->Get(http::field::content_encoding);
    if (!encoding.empty() && !EqualNoCase(encoding, "identity"))
        return Respond({415, "the body must have no Content-Encoding\n"}, output);
    if (m_request->target.Find("text"))
        return Respond({400, "the texts of POST are its body\n"}, output);
    if (ContainsNoCase(type, "application/json")) {
        TextsHandler handler(texts, MAX_TEXTS);
        if (!nlohmann::json::sax_parse(body, &handler))
            return Respond({400, "the body is not a JSON array of texts\n"}, output);
        m_request->json |= !m_request->target.Find("format");
    } else if (ContainsNoCase(type, "multipart/")) {
        return Respond({415, "the body is lines, or application/json\n"}, output);
    } else {
        texts = SplitLines(body, MAX_TEXTS);
    }
    if (texts.size() > MAX_TEXTS)
        return Respond({413, "there are more than " + std::to_string(MAX_TEXTS) + " texts\n"},
                       output);
    if (texts.empty())
        return Respond({400, "the body has no texts\n"}, output);
    query.all = true;
    query.explain = m_request->explain = m_request->target.Find("explain") != nullptr;
    for (std::string& text : texts)
        query.asks.push_back({list.number, text.empty() ? "<>" : std::move(text)});
    return Step::Ask;
}

Session::Step HttpSession::ServePage(Query& query, Output& output) {
    const std::string* name = m_request->target.Find("list");
    const std::string* text = m_request->target.Find("text");
    const DoorConfig::List* list = name ? m_door.FindList(*name) : nullptr;
    if (!list || !text)
        return Respond(MakePage(nullptr), output);
    query.explain = m_request->page = true;
    query.asks.push_back({list->number, text->empty() ? "<>" : *text});
    return Step::Ask;
}

HttpSession::Response HttpSession::MakePage(const Reply* reply) const {
    const DaemonView& view = m_door.GetView();
    StatusPage page(view.GetDoors(), view.GetLists(), view.GetMetrics(), view.GetTime(),
                    view.GetPlugins());
    for (const DoorConfig::List& list : m_door.GetConfig().lists)
        page.Offer(list.name);
    const std::string* name = m_request->target.Find("list");
    const std::string* text = m_request->target.Find("text");
    if (name && text)
        page.ShowAnswer(*name, *text, reply);
    Response response;
    response.type = "text/html; charset=utf-8";
    response.policy = StatusPage::GetSecurityPolicy();
    response.body = page.ToHtml();
    return response;
}

Session::Step HttpSession::ServeWholeList(const std::string& name, Output& output) {
    const DoorConfig::List* list = m_door.FindList(name);
    if (!list)
        return RefuseList(name, 404, output);
    const auto whole = m_door.GetView().GetWholeList(list->number);
    if (!whole)
        return Respond({503, "the list has not been loaded\n"}, output);
    if (!whole->why_not.empty())
        return Respond({501, whole->why_not + "\n"}, output);
    Response response;
    response.cache = "no-cache"; // may be kept, if the server is asked each time
    response.fields =
        "ETag: " + whole->etag + "\r\nLast-Modified: " + FormatHttpDate(whole->changed) + "\r\n";
    response.shared_body = std::shared_ptr<const std::string>(whole, &whole->text);
    bool same = false;
    if (m_request->Count(http::field::if_none_match) != 0) {
        same = HasTag(m_request->Get(http::field::if_none_match), whole->etag);
    } else {
        const auto since = ParseHttpDate(m_request->Get(http::field::if_modified_since));
        same = since && whole->changed <= *since;
    }
    if (same)
        response.status = 304;
    return Respond(response, output);
}

Session::Step HttpSession::ServeHealth(Output& output) {
    const std::vector<ListState> lists = m_door.GetView().GetLists();
    std::string missing;
    for (const DoorConfig::List& list : m_door.GetConfig().lists)
        if (list.number >= lists.size() || !lists[list.number].loaded)
            missing += (missing.empty() ? "" : ", ") + list.name;
    return missing.empty() ? Respond({200, "ok\n"}, output)
                           : Respond({503, "not loaded: " + missing + "\n"}, output);
}

bool HttpSession::Answer(const Query& query, const std::vector<Reply>& replies, Output& output) {
    if (m_request->page)
        return Respond(MakePage(&replies.at(0)), output) != Step::Close;
    Response response;
    if (m_request->json)
        response.type = "application/json";
    if (!query.all) {
        const Reply& reply = replies.at(0);
        response.status = reply.outcome == Outcome::Found      ? 200
                          : reply.outcome == Outcome::NotFound ? 404
                                                               : 503;
        response.body = m_request->json
                            ? ToText(ToJson(query.asks.at(0).text, reply, m_request->explain))
                        : reply.outcome == Outcome::NotFound ? "not found"
                                                             : reply.text;
        response.body += "\n";
        return Respond(response, output) != Step::Close;
    }
    const char* separator = m_request->json ? "[\n" : "";
    for (std::size_t i = 0; i < replies.size() && response.body.size() <= MAX_ANSWER; ++i) {
        response.body += separator;
        response.body += m_request->json
                             ? ToText(ToJson(query.asks[i].text, replies[i], m_request->explain))
                             : ToLine(replies[i]);
        separator = m_request->json ? ",\n" : "\n";
    }
    response.body += m_request->json ? "\n]\n" : "\n";
    if (response.body.size() > MAX_ANSWER) {
        Count(Refusals::Unsendable, "an answer is too long");
        return End({413, "the answer is too long; send fewer texts\n"}, output) != Step::Close;
    }
    return Respond(response, output) != Step::Close;
}

Session::Step HttpSession::Respond(const Response& response, Output& output) {
    if (response.status == 400 || response.status == 413 || response.status == 415)
        Count(Refusals::Malformed, response.body.substr(0, response.body.size() - 1));
    return End(response, output);
}

Session::Step HttpSession::RefuseList(const std::string& name, unsigned status, Output& output) {
    Count(Refusals::UnknownList, "there is no list [" + Shortened(name) + ']');
    return End({status, "this door serves no list of that name\n"}, output);
}

void HttpSession::Count(Refusals::Reason reason, const std::string& text) const {
    const DoorConfig& config = m_door.GetConfig();
    config.refusals->Count(reason, config.name, [&] { return text; });
}

Session::Step HttpSession::End(const Response& response, Output& output) {
    Write(response, output);
    const bool close = m_request->close;
    m_request.reset();
    return close ? Step::Close : Step::Go;
}

Session::Step HttpSession::Refuse(unsigned status, const std::string& why, Output& output) {
    if (!m_request)
        m_request = std::make_unique<Request>();
    m_request->close = true;
    Response response{status, why + "\n"};
    if (status == 405)
        response.fields = "Allow: GET, HEAD, POST\r\n";
    else if (status == 401)
        response.fields = "WWW-Authenticate: Bearer realm=\"kwlookupd\"\r\n"
                          "WWW-Authenticate: Basic realm=\"kwlookupd\"\r\n";
    Count(status == 401   ? Refusals::WrongToken
          : status == 421 ? Refusals::WrongHost
                          : Refusals::Malformed,
          why);
    return End(response, output);
}

void HttpSession::Write(const Response& response, Output& output) {
    const std::size_t size =
        response.shared_body ? response.shared_body->size() : response.body.size();
    std::string header = "HTTP/1.1 " + std::to_string(response.status) + " ";
    header += View(http::obsolete_reason(http::int_to_status(response.status)));
    header += "\r\nDate: " + FormatHttpDate(m_door.GetView().GetTime()) + "\r\n";
    if (response.status != 304) {
        header += std::string("Content-Type: ") + response.type + "\r\n";
        header += "Content-Length: " + std::to_string(size) + "\r\n";
    }
    header += std::string("Cache-Control: ") + response.cache + "\r\n";
    header += std::string("Content-Security-Policy: ") + response.policy + "\r\n";
    header += "X-Content-Type-Options: nosniff\r\nReferrer-Policy: no-referrer\r\n"
              "Cross-Origin-Resource-Policy: same-origin\r\n";
    header += response.fields;
    header += m_request->close ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n";
    output.Append(header);
    if (m_request->head || response.status == 304)
        return;
    if (response.shared_body)
        output.Append(response.shared_body);
    else
        output.Append(response.body);
}

} // namespace kwlookup
