// SPDX-License-Identifier: MIT
#include "support/HangingResolver.h"

#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <netdb.h>
#include <string>
#include <thread>

namespace {

std::atomic<bool> g_hang{false};
std::atomic<int> g_asked{0};
std::atomic<const char*> g_address{"127.0.0.1"};

void Pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

} // namespace

HangingResolver::HangingResolver() {
    g_hang = true;
}

HangingResolver::~HangingResolver() {
    g_hang = false;
    while (g_asked > 0)
        Pause();
}

void HangingResolver::MoveTo(const char* address) {
    g_address = address;
}

// Plug-ins find it, too.
extern "C" __attribute__((visibility("default"))) int
getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** list) {
    static const auto system =
        reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    if (host && std::string(host) == "hang.test" && !(hints->ai_flags & AI_NUMERICHOST)) {
        ++g_asked;
        while (g_hang)
            Pause();
        --g_asked;
        host = g_address;
    }
    return system(host, port, hints, list);
}
