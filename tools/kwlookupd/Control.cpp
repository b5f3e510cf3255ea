// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/Control.h"

#include "text/SystemError.h"
#include "tools/kwlookupd/lists/ListKeeper.h"
#include "tools/kwlookupd/lists/Reloader.h"
#include "tools/lists/Report.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kwlookup {

namespace {

namespace asio = boost::asio;
using LocalSocket = asio::local::stream_protocol;
using boost::system::error_code;

/// Enough for a command with the longest name of a list.
constexpr std::size_t LONGEST_COMMAND = 4096;
/// A client that says nothing for so long is cut off.
constexpr std::chrono::seconds PATIENCE{10};

/// After a client could not be accepted, for example because there are too many open files.
constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};

std::string TimeText(std::time_t time) {
    std::tm utc{};
    ::gmtime_r(&time, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text.data();
}

std::string Describe(const ListState& list) {
    std::ostringstream out;
    out << list.name << ": ";
    if (list.loaded)
        out << list.records << " records, generation " << list.generation << " of "
            << TimeText(list.load_time) << ", +" << list.added << " -" << list.removed << " ="
            << list.kept << (list.rolled_back ? ", rolled back" : "");
    else
        out << "not loaded";
    if (!list.fault.empty())
        out << "; " << list.fault;
    return out.str();
}

struct ControlAnswer {
    bool good = true;
    std::string text;

    void AddLine(const std::string& line) { text += line + '\n'; }
};

ControlAnswer Status(const ListKeeper& lists) {
    ControlAnswer answer;
    for (std::size_t i = 0; i < lists.GetCount(); ++i)
        answer.AddLine(Describe(lists.GetState(i)));
    return answer;
}

void Add(const std::string& name, const ListKeeper::LoadResult& result, ControlAnswer& answer) {
    answer.good &= result.kind == ListKeeper::LoadResult::Swapped ||
                   result.kind == ListKeeper::LoadResult::Unchanged;
    answer.AddLine(name + ": " + result.text);
}

/// Obey a command in the reloader's thread.
ControlAnswer Obey(std::vector<std::string> words, Reloader& reloader, ListKeeper& lists) {
    ControlAnswer answer;
    try {
        bool force = false;
        if (words.size() > 1 && words.back() == "--force") {
            force = true;
            words.pop_back();
        }
        if (words[0] == "reload" && words.size() <= 2) {
            reloader.Prepare();
            for (std::size_t i = 0; i < lists.GetCount(); ++i)
                if (words.size() == 1 || lists.GetNumber(words[1]) == i)
                    Add(lists.GetSettings(i).name, reloader.Load(i, force), answer);
        } else if (words[0] == "rollback" && words.size() == 2 && !force) {
            Add(words[1], lists.Rollback(lists.GetNumber(words[1])), answer);
        } else {
            throw std::runtime_error("unknown command");
        }
    } catch (const std::exception& error) {
        answer.good = false;
        answer.AddLine(error.what());
    }
    return answer;
}

/// Connects to the daemon. False if its queue stays full.
bool Connect(LocalSocket::socket& socket, const std::string& path,
             std::chrono::milliseconds limit) {
    const LocalSocket::endpoint endpoint(path);
    socket.open();
    timeval time{};
    time.tv_sec = limit.count() / 1000;
    time.tv_usec = limit.count() % 1000 * 1000;
    ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
    // Asio would take the end of this time for success.
    if (::connect(socket.native_handle(), endpoint.data(), endpoint.size()) == 0)
        return true;
    if (errno != EAGAIN)
        throw std::runtime_error(SystemErrorText(errno));
    return false;
}

std::runtime_error NoAnswerWithin(std::chrono::milliseconds limit) {
    std::ostringstream text;
    text << "the daemon did not answer within " << std::chrono::duration<double>(limit).count()
         << " s";
    return std::runtime_error(text.str());
}

} // namespace

struct Control::State {
    State(asio::io_context& its_context, Reloader& its_reloader, ListKeeper& its_lists)
        : context(its_context), reloader(its_reloader), lists(its_lists), acceptor(context),
          pause(context) {}

    void Accept();

    asio::io_context& context;
    Reloader& reloader;
    ListKeeper& lists;
    LocalSocket::acceptor acceptor;
    asio::steady_timer pause;
    std::string path;
};

/// One command of a client. It lives as long as something is to be done for it.
class Control::Client : public std::enable_shared_from_this<Client> {
public:
    Client(LocalSocket::socket socket, State& state)
        : m_context(state.context), m_reloader(state.reloader), m_lists(state.lists),
          m_socket(std::move(socket)), m_timer(state.context) {}

    void Start() {
        m_timer.expires_after(PATIENCE);
        m_timer.async_wait([self = shared_from_this()](error_code error) {
            if (!error)
                self->m_socket.close(error);
        });
        asio::async_read_until(m_socket, m_input, '\n',
                               [self = shared_from_this()](error_code error, std::size_t) {
                                   self->m_timer.cancel();
                                   if (!error)
                                       self->TakeCommand();
                               });
    }

private:
    void TakeCommand() {
        std::istream input(&m_input);
        std::vector<std::string> words;
        for (std::string word; input >> word;)
            words.push_back(word);
        if (words == std::vector<std::string>{"status"}) {
            Send(Status(m_lists));
        } else if (words.empty()) {
            Send({false, "there is no command\n"});
        } else {
            m_reloader.Post([self = shared_from_this(), words] {
                const ControlAnswer answer = Obey(words, self->m_reloader, self->m_lists);
                asio::post(self->m_context, [self, answer] { self->Send(answer); });
            });
        }
    }

    void Send(const ControlAnswer& answer) {
        m_output = (answer.good ? "ok\n" : "error\n") + answer.text;
        asio::async_write(m_socket, asio::buffer(m_output),
                          [self = shared_from_this()](error_code, std::size_t) {});
    }

    // The state of the socket may be gone when a command has been obeyed.
    asio::io_context& m_context;
    Reloader& m_reloader;
    ListKeeper& m_lists;
    LocalSocket::socket m_socket;
    asio::steady_timer m_timer;
    asio::streambuf m_input{LONGEST_COMMAND};
    std::string m_output;
};

void Control::State::Accept() {
    acceptor.cancel(); // two that wait would never become one again
    pause.cancel();
    acceptor.async_accept([this](error_code error, LocalSocket::socket socket) {
        if (error == asio::error::operation_aborted)
            return;
        if (!error) {
            std::make_shared<Client>(std::move(socket), *this)->Start();
            Accept();
            return;
        }
        pause.expires_after(ACCEPT_PAUSE); // the client is still there
        pause.async_wait([this](error_code stopped) {
            if (!stopped)
                Accept();
        });
    });
}

Control::Control(asio::io_context& context, const std::string& path, Reloader& reloader,
                 ListKeeper& lists)
    : m_state(std::make_unique<State>(context, reloader, lists)) {
    try {
        const LocalSocket::endpoint endpoint(path);
        LocalSocket::socket other(context);
        error_code error;
        other.connect(endpoint, error);
        if (!error)
            throw std::runtime_error("another daemon listens there");
        if (error == asio::error::connection_refused)
            ::unlink(path.c_str()); // its daemon has died
        m_state->acceptor.open();
        const mode_t mask = ::umask(0177);
        m_state->acceptor.bind(endpoint, error);
        ::umask(mask);
        if (error)
            throw std::runtime_error(error.message());
        m_state->path = path;
        m_state->acceptor.listen();
    } catch (const std::exception& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
    m_state->Accept();
}

void Control::Wait() {
    m_state->Accept();
}

Control::~Control() {
    ::unlink(m_state->path.c_str());
}

int RunControlCommand(const std::string& path, const std::string& command,
                      std::chrono::milliseconds limit, const LogClass& log) {
    try {
        const auto end = std::chrono::steady_clock::now() + limit;
        asio::io_context context;
        LocalSocket::socket socket(context);
        if (!Connect(socket, path, limit))
            throw NoAnswerWithin(limit);
        const std::string request = command + '\n';
        std::string answer;
        asio::async_write(socket, asio::buffer(request), [](error_code, std::size_t) {});
        asio::async_read(socket, asio::dynamic_buffer(answer), [](error_code, std::size_t) {});
        context.run_until(end);
        if (!context.stopped())
            throw NoAnswerWithin(limit);
        const std::size_t line = answer.find('\n');
        if (line == std::string::npos)
            throw std::runtime_error("the daemon closed the connection without an answer");
        const bool good = answer.compare(0, line, "ok") == 0;
        (good ? std::cout : std::cerr) << answer.substr(line + 1) << std::flush;
        return good ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        ReportError(log, path + ": " + error.what());
        return EXIT_FAILURE;
    }
}

} // namespace kwlookup
