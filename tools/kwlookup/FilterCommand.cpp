// SPDX-License-Identifier: MIT
#include "FilterCommand.h"

#include "ExitStatus.h"
#include "text/FileDescriptor.h"
#include "text/SystemError.h"
#include "tools/kwlookupd/doors/OpenSmtpdSession.h"
#include "tools/kwlookupd/lists/FileStamp.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <memory>
#include <mutex>
#include <poll.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace kwlookup {

namespace {

using Clock = std::chrono::steady_clock;

/// The lists of a filter. A thread loads them, so that a slow one delays no answer.
class FilterLists {
public:
    FilterLists(const FilterOptions& options, const LogClass& log) : m_log(log) {
        for (const std::string& list : options.lists) {
            ListSettings settings;
            settings.name = settings.objects = list;
            settings.sub_address = options.sub_address;
            m_settings.push_back(settings);
        }
        m_files.resize(m_settings.size());
        m_lists.resize(m_settings.size());
        std::thread([this] { Load(); }).detach();
    }

    /// Waits until each list has been tried once.
    std::shared_ptr<const ListGeneration> Get(std::size_t number) {
        std::unique_lock<std::mutex> lock(m_lock);
        m_tried.wait(lock, [this] { return m_tried_once; });
        return m_lists[number];
    }

private:
    /// The files of a list.
    struct Files {
        std::vector<FileStamp> seen;  ///< at the last look
        std::vector<FileStamp> tried; ///< when it was last loaded, or could not be loaded
    };

    [[noreturn]] void Load() {
        constexpr std::chrono::seconds PAUSE(1); // to look at a few files costs little
        constexpr unsigned RETRY = 10;           // a file or server that comes late is soon used
        for (unsigned turn = 0;; ++turn) {
            for (std::size_t i = 0; i < m_settings.size(); ++i)
                LoadList(i, turn % RETRY == 0);
            {
                const std::lock_guard<std::mutex> lock(m_lock);
                m_tried_once = true;
            }
            m_tried.notify_all();
            std::this_thread::sleep_for(PAUSE);
        }
    }

    /// Loads a list whose files have changed and rested, or, with `retry`, that is missing.
    void LoadList(std::size_t number, bool retry) {
        const bool has_old = m_lists[number] != nullptr; // only this thread changes it
        Files& files = m_files[number];
        try {
            std::vector<FileStamp> now = StampFiles(m_settings[number].objects);
            const bool has_rested = now == files.seen; // otherwise it may be half written
            files.seen = std::move(now);
            if ((files.seen == files.tried || !has_rested) && (has_old || !retry))
                return;
            files.tried = files.seen;
            auto list = std::make_shared<const ListGeneration>(m_settings[number], m_log, nullptr);
            const std::lock_guard<std::mutex> lock(m_lock);
            m_lists[number] = std::move(list);
        } catch (...) {
            ReportError(m_log, "the list [" + Shortened(m_settings[number].objects) +
                                   "] is not loaded: " + CaughtReason() +
                                   (has_old ? "; the old list stays in use" : ""));
        }
    }

    const LogClass& m_log;
    std::vector<ListSettings> m_settings;
    std::vector<Files> m_files; ///< for the thread that loads
    std::mutex m_lock;
    std::condition_variable m_tried;
    bool m_tried_once = false;
    std::vector<std::shared_ptr<const ListGeneration>> m_lists;
};

/// A request that waits for its answer.
struct FilterJob {
    Query query;
    Clock::time_point deadline;
    std::vector<Reply> replies = std::vector<Reply>(1);
    bool done = false;
};

/// Threads that ask the lists.
class FilterWorkers {
public:
    explicit FilterWorkers(FilterLists& lists) : m_lists(lists) {
        int ends[2];
        if (::pipe(ends) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        m_wake_out = FileDescriptor(ends[0]);
        m_wake_in = FileDescriptor(ends[1]);
        // Some requests pass while a few wait for a server.
        constexpr int THREADS = 4;
        for (int i = 0; i < THREADS; ++i)
            std::thread([this] { Work(); }).detach();
    }

    /// Has a byte for each job that was done.
    int GetDescriptor() const { return m_wake_out.Get(); }

    void Add(const std::shared_ptr<FilterJob>& job) {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_jobs.push_back(job);
        }
        m_added.notify_one();
    }

    /// True if the job is done. Otherwise it is given up if `now` is after its deadline: nobody
    /// will touch it any more but a worker that already has it.
    bool IsDone(const std::shared_ptr<FilterJob>& job, Clock::time_point now) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!job->done && job->deadline <= now)
            m_jobs.erase(std::remove(m_jobs.begin(), m_jobs.end(), job), m_jobs.end());
        return job->done;
    }

private:
    [[noreturn]] void Work() {
        for (;;) {
            std::shared_ptr<FilterJob> job;
            {
                std::unique_lock<std::mutex> lock(m_lock);
                m_added.wait(lock, [this] { return !m_jobs.empty(); });
                job = m_jobs.front();
                m_jobs.pop_front();
            }
            Reply reply;
            for (std::size_t i = 0; i < job->query.asks.size(); ++i) {
                AskOne(job->query.asks[i], job->deadline, reply);
                reply.ask = i;
                if (reply.outcome != Outcome::NotFound)
                    break;
            }
            {
                const std::lock_guard<std::mutex> lock(m_lock);
                job->replies.front() = std::move(reply);
                job->done = true;
            }
            while (::write(m_wake_in.Get(), "", 1) < 0 && errno == EINTR) {
            }
        }
    }

    void AskOne(const Query::Ask& ask, Clock::time_point deadline, Reply& reply) {
        const std::shared_ptr<const ListGeneration> list = m_lists.Get(ask.list);
        reply.outcome = Outcome::Unavailable;
        if (list)
            list->Ask(ask.text, false, reply, deadline);
    }

    FilterLists& m_lists;
    FileDescriptor m_wake_out;
    FileDescriptor m_wake_in;
    std::mutex m_lock;
    std::condition_variable m_added;
    std::deque<std::shared_ptr<FilterJob>> m_jobs;
};

/// Speaks with smtpd.
class Filter {
public:
    Filter(const FilterOptions& options, const LogClass& log)
        : m_config(MakeConfig(options)), m_session(m_config), m_answer_time(options.answer_time_ms),
          m_log(log), m_lists(options, log), m_workers(m_lists) {}

    /// Returns the exit status at the end of the input.
    int Run() {
        while (!m_ended || !m_open.empty()) {
            Wait();
            AnswerJobs();
            if (!Flush())
                return ExitStatus::Output;
        }
        return ExitStatus::Found;
    }

private:
    /// smtpd has fewer sessions. More requests wait in the pipe.
    static constexpr std::size_t MAX_OPEN = 4096;

    static DoorConfig MakeConfig(const FilterOptions& options) {
        DoorConfig config;
        config.name = "filter";
        for (const std::string& attribute : options.attributes)
            for (std::size_t i = 0; i < options.lists.size(); ++i)
                config.rules.push_back({attribute, {options.lists[i], i}});
        return config;
    }

    /// Waits for input, answers or the first deadline, and takes the input.
    void Wait() {
        std::array<pollfd, 2> polled = {};
        polled[0] = {m_workers.GetDescriptor(), POLLIN, 0};
        polled[1] = {m_ended || m_open.size() >= MAX_OPEN ? -1 : STDIN_FILENO, POLLIN, 0};
        ::poll(polled.data(), polled.size(), GetTimeout());
        std::array<char, 65536> bytes;
        if (polled[0].revents != 0 && ::read(polled[0].fd, bytes.data(), bytes.size()) < 0)
            return; // interrupted: the descriptor stays ready
        if (polled[1].revents == 0)
            return;
        const ssize_t size = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (size > 0)
            Take(std::string_view(bytes.data(), static_cast<std::size_t>(size)));
        else if (size == 0 || (errno != EINTR && errno != EAGAIN))
            m_ended = true;
    }

    /// The jobs are in the order of their deadlines.
    int GetTimeout() const {
        if (m_open.empty())
            return -1;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            m_open.front()->deadline - Clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count() + 1, 0));
    }

    void Take(std::string_view bytes) {
        m_input += bytes;
        std::string_view input = m_input;
        for (;;) {
            Query query;
            const Session::Step step = m_session.Read(input, query, m_output);
            if (step == Session::Step::NeedMore)
                break;
            if (step == Session::Step::Go)
                continue;
            auto job = std::make_shared<FilterJob>();
            job->query = std::move(query);
            job->deadline = Clock::now() + m_answer_time;
            if (job->query.asks.empty()) {
                m_session.Answer(job->query, job->replies, m_output);
                continue;
            }
            m_open.push_back(job);
            m_workers.Add(job);
        }
        m_input.erase(0, m_input.size() - input.size());
    }

    /// Answers the jobs that are done or late.
    void AnswerJobs() {
        const Clock::time_point now = Clock::now();
        const auto answered = [&](const std::shared_ptr<FilterJob>& job) {
            const bool done = m_workers.IsDone(job, now);
            if (!done && job->deadline > now)
                return false;
            static const std::vector<Reply> LATE = {MakeLate()};
            m_session.Answer(job->query, done ? job->replies : LATE, m_output);
            if (!done)
                ReportError(m_log, "no answer in time for [" +
                                       Shortened(job->query.asks.front().text) + "]");
            return true;
        };
        m_open.erase(std::remove_if(m_open.begin(), m_open.end(), answered), m_open.end());
    }

    static Reply MakeLate() {
        Reply reply;
        reply.outcome = Outcome::Unavailable;
        return reply;
    }

    /// Writes what is to be written. False if smtpd does not read any more.
    bool Flush() {
        for (std::string_view piece : m_output.GetPieces()) {
            while (!piece.empty()) {
                const ssize_t size = ::write(STDOUT_FILENO, piece.data(), piece.size());
                if (size < 0 && errno != EINTR) {
                    ReportError(m_log,
                                "cannot write to standard output: " + SystemErrorText(errno));
                    return false;
                }
                piece.remove_prefix(size < 0 ? 0 : static_cast<std::size_t>(size));
            }
        }
        m_output.Clear();
        return true;
    }

    const DoorConfig m_config;
    OpenSmtpdSession m_session;
    const std::chrono::milliseconds m_answer_time;
    const LogClass& m_log;
    FilterLists m_lists;
    FilterWorkers m_workers;
    std::string m_input;
    Output m_output;
    std::deque<std::shared_ptr<FilterJob>> m_open;
    bool m_ended = false;
};

} // namespace

void RunFilterCommand(const FilterOptions& options, const LogClass& log) {
    std::signal(SIGPIPE, SIG_IGN);
    // Not freed: the threads use it until the process ends.
    const int status = (new Filter(options, log))->Run();
    ::_exit(status);
}

} // namespace kwlookup
