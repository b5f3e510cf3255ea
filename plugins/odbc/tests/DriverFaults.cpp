// SPDX-License-Identifier: MIT
// Faults of drivers that are not ours to mend. The sanitizers call these functions when they start.

#include "host/KwExport.h"

// The drivers' settings library never frees what it read, and is unloaded with the driver, so its
// leaks cannot be told from others by name.
#ifdef KWLOOKUP_UNDER_ASAN
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}
#endif

// PostgreSQL's driver changes the locale of the process while it connects.
extern "C" KW_EXPORT const char* __tsan_default_suppressions();
extern "C" KW_EXPORT const char* __tsan_default_suppressions() {
    return "race:psqlodbcw.so\n";
}
