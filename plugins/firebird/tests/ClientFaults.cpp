// SPDX-License-Identifier: MIT
// ThreadSanitizer calls this function when it starts.

#include "host/KwExport.h"

// The client library takes two locks of its own in different orders while it connects and detaches.
extern "C" KW_EXPORT const char* __tsan_default_suppressions();
extern "C" KW_EXPORT const char* __tsan_default_suppressions() {
    return "deadlock:libfbclient.so\n";
}
