// SPDX-License-Identifier: MIT
#include "WatchCommand.h"

#include "ExitStatus.h"
#include "InputLines.h"
#include "TerminationAllowed.h"
#include "kwlog/Logging.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/Report.h"

#include <cerrno>
#include <csignal>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <sys/select.h>
#include <unistd.h>

namespace kwlookup {

namespace {

/// Waits for SIGHUP and the input together.
class HangupSignal {
public:
    HangupSignal() {
        sigemptyset(&m_hangup);
        sigaddset(&m_hangup, SIGHUP);
        sigprocmask(SIG_BLOCK, &m_hangup, nullptr);
        struct sigaction action {};
        action.sa_handler = [](int) { s_came = 1; };
        ::sigaction(SIGHUP, &action, nullptr);
    }

    /// Wait for input, its end, or the signal. True for the signal, which takes precedence over
    /// input that arrived after it.
    bool Wait() const {
        sigset_t open;
        sigprocmask(SIG_SETMASK, nullptr, &open);
        sigdelset(&open, SIGHUP);
        for (;;) {
            fd_set input;
            FD_ZERO(&input);
            FD_SET(STDIN_FILENO, &input);
            const bool interrupted =
                ::pselect(STDIN_FILENO + 1, &input, nullptr, nullptr, nullptr, &open) < 0 &&
                errno == EINTR;
            if (s_came != 0 || TakePending()) {
                s_came = 0;
                return true;
            }
            if (!interrupted)
                return false;
        }
    }

private:
    /// If input is ready, pselect() need not deliver a pending signal.
    bool TakePending() const {
        sigset_t pending;
        int taken;
        return sigpending(&pending) == 0 && sigismember(&pending, SIGHUP) == 1 &&
               sigwait(&m_hangup, &taken) == 0;
    }

    static inline volatile std::sig_atomic_t s_came = 0;

    sigset_t m_hangup;
};

/// The list that answers. A reload replaces it as a whole or not at all.
class WatchedList {
public:
    WatchedList(const FindOptions& options, Configuration& configuration, LogClass& log)
        : m_options(options), m_configuration(configuration), m_log(log),
          m_list(std::make_unique<ItemList>(options.list, log, options.checks)) {}

    const ItemList& Get() const { return *m_list; }

    void Reload() {
        const ConfFile old_file = m_configuration.GetFile();
        if (!m_configuration.Read()) {
            ReportFailure("the configuration has errors");
            return;
        }
        try {
            KwObjectHolder::BeforeReload(m_log);
            const bool bad_configuration = TakeCollectedErrors();
            auto list = std::make_unique<ItemList>(m_options.list, m_log, m_options.checks);
            if (bad_configuration || list->GetFailedCount() != 0)
                throw std::runtime_error("items have errors");
            m_list = std::move(list);
            std::cerr << "kwlookup: reloaded\n";
        } catch (...) {
            ReportFailure(CaughtReason());
            RestoreConfiguration(old_file);
        }
    }

private:
    /// The old list uses the configuration of its types, which the failed reload has changed.
    void RestoreConfiguration(const ConfFile& old_file) {
        m_configuration.SetFile(old_file);
        TakeCollectedErrors();
        try {
            KwObjectHolder::BeforeReload(m_log);
        } catch (...) {
            ReportError(m_log, "the old configuration cannot be loaded again: " + CaughtReason());
        }
        TakeCollectedErrors();
    }

    void ReportFailure(const std::string& reason) const {
        ReportError(m_log, "reload failed, the old list stays in use: " + reason);
    }

    const FindOptions& m_options;
    Configuration& m_configuration;
    LogClass& m_log;
    std::unique_ptr<ItemList> m_list;
};

} // namespace

int RunWatchCommand(const FindOptions& options, Configuration& configuration, LogClass& log) {
    TerminationAllowed::Prepare();
    HangupSignal hangup;
    std::unique_ptr<WatchedList> list;
    try {
        list = std::make_unique<WatchedList>(options, configuration, log);
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        return ExitStatus::BadList;
    }
    Asker asker(options.ask, log);
    if (list->Get().GetFailedCount() != 0)
        asker.NoteFault();

    InputLines lines(options.ask.answers.null);
    std::string text;
    for (;;) {
        bool reload = false, more = true;
        if (lines.HasBuffered()) {
            more = lines.Next(text);
        } else {
            if (!asker.Flush())
                break;
            const TerminationAllowed allowed(asker.GetStatus());
            reload = hangup.Wait();
            more = reload || lines.Next(text);
        }
        if (!more)
            break;
        if (reload) {
            list->Reload();
            continue;
        }
        asker.Ask(list->Get(), text);
    }
    if (!lines.ReportError(log))
        asker.NoteFault();
    asker.Flush();
    return asker.GetStatus();
}

} // namespace kwlookup
