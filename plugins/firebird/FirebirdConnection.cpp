// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdConnection.h"

#include "families/servers/CallThread.h"
#include "families/servers/CancelWatch.h"
#include "families/servers/ServerFault.h"
#include "plugins/firebird/FirebirdInserter.h"
#include "plugins/firebird/FirebirdStatus.h"
#include "plugins/firebird/FirebirdTransaction.h"

#include <cstddef>
#include <optional>
#include <utility>

namespace kwlookup {

namespace {

/// Reloads with new statements must not fill the server's memory.
constexpr std::size_t MOST_STATEMENTS = 100;

} // namespace

FirebirdConnection::FirebirdConnection(const Server& server, const ServerSettings& settings,
                                       Deadline deadline) {
    // Copies, because the thread may outlive the originals.
    const auto attachment = std::make_shared<std::shared_ptr<FirebirdAttachment>>();
    CallThread(deadline).Do(deadline, [attachment, server, settings] {
        *attachment = std::make_shared<FirebirdAttachment>(server, settings);
    });
    m_attachment = std::move(*attachment);
}

FirebirdConnection::~FirebirdConnection() {
    const CancelWatch watch([this] { m_attachment->Cancel(); },
                            Deadline(FirebirdAttachment::FAREWELL));
    m_statements.clear();
}

void FirebirdConnection::Ask(const FirebirdQuery& query, const std::string& value,
                             Deadline deadline, Answer& answer) {
    const CancelWatch watch([this] { m_attachment->Cancel(); }, deadline);
    try {
        const bool ends_in_blank = !value.empty() && value.back() == ' ';
        AskInTime(ends_in_blank ? query.GetExactStatement() : query.GetStatement(), value, answer);
    } catch (const FirebirdFailure& failure) {
        if (watch.HasCancelled())
            throw ServerFault("no answer in time");
        failure.Fail();
    }
}

void FirebirdConnection::AskInTime(const std::string& text, const std::string& value,
                                   Answer& answer) {
    if (m_statements.count(text) != 0) {
        try {
            return Prepare(text).Ask(value, answer);
        } catch (const FirebirdFailure& failure) {
            if (failure.IsOfServer())
                throw;
        }
        // The table may have been replaced since the statement was prepared.
        m_statements.erase(text);
        answer.Clear();
    }
    Prepare(text).Ask(value, answer);
}

void FirebirdConnection::Store(const FirebirdInsert& insert, const std::vector<StoredRow>& rows,
                               const StoreTime& time, StoreProgress& progress) {
    std::optional<CancelWatch> watch;
    const auto next_step = [&] {
        watch.reset();
        watch.emplace([this] { m_attachment->Cancel(); }, time.ForStatement());
    };
    next_step();
    try {
        FirebirdTransaction transaction(*m_attachment);
        FirebirdInserter inserter(*m_attachment, transaction, insert);
        for (const StoredRow& row : rows) {
            next_step();
            inserter.Insert(row);
            ++progress.row;
        }
        next_step();
        progress.committing = true;
        transaction.Commit();
    } catch (const FirebirdFailure& failure) {
        if (watch->HasCancelled())
            throw ServerFault("no answer in time");
        failure.Fail();
    }
}

FirebirdStatement& FirebirdConnection::Prepare(const std::string& text) {
    const auto known = m_statements.find(text);
    if (known != m_statements.end())
        return *known->second;
    if (m_statements.size() >= MOST_STATEMENTS)
        m_statements.clear();
    auto statement = std::make_unique<FirebirdStatement>(*m_attachment, text);
    return *(m_statements[text] = std::move(statement));
}

} // namespace kwlookup
