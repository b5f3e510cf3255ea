// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <atomic>

/// The operation in which a plug-in of the reload tests fails.
enum class Fault { None, NullObject, Creator, InitLog, Question, LogPtr };

/// How such a plug-in behaves, and which calls it got. Each exports one under the name "g_state".
struct ReloadPluginState {
    std::atomic<Fault> fault{Fault::None};
    std::atomic<bool> needs_config{true};
    std::atomic<bool> keeps_log{true};
    std::atomic<bool> has_own_log{false};
    std::atomic<int> alive{0};
    std::atomic<int> init_logs{0};
    std::atomic<int> inits{0};
};

extern "C" KW_EXPORT ReloadPluginState g_state;
