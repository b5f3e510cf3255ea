// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "lookup/config/QueryTemplate.h"
#include "plugins/redis/RedisReply.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

class RedisConfig;

/// The command of a lookup: words separated by blanks. A word with blanks is in single or double
/// quotes. The command is split into arguments before templates are expanded, and each argument is
/// sent with its length, so that no searched text can add an argument or a command.
///
/// Threads: any.
class RedisCommand {
public:
    /// Throws std::invalid_argument "cannot read the command 'TEXT': wait GET, HGET, HMGET,
    /// SISMEMBER, ZSCORE or EXISTS and its arguments", "wrong number of arguments in 'TEXT'", and
    /// what QueryTemplate throws.
    explicit RedisCommand(const std::string& text);
    RedisCommand(const std::string& text, const RedisConfig&) : RedisCommand(text) {}

    const std::string& GetText() const { return m_text; }
    const std::string& GetKey() const { return m_text; }

    /// Set `question` to the bytes to send. False if the text has no part for a code.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& question) const;

    /// The last argument with a code, as it was sent.
    std::string Matched(const std::string& question) const;

    /// Convert the server's reply. Throws ServerFault "the answer is not one to NAME".
    void Read(const RedisReply& reply, Answer& answer) const;

    /// The key in a question of Expand(), which determines the node in a cluster.
    static std::string_view KeyOf(const std::string& question);

private:
    /// The kind of reply to a command.
    enum class Kind { Value, Values, Flag };

    struct Known {
        const char* name;
        std::size_t least; ///< the smallest number of arguments
        std::size_t most;
        Kind kind;
    };

    static const Known& Find(const std::string& text, const std::string& name);

    std::string m_text;
    const Known* m_known;
    std::string m_head; ///< the start of each request: the number of its arguments, and the name
    std::vector<QueryTemplate> m_arguments; ///< those after the name
    std::size_t m_matched;                  ///< the argument for Matched()
};

/// The bytes to send for `arguments`.
std::string RedisRequest(const std::vector<std::string>& arguments);

} // namespace kwlookup
