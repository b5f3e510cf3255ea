// SPDX-License-Identifier: MIT
#include "kwlookupd/MailProgram.h"

#include "servers/ServerProgram.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

using kwlookup::ServerFile;

std::vector<std::string> MailCommand(const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& environment) {
    const std::string lib = ServerFile("usr/lib/");
    std::vector<std::string> command = {"/usr/bin/env",
                                        "LD_LIBRARY_PATH=" + lib + SERVERS_ARCH + ":" + lib +
                                            "postfix:" + lib + "dovecot",
                                        "DOVECONF_ENV=1" /* doveadm reads no configuration */};
    command.insert(command.end(), environment.begin(), environment.end());
    command.push_back(ServerFile(arguments.front()));
    command.insert(command.end(), arguments.begin() + 1, arguments.end());
    return kwlookup::ServerCommand(command);
}

ProgramResult RunMailProgram(const std::vector<std::string>& arguments, const std::string& input,
                             const std::vector<std::string>& environment) {
    return RunProgram(MailCommand(arguments, environment), input);
}

void AgePostfixConfig(const std::string& file) {
    using std::filesystem::last_write_time;
    last_write_time(file, last_write_time(file) - std::chrono::hours(1));
}

std::vector<std::string> EximEnvironment(const TempDir& dir) {
    // Exim insists on the user of its package.
    const std::string passwd = "root:x:0:0::/root:/bin/sh\nnobody:x:65534:65534::/:/bin/false\n"
                               "Debian-exim:x:990:990::/:/bin/false\n";
    return {"LD_PRELOAD=" + ServerFile("usr/lib/" SERVERS_ARCH "/libnss_wrapper.so"),
            "NSS_WRAPPER_PASSWD=" + dir.Write("passwd", passwd),
            "NSS_WRAPPER_GROUP=" + dir.Write("group", "root:x:0:\nnogroup:x:65534:\n"
                                                      "Debian-exim:x:990:\n")};
}

std::vector<std::string> SendmailEnvironment(const TempDir& dir) {
    // Sendmail sleeps for a minute on a machine without a full name.
    return {"LD_PRELOAD=" + ServerFile("usr/lib/" SERVERS_ARCH "/libnss_wrapper.so"),
            "NSS_WRAPPER_HOSTNAME=mx.example.test",
            "NSS_WRAPPER_HOSTS=" + dir.Write("hosts", "127.0.0.1 mx.example.test mx\n")};
}

std::string WriteSendmailConfig(const TempDir& dir, const std::string& macros) {
    const std::string from = ServerFile("usr/share/sendmail/cf/");
    const std::string source = dir.Write(
        "sendmail.mc", "OSTYPE(linux)dnl\ndefine(`confDOMAIN_NAME',`mx.example.test')dnl\n"
                       "define(`ALIAS_FILE',`')dnl\nFEATURE(`no_default_msa')dnl\n" +
                           macros);
    const ProgramResult made =
        RunMailProgram({"usr/bin/m4", "-D_CF_DIR_=" + from, from + "m4/cf.m4", source});
    if (made.status != 0)
        throw std::runtime_error("m4: " + made.err);
    return dir.Write("sendmail.cf", made.out);
}

std::string SendmailDaemonMacros(const TempDir& dir, int port) {
    const std::string queue = dir.Path("queue");
    const std::string user = ::geteuid() == 0 ? "nobody" : std::to_string(::geteuid());
    std::filesystem::create_directory(queue);
    kwlookup::GiveToServer(queue);
    return "define(`QUEUE_DIR',`" + queue + "')dnl\ndefine(`confPID_FILE',`" + queue +
           "/pid')dnl\ndefine(`STATUS_FILE',`" + queue +
           "/status')dnl\ndefine(`confTRUSTED_USER',`" + user +
           // A busy machine is no reason to refuse.
           "')dnl\ndefine(`confREFUSE_LA',`9999')dnl\ndefine(`confQUEUE_LA',`9999')dnl\n"
           "FEATURE(`accept_unresolvable_domains')dnl\nDAEMON_OPTIONS(`Port=" +
           std::to_string(port) + ", Addr=127.0.0.1, Name=MTA')dnl\n";
}
