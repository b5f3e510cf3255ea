// SPDX-License-Identifier: MIT
// Parses a command, and expands it for a text. It must be sent as one request, with as many
// arguments as for a harmless text. The input is the text, a zero byte, and the command.
#include "fuzz/Require.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/tests/RedisRequests.h"
#include "support/Expander.h"
#include "support/TextFinder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

using namespace kwlookup;

namespace {

std::vector<std::string> Sent(const RedisCommand& command, const std::string& text) {
    static const Expander expander;
    std::string question;
    if (!command.Expand(expander, TextFinder(text), 0, question))
        return {};
    const std::vector<std::string> arguments = ParseRequest(question);
    Require(RedisCommand::KeyOf(question) == arguments.at(1));
    Require(std::count(arguments.begin(), arguments.end(), command.Matched(question)) > 0);
    return arguments;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(input.rfind('\0'), input.size());
    const std::string text = input.substr(0, end);
    try {
        const RedisCommand command(input.substr(std::min(end + 1, input.size())));
        const std::vector<std::string> harmless = Sent(command, "a@b");
        const std::vector<std::string> sent = Sent(command, text);
        Require(!harmless.empty());
        Require(sent.empty() || sent.size() == harmless.size());
        Require(sent.empty() || sent[0] == harmless[0]);
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
