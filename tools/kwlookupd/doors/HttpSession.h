// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/HttpDoor.h"
#include "tools/kwlookupd/doors/Session.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// HTTP/1.1 and 1.0, one request after the other.
///
/// - `GET /LIST?text=TEXT`: 200 and the result; 404 if not found; 503 if the list cannot be asked
/// - `POST /LIST`: 200 and an answer for each text: lines, or an array of JSON
/// - `GET /LIST/all`: all keys of a list, for programs that keep it themselves
/// - `GET /metrics`: counters, for Prometheus
/// - `GET /healthz`: 200 if all lists of the door are loaded, else 503
/// - `GET /`: the status page; with `list` and `text` it tells which item answered
///
/// HEAD does the same as GET without the body. Only a text that was looked for and not found gets
/// 404: a list that the door does not serve gets 400, since a wrong name is not "not found".
///
/// Answers are plain text, or JSON with `format=json` or `Accept: application/json`. The empty text
/// is the null sender. A request that is not understood gets its reason and ends the connection, so
/// that what follows is not taken for a request.
class HttpSession : public Session {
public:
    /// Most servers allow this much.
    static constexpr std::size_t MAX_HEADER = 8 * 1024;
    /// Enough for MAX_TEXTS addresses.
    static constexpr std::size_t MAX_BODY = 1024 * 1024;
    static constexpr std::size_t MAX_TEXTS = 10'000;
    /// Bounds the memory of a connection: results may be long.
    static constexpr std::size_t MAX_ANSWER = 16 * 1024 * 1024;

    /// Keeps a reference to `door`.
    explicit HttpSession(const HttpDoor& door);
    ~HttpSession() override;

    Step Read(std::string_view& input, Query& query, Output& output) override;
    Step ReadEnd(std::string_view& input, Query& query, Output& output) override;
    bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) override;
    bool IsInsideRequest() const override { return m_request != nullptr; }

private:
    struct Request;
    struct Response;

    Step ReadHeader(std::string_view& input, Query& query, Output& output);
    Step ReadBody(std::string_view& input, Query& query, Output& output);
    bool CheckFraming(Output& output);
    bool CheckClient(Output& output);
    Step Serve(Query& query, Output& output);
    Step ServePage(Query& query, Output& output);
    Step ServeList(const std::string& name, Query& query, Output& output);
    Step ServeTexts(const DoorConfig::List& list, Query& query, Output& output);
    Step ServeWholeList(const std::string& name, Output& output);
    Step ServeHealth(Output& output);
    Response MakePage(const Reply* reply) const;

    /// Ends the request with `response`. Counts it as malformed if the status says so.
    Step Respond(const Response& response, Output& output);
    Step End(const Response& response, Output& output);
    Step RefuseList(const std::string& name, unsigned status, Output& output);
    void Count(Refusals::Reason reason, const std::string& text) const;
    /// Refuses the request and says why, and ends the connection.
    Step Refuse(unsigned status, const std::string& why, Output& output);
    void Write(const Response& response, Output& output);

    const HttpDoor& m_door;
    std::unique_ptr<Request> m_request; ///< from the end of its header to its answer
    std::size_t m_line = 0;             ///< begin of the line of the header that is not complete
    std::size_t m_scanned = 0;          ///< how much of the header has been looked at
};

} // namespace kwlookup
