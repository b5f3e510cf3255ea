// SPDX-License-Identifier: MIT
#ifdef KWLOOKUP_UNDER_ASAN
// The drivers' settings library never frees what it read, and is unloaded with the driver, so its
// leaks cannot be told from others by name.
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}
#endif
