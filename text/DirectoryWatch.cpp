// SPDX-License-Identifier: MIT
#include "text/DirectoryWatch.h"

#include <array>
#include <unistd.h>
#if defined(__linux__)
#include <sys/inotify.h>
#endif

namespace kwlookup {

#if defined(__linux__)

DirectoryWatch::DirectoryWatch() : m_file(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

bool DirectoryWatch::Watch(const std::set<std::string>& directories) {
    constexpr std::uint32_t CHANGES =
        IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    for (auto watch = m_watches.begin(); watch != m_watches.end();) {
        if (directories.count(watch->first) != 0) {
            ++watch;
            continue;
        }
        ::inotify_rm_watch(m_file.Get(), watch->second);
        watch = m_watches.erase(watch);
    }
    bool all = true;
    for (const std::string& directory : directories) {
        // Again for those that are watched: the name may stand for another directory now.
        const int watch = ::inotify_add_watch(m_file.Get(), directory.c_str(), CHANGES);
        all &= watch >= 0;
        if (watch >= 0)
            m_watches[directory] = watch;
        else
            m_watches.erase(directory);
    }
    return all;
}

void DirectoryWatch::Clear() {
    std::array<char, 4096> events;
    while (::read(m_file.Get(), events.data(), events.size()) > 0) {
    }
}

#else

DirectoryWatch::DirectoryWatch() = default;

bool DirectoryWatch::Watch(const std::set<std::string>& directories) {
    return directories.empty();
}

void DirectoryWatch::Clear() {}

#endif

} // namespace kwlookup
