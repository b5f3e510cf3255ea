// SPDX-License-Identifier: MIT
#pragma once

#include "kwlookupd/SmtpSession.h"
#include "support/RunProgram.h"
#include "support/TempDir.h"

#include <memory>
#include <string>
#include <vector>

/// A Postfix whose smtpd asks each door of a daemon. Its other programs are not needed. Only root
/// can start it.
class Postfix {
public:
    /// `doors` has the sockets of the daemon. `sender_maps` are the maps of senders, and `more` has
    /// more lines of main.cf.
    Postfix(const TempDir& doors, const std::string& sender_maps,
            const std::string& more = std::string());

    /// A new SMTP session after HELO.
    std::unique_ptr<SmtpSession> Connect() const;

    /// All that it has logged.
    std::string GetLog() const;

    /// The mails in a queue, as their files.
    std::vector<std::string> GetMails(const std::string& queue) const;

private:
    const TempDir m_dir;
    const int m_port;
    std::unique_ptr<RunningProgram> m_master;
};
