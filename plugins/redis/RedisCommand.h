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

/// The command of a lookup: words with blanks between, a word with blanks in single or double
/// quotes. It is split into its arguments before texts are put in, and each argument is sent with
/// its length, so no searched text can add an argument or another command.
///
/// Threads: any; a command never changes.
class RedisCommand {
public:
    /// Throws std::invalid_argument "cannot read the command 'TEXT': wait GET, HGET, HMGET,
    /// SISMEMBER, ZSCORE or EXISTS and its arguments", "wrong number of arguments in 'TEXT'", and
    /// what QueryTemplate throws.
    explicit RedisCommand(const std::string& text);
    RedisCommand(const std::string& text, const RedisConfig&) : RedisCommand(text) {}

    const std::string& GetText() const { return m_text; }
    const std::string& GetKey() const { return m_text; }

    /// Puts the bytes to send into `question`; false when there is nothing to ask.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& question) const;

    /// The last argument with a code, as it was sent.
    std::string Matched(const std::string& question) const;

    /// Takes the server's answer. Throws ServerFault "the answer is not one to NAME".
    void Read(const RedisReply& reply, Answer& answer) const;

    /// The key in what Expand() gave, which says who in a cluster has it.
    static std::string_view KeyOf(const std::string& question);

private:
    /// What a server answers.
    enum class Kind { Value, Values, Flag };

    struct Known {
        const char* name;
        std::size_t least; ///< arguments
        std::size_t most;
        Kind kind;
    };

    static const Known& Find(const std::string& text, const std::string& name);

    std::string m_text;
    const Known* m_known;
    std::string m_head; ///< of each request: the number of its arguments, and the name
    std::vector<QueryTemplate> m_arguments; ///< behind the name
    std::size_t m_matched;                  ///< the argument for Matched()
};

/// `arguments` as they are sent.
std::string RedisRequest(const std::vector<std::string>& arguments);

} // namespace kwlookup
