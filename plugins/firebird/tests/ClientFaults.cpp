// SPDX-License-Identifier: MIT
// ThreadSanitizer calls this function when it starts.

#include "host/KwExport.h"

// The client library takes two locks of its own in different orders while it connects and detaches.
// It counts who uses a lock by instructions that the sanitizer does not see, so that a lock seems
// to be destroyed while another thread has it.
extern "C" KW_EXPORT const char* __tsan_default_suppressions();
extern "C" KW_EXPORT const char* __tsan_default_suppressions() {
    return "deadlock:libfbclient.so\n"
           "race:libfbclient.so\n";
}
