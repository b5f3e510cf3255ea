// SPDX-License-Identifier: MIT
#include "kwlookupd/Postfix.h"

#include "kwlookupd/Client.h"
#include "kwlookupd/MailProgram.h"
#include "servers/ServerProgram.h"

#include <filesystem>
#include <fstream>
#include <iterator>

using kwlookup::GiveToServer;
using kwlookup::ServerFile;

Postfix::Postfix(const TempDir& doors, const std::string& sender_maps, const std::string& more)
    : m_port(UnusedPort()) {
    const TempDir& dir = m_dir;
    std::filesystem::permissions(dir.Path("."), std::filesystem::perms(0755));
    const std::string lib = ServerFile("usr/lib/postfix");
    const std::string libraries =
        "LD_LIBRARY_PATH=" + ServerFile("usr/lib/" SERVERS_ARCH) + ":" + lib;
    const std::string queue = dir.Path("queue");
    std::filesystem::create_directories(dir.Path("postfix"));
    for (const std::string name :
         {"active", "bounce", "corrupt", "defer", "deferred", "flush", "hold", "incoming",
          "maildrop", "pid", "private", "public", "saved", "trace", "data"}) {
        std::filesystem::create_directories(queue + "/" + name);
        if (name != "pid")
            GiveToServer(queue + "/" + name);
    }
    dir.Write("postfix/main.cf",
              "compatibility_level = 3.6\nmyhostname = mx.example.test\n"
              "mail_owner = nobody\nsetgid_group = mail\ndefault_privs = daemon\n"
              "queue_directory = " +
                  queue + "\ndata_directory = " + queue +
                  "/data\n"
                  "daemon_directory = " +
                  lib + "/sbin\nshlib_directory = " + lib +
                  "\n"
                  "command_directory = " +
                  ServerFile("usr/sbin") +
                  "\n"
                  "meta_directory = " +
                  ServerFile("etc/postfix") +
                  "\n"
                  "import_environment = MAIL_CONFIG LANG=C " +
                  libraries +
                  "\n"
                  "maillog_file = " +
                  dir.Path("maillog") + "\nmaillog_file_prefixes = " + dir.Path("") +
                  "\n"
                  "mydestination = example.test\nmynetworks = 127.0.0.2/32\n"
                  "inet_interfaces = loopback-only\ninet_protocols = ipv4\nalias_maps =\n"
                  "local_recipient_maps =\nnotify_classes =\nsmtpd_peername_lookup = no\n"
                  "in_flow_delay = 0\n" // there is no qmgr to wait for
                  "smtpd_delay_reject = no\nsmtpd_sender_restrictions = " +
                  sender_maps +
                  "\n"
                  "smtpd_relay_restrictions = permit_mynetworks, reject_unauth_destination\n"
                  "smtpd_recipient_restrictions = check_policy_service unix:" +
                  doors.Path("policy") + "\nsmtpd_milters = unix:" + doors.Path("milter") +
                  "\n"
                  "milter_default_action = tempfail\n" +
                  more);
    dir.Write("postfix/master.cf",
              "127.0.0.1:" + std::to_string(m_port) +
                  " inet n - n - - smtpd\n"
                  "cleanup unix n - n - 0 cleanup\nrewrite unix - - n - - trivial-rewrite\n"
                  "anvil unix - - n - 1 anvil\npostlog unix-dgram n - n - 1 postlogd\n");
    AgePostfixConfig(dir.Path("postfix/main.cf"));
    m_master = std::make_unique<RunningProgram>(std::vector<std::string>{
        "/usr/bin/env", "-i", "PATH=/usr/bin:/bin", libraries, "setpriv", "--pdeathsig=TERM",
        lib + "/sbin/master", "-c", dir.Path("postfix"), "-d"});
}

std::unique_ptr<SmtpSession> Postfix::Connect() const {
    auto session = std::make_unique<SmtpSession>(m_port);
    session->Say("HELO client.test");
    return session;
}

std::string Postfix::GetLog() const {
    std::ifstream in(m_dir.Path("maillog"), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Postfix::GetMails(const std::string& queue) const {
    std::vector<std::string> mails;
    for (const auto& file : std::filesystem::directory_iterator(m_dir.Path("queue/" + queue))) {
        std::ifstream in(file.path(), std::ios::binary);
        mails.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return mails;
}
