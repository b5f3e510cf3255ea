// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/Reloader.h"

#include "tools/kwlookupd/lists/LogFault.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kwlookup {

namespace {

/// How often to look at the files: seldom where the system reports changes, since some are missed.
constexpr std::chrono::seconds PERIOD_WITH_WATCH{30};
constexpr std::chrono::seconds PERIOD_WITHOUT{2};
/// A list with an error that stays costs a load, and lines of the log, each time.
constexpr std::chrono::minutes LONGEST_RETRY{15};
/// After memory ran out.
constexpr std::chrono::milliseconds PAUSE{100};

/// Adds the directories where a change can give `name` another content: that of the file, and
/// those of the links that lead to it.
void AddDirectories(const std::string& name, std::set<std::string>& directories) {
    constexpr int MOST_LINKS = 40; // as many as the system follows
    std::filesystem::path path = name;
    for (int links = 0; links <= MOST_LINKS; ++links) {
        std::filesystem::path link, rest;
        std::error_code error;
        bool is_link = false;
        for (const std::filesystem::path& part : path) {
            if (is_link) {
                rest /= part;
            } else {
                link /= part;
                is_link = std::filesystem::is_symlink(link, error);
            }
        }
        const std::filesystem::path directory = link.parent_path();
        directories.insert(directory.empty() ? "." : directory.string());
        if (!is_link)
            return;
        path = directory / std::filesystem::read_symlink(link, error);
        if (!rest.empty())
            path /= rest;
    }
}

} // namespace

Reloader::Reloader(ListKeeper& lists,
                   std::function<void(std::size_t, const ListKeeper::LoadResult&)> loaded,
                   std::function<void()> prepare, std::chrono::milliseconds retry)
    : m_lists(lists), m_loaded(std::move(loaded)), m_prepare(std::move(prepare)), m_retry(retry) {
    for (std::size_t i = 0; i < lists.GetCount(); ++i)
        m_seen.push_back({lists.GetFiles(i), Time(), retry, std::chrono::steady_clock::now()});
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    m_wake_read = FileDescriptor(ends[0]);
    m_wake_write = FileDescriptor(ends[1]);
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

Reloader::~Reloader() {
    if (!m_thread.joinable())
        return;
    Post([this] { m_stop = true; });
    m_thread.join();
}

void Reloader::Start() {
    m_thread = std::thread([this] { Run(); });
}

void Reloader::Post(std::function<void()> job) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_jobs.push_back(std::move(job));
    Wake();
}

void Reloader::ReloadAll() noexcept {
    m_reload_all = true;
    Wake();
}

void Reloader::Wake() noexcept {
    // A full pipe wakes it as well.
    static_cast<void>(!::write(m_wake_write.Get(), "", 1));
}

ListKeeper::LoadResult Reloader::Load(std::size_t number, bool force) {
    ListKeeper::LoadResult result = m_lists.Load(number, force);
    Seen& seen = m_seen[number];
    seen.loaded = std::chrono::steady_clock::now();
    if (result.kind != ListKeeper::LoadResult::Failed)
        seen.wait = m_retry;
    m_loaded(number, result);
    return result;
}

void Reloader::Run() {
    while (!m_stop) {
        try {
            TakeTurn();
        } catch (const std::exception& e) { // memory has run out; files are looked at again
            LogFault("", e);
            std::this_thread::sleep_for(PAUSE);
        }
    }
}

void Reloader::TakeTurn() {
    if (m_must_watch) {
        WatchDirectories();
        m_must_watch = false;
    }
    if (const std::function<void()> job = TakeJob()) {
        job();
        return;
    }
    if (m_reload_all.exchange(false)) {
        try {
            m_prepare();
            for (std::size_t i = 0; i < m_lists.GetCount(); ++i)
                Load(i, false);
        } catch (...) { // memory has run out
            m_reload_all = true;
            throw;
        }
        return;
    }
    const Time now = std::chrono::steady_clock::now();
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(LookAtFiles(now) - now).count();
    std::array<pollfd, 2> ready = {pollfd{m_wake_read.Get(), POLLIN, 0},
                                   pollfd{m_watch.GetDescriptor(), POLLIN, 0}};
    ::poll(ready.data(), ready.size(), static_cast<int>(std::max<decltype(wait)>(wait, 0)));
    if (ready[1].revents != 0) {
        m_watch.Clear();
        m_must_watch = true;
    }
}

std::function<void()> Reloader::TakeJob() {
    std::array<char, 256> bytes;
    while (::read(m_wake_read.Get(), bytes.data(), bytes.size()) > 0) {
    }
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_jobs.empty())
        return nullptr;
    std::function<void()> job = std::move(m_jobs.front());
    m_jobs.pop_front();
    return job;
}

/// Loads the lists whose files have changed and rested, and those whose load failed long enough
/// ago. Returns when to look again.
Reloader::Time Reloader::LookAtFiles(Time now) {
    Time next = now + (m_watches_all ? PERIOD_WITH_WATCH : PERIOD_WITHOUT);
    for (std::size_t i = 0; i < m_lists.GetCount(); ++i) {
        const ListSettings& settings = m_lists.GetSettings(i);
        std::vector<FileStamp> files = StampFiles(settings.objects);
        Seen& seen = m_seen[i];
        if (!(files == seen.files))
            seen = {files, now, m_retry};
        Time due = seen.since + settings.settle;
        if (files == m_lists.GetFiles(i)) {
            if (!m_lists.HasFailed(i))
                continue;
            due = seen.loaded + seen.wait;
            if (due <= now)
                seen.wait = std::min<std::chrono::milliseconds>(2 * seen.wait, LONGEST_RETRY);
        }
        if (due > now)
            next = std::min(next, due);
        else if (Load(i, false).kind == ListKeeper::LoadResult::Failed)
            next = std::min(next, seen.loaded + seen.wait);
    }
    return next;
}

void Reloader::WatchDirectories() {
    std::set<std::string> directories;
    for (const Seen& seen : m_seen)
        for (const FileStamp& file : seen.files)
            AddDirectories(file.name, directories);
    m_watches_all = m_watch.Watch(directories);
}

} // namespace kwlookup
