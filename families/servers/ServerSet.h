// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerHealth.h"
#include "families/servers/ServerPool.h"
#include "families/servers/ServerReport.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/StoreTime.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

/// The servers of an item, each of which can answer every question. They are asked in the order of
/// ServerHealth until one answers.
///
/// Threads: any.
template <typename Connection>
class ServerSet {
public:
    explicit ServerSet(const std::shared_ptr<const ServerSettings>& settings)
        : m_health(settings->servers.size(), settings->random, settings->retry_interval),
          m_report(m_health, NamesOf(settings->servers)) {
        for (const Server& server : settings->servers)
            m_pools.push_back(std::make_shared<ServerPool<Connection>>(server, settings));
    }

    /// Call `connection.Ask(query, question, deadline, answer)`, with an empty `answer`, for one
    /// server after the other, until one neither throws a ServerFault nor fails to connect.
    ///
    /// Throws ServerFault with the names of the servers tried and their reasons, "NAME: REASON;
    /// NAME: REASON", and std::runtime_error "NAME: REASON" for another runtime error.
    template <typename Query>
    void Ask(const Query& query, const std::string& question, Deadline deadline, Answer& answer) {
        Use(deadline, [&](Connection& connection) {
            answer.Clear();
            connection.Ask(query, question, deadline, answer);
        });
    }

    /// Call `connection.Store(query, rows, time, progress)` in the same way, each time with a new
    /// `progress`. If a connection fails during the commit, it is unknown whether the rows are
    /// stored, and no other server is asked.
    ///
    /// Throws what Ask() throws.
    template <typename Query, typename Rows, typename Progress>
    void Store(const Query& query, const Rows& rows, std::chrono::milliseconds timeout,
               Progress& progress) {
        const StoreTime time(timeout, rows.size());
        Use(time.ForStatement(), [&](Connection& connection) {
            progress = Progress();
            try {
                connection.Store(query, rows, time, progress);
            } catch (const ServerFault& fault) {
                if (!progress.committing)
                    throw;
                progress.unknown = true;
                throw std::runtime_error(std::string(fault.what()) +
                                         ": it may have been stored nevertheless");
            }
        });
    }

private:
    static std::vector<std::string> NamesOf(const std::vector<Server>& servers) {
        std::vector<std::string> names;
        for (const Server& server : servers)
            names.push_back(server.GetName());
        return names;
    }

    template <typename Call>
    void Use(Deadline deadline, Call&& call) {
        std::string reasons;
        for (const std::size_t i : m_health.GetOrder()) {
            ServerPool<Connection>& pool = *m_pools[i];
            const auto named = [&pool](const std::exception& error) {
                return pool.GetServer().GetName() + ": " + error.what();
            };
            try {
                pool.Use(deadline, call);
                m_health.Worked(i);
                return;
            } catch (const typename ServerPool<Connection>::Busy& busy) {
                throw ServerFault(named(busy));
            } catch (const ServerFault& fault) {
                pool.Fail(fault.what());
                m_health.Failed(i, named(fault));
                reasons += (reasons.empty() ? "" : "; ") + named(fault);
                if (deadline.IsOver())
                    break;
            } catch (const QuestionFault& fault) {
                m_health.Worked(i);
                throw std::runtime_error(named(fault));
            } catch (const std::runtime_error& error) {
                throw std::runtime_error(named(error));
            }
        }
        throw ServerFault(reasons);
    }

    ServerHealth m_health;
    ServerReport m_report;
    std::vector<std::shared_ptr<ServerPool<Connection>>> m_pools;
};

} // namespace kwlookup
