// SPDX-License-Identifier: MIT
#include "servers/ServerProgram.h"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace kwlookup {

namespace {

/// The user nobody, and its group, on Debian.
constexpr uid_t NOBODY = 65534;

/// Some servers reserve memory for every descriptor that they may open. On some systems that is a
/// thousand million.
const char* const DESCRIPTORS = "--nofile=1024:1024";

} // namespace

std::string ServerFile(const std::string& path) {
    const std::string name = std::string(SERVERS_DIR "/root/") + path;
    if (!std::filesystem::exists(name))
        throw std::runtime_error(name +
                                 " is missing; run tests/servers/unpack_servers " SERVERS_DIR);
    return name;
}

std::vector<std::string> ServerCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"/usr/bin/prlimit", DESCRIPTORS, "setpriv",
                                        "--pdeathsig=KILL"};
    if (::geteuid() == 0) {
        const std::string id = std::to_string(NOBODY);
        // The user nobody may have no access to the directory of the source, such as root's home.
        command.insert(command.end(), {"--reuid=" + id, "--regid=" + id, "--clear-groups",
                                       "--inh-caps=+dac_override", "--ambient-caps=+dac_override",
                                       "--securebits=+no_setuid_fixup"});
    }
    command.insert(command.end(), {"env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C",
                                   "LD_LIBRARY_PATH=" SERVERS_DIR "/root/usr/lib/" SERVERS_ARCH});
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::string RunServerProgram(const std::vector<std::string>& arguments, const std::string& input) {
    const ProgramResult result = RunProgram(ServerCommand(arguments), input);
    if (result.status != 0)
        throw std::runtime_error(arguments.front() + " failed: " + result.out + result.err);
    return result.out;
}

void GiveToServer(const std::string& path) {
    if (::geteuid() == 0 && ::chown(path.c_str(), NOBODY, NOBODY) != 0)
        throw std::system_error(errno, std::generic_category(), "chown " + path);
}

} // namespace kwlookup
