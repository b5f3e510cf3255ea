// SPDX-License-Identifier: MIT
#include "RemoveOnSignal.h"

#include <cstddef>
#include <unistd.h>

namespace kwlookup {

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};

const char* volatile g_file = nullptr;

extern "C" void RemoveAndEnd(int signal) {
    ::unlink(g_file);
    ::raise(signal); // takes its default action when this handler returns
}

} // namespace

RemoveOnSignal::RemoveOnSignal(const char* name) {
    g_file = name;
    struct sigaction action = {};
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < m_before.size(); ++i) {
        ::sigaction(SIGNALS[i], nullptr, &m_before[i]);
        if (m_before[i].sa_handler != SIG_IGN)
            ::sigaction(SIGNALS[i], &action, nullptr);
    }
}

RemoveOnSignal::~RemoveOnSignal() {
    for (std::size_t i = 0; i < m_before.size(); ++i)
        ::sigaction(SIGNALS[i], &m_before[i], nullptr);
}

} // namespace kwlookup
