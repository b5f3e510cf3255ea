// SPDX-License-Identifier: MIT
#include "kwhost/ConfFileLoader.h"
#include "kwlog/Logging.h"
#include "objects/KwObjectHolder.h"
#include "tools/kwlookupd/Control.h"
#include "tools/kwlookupd/DaemonConfig.h"
#include "tools/kwlookupd/LiveView.h"
#include "tools/kwlookupd/StrictLoader.h"
#include "tools/kwlookupd/doors/Door.h"
#include "tools/kwlookupd/lists/ListKeeper.h"
#include "tools/kwlookupd/lists/Reloader.h"
#include "tools/kwlookupd/net/AccessRules.h"
#include "tools/kwlookupd/net/Listening.h"
#include "tools/kwlookupd/net/Server.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/Plugin.h"
#include "tools/lists/Report.h"

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/make_shared.hpp>

#include <algorithm>
#include <array>
#include <csignal>
#include <functional>
#include <iostream>
#include <sysexits.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kwlookup {

namespace {

/// Where ctl finds the daemon, and the daemon listens for it, if the configuration does not say.
constexpr char DEFAULT_CONTROL[] = "/run/kwlookupd/control";

/// How long ctl waits for a daemon that does not answer. It answers at once but for lists that are
/// loaded, and the longest of these take a minute.
constexpr std::chrono::seconds STATUS_LIMIT{10};
constexpr std::chrono::minutes LOAD_LIMIT{10};

ServerSettings SettingsOf(const DaemonConfig& config) {
    ServerSettings settings;
    settings.io_threads = config.io_threads != 0
                              ? config.io_threads
                              : std::max<std::size_t>(std::thread::hardware_concurrency(), 1);
    settings.workers = config.workers;
    settings.answer_time = config.answer_time;
    settings.max_connections = config.max_connections;
    settings.max_in_flight = config.max_in_flight;
    settings.idle_time = config.idle_time;
    settings.user = config.user;
    return settings;
}

/// Reports all errors. False if there are some.
bool ReportErrors(const DaemonConfig& config, const LogClass& log) {
    for (const std::string& warning : config.file.GetWarnings())
        ReportWarning(log, warning);
    for (const std::string& error : config.errors)
        ReportError(log, error);
    return config.errors.empty();
}

/// Makes the doors. Adds what is wrong with their settings to the errors of the configuration.
std::vector<Server::OpenDoor> MakeDoors(DaemonConfig& config, const DaemonView& view) {
    std::vector<Server::OpenDoor> doors;
    for (const DoorConfig& door : config.doors) {
        try {
            doors.push_back({door, MakeDoor(door, &view)});
        } catch (const std::invalid_argument& error) {
            config.errors.push_back(config.Place("door " + door.name) + error.what());
        }
    }
    return doors;
}

ReloadResult MetricOf(ListKeeper::LoadResult::Kind kind) {
    switch (kind) {
    case ListKeeper::LoadResult::Swapped:
        return ReloadResult::Swapped;
    case ListKeeper::LoadResult::Unchanged:
        return ReloadResult::Unchanged;
    case ListKeeper::LoadResult::Refused:
        return ReloadResult::Refused;
    case ListKeeper::LoadResult::Failed:
        break;
    }
    return ReloadResult::Failed;
}

/// Returns what a configuration sets for plug-ins: section, key and value.
std::vector<std::array<std::string, 3>> PluginSettings(const ConfFile& file) {
    std::vector<std::array<std::string, 3>> settings;
    for (const auto& [name, section] : file.GetSections())
        if (!PluginTypeOf(name).empty())
            for (const ConfFile::Setting& setting : section.settings)
                settings.push_back({name, setting.key, setting.value});
    return settings;
}

/// Reads the sections of plug-ins again, for the lists that are loaded next. If the file has an
/// error, they stay as they are. Plug-ins from elsewhere may not bear it while they are searched.
void RereadPluginSections(const DaemonConfig& config, ConfFileLoader& loader, ListKeeper& lists,
                          const LogClass& log) {
    if (!config.types.empty())
        return;
    try {
        DaemonConfig fresh = ReadDaemonConfig(config.file.GetName());
        if (!ReportErrors(fresh, log))
            throw std::runtime_error(config.file.GetName() + " has errors");
        TakeCollectedErrors(); // otherwise nothing is read
        if (PluginSettings(fresh.file) != PluginSettings(loader.GetFile()))
            lists.NoteNewSettings();
        loader.SetFile(std::move(fresh.file));
        LogClass own_log(log);
        KwObjectHolder::BeforeReload(own_log);
    } catch (...) {
        ReportError(log, CaughtReason() + "; the settings of plug-ins stay as they are");
    }
}

/// Blocks SIGHUP in this thread and those that it starts (SIG_BLOCK), or takes it (SIG_UNBLOCK).
void MaskHangups(int how) {
    sigset_t hangups;
    sigemptyset(&hangups);
    sigaddset(&hangups, SIGHUP);
    ::pthread_sigmask(how, &hangups, nullptr);
}

int RunDaemon(DaemonConfig& config, ConfFileLoader& loader, const LogClass& log) {
    const ServerSettings settings = SettingsOf(config);
    Server* publisher = nullptr;
    LiveView* shown = nullptr;
    ListKeeper lists(config.lists, log, [&](std::size_t number, const ListKeeper::List& list) {
        publisher->SetList(number, list);
        shown->NotePublished(number, list);
    });
    LiveView view(config.doors, lists, settings.io_threads);
    shown = &view;
    Metrics& metrics = view.GetMetrics();
    std::vector<Server::OpenDoor> doors = MakeDoors(config, view);
    if (!ReportErrors(config, log))
        return EX_CONFIG;
    Server server(settings, std::move(doors), &metrics);
    publisher = &server;

    for (std::size_t i = 0; i < lists.GetCount(); ++i)
        metrics.CountReload(i, MetricOf(lists.Load(i, false).kind));
    Reloader reloader(
        lists,
        [&](std::size_t number, const ListKeeper::LoadResult& result) {
            metrics.CountReload(number, MetricOf(result.kind));
        },
        [&] { RereadPluginSections(config, loader, lists, log); });
    boost::asio::io_context& context = server.GetMainContext();
    std::unique_ptr<Control> control;
    if (!config.control.empty())
        control = std::make_unique<Control>(context, config.control, reloader, lists);
    else if (::access("/run/kwlookupd", W_OK) == 0)
        control = std::make_unique<Control>(context, DEFAULT_CONTROL, reloader, lists);
    reloader.Start();

    using boost::system::error_code;
    boost::asio::signal_set ends(context, SIGTERM, SIGINT);
    ends.async_wait([&](error_code error, int) {
        if (!error)
            server.Stop();
    });
    boost::asio::signal_set hangups(context, SIGHUP);
    const std::function<void()> await_hangup = [&] {
        hangups.cancel(); // two that wait would never become one again
        hangups.async_wait([&](error_code error, int) {
            if (error)
                return;
            reloader.ReloadAll();
            await_hangup();
        });
    };
    MaskHangups(SIG_UNBLOCK);
    boost::asio::steady_timer samples(context);
    const std::function<void()> await_sample = [&] {
        samples.expires_after(Metrics::SAMPLE_PERIOD);
        samples.async_wait([&](error_code error) {
            if (error)
                return;
            metrics.TakeSample(std::chrono::steady_clock::now());
            await_sample();
        });
    };
    server.Run([&] {
        await_hangup();
        await_sample();
        if (control)
            control->Wait();
    });
    return EX_OK;
}

std::string Count(std::size_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

/// Checks where the doors listen, and who may ask them. A socket that cannot be opened is a
/// warning: its directory may be made at the start, and the daemon may run as another user.
void CheckDoors(DaemonConfig& config, const LogClass& log) {
    for (const DoorConfig& door : config.doors) {
        const std::string place = config.Place("door " + door.name) + "door " + door.name + ": ";
        try {
            AccessRules rules(door.settings);
            for (const std::string& address : door.addresses) {
                try {
                    CheckListening(address, door.settings);
                } catch (const std::runtime_error& error) {
                    ReportWarning(log, place + error.what());
                }
            }
        } catch (const std::invalid_argument& error) {
            config.errors.push_back(place + error.what());
        }
    }
}

/// Checks the configuration, and loads all lists. Returns the exit status.
int Check(DaemonConfig& config, const LogClass& log) {
    for (ListSettings& list : config.lists)
        list.check_lines = true;
    ListKeeper lists(config.lists, log, [](std::size_t, const ListKeeper::List&) {});
    const LiveView view(config.doors, lists, 1);
    MakeDoors(config, view);
    CheckDoors(config, log);
    bool good = ReportErrors(config, log);
    for (std::size_t i = 0; i < lists.GetCount(); ++i)
        good &= lists.Load(i, false).kind == ListKeeper::LoadResult::Swapped;
    if (good)
        std::cout << config.file.GetName() << ": " << Count(config.lists.size(), "list") << ", "
                  << Count(config.doors.size(), "door") << ", no errors" << std::endl;
    return good ? EX_OK : EX_CONFIG;
}

} // namespace

} // namespace kwlookup

int main(int argc, char** argv) {
    using namespace kwlookup;
    const LogClass log("kwlookupd");
    CLI::App app("Answer mail servers from lookup lists.", "kwlookupd");
    app.set_version_flag("--version", "kwlookupd " KWLOOKUP_VERSION);
    app.require_subcommand(0, 1);
    std::string config_file = "/etc/kwlookupd.conf";
    app.add_option("--config", config_file, "The configuration file")
        ->capture_default_str()
        ->type_name("FILE");
    bool check = false;
    app.add_flag("--check", check, "Check the configuration and load its lists, then end");
    CLI::App& ctl = *app.add_subcommand("ctl", "Give a command to the running daemon");
    ctl.fallthrough();
    ctl.require_subcommand(1);
    std::string list;
    bool force = false;
    CLI::App& reload = *ctl.add_subcommand("reload", "Load one list, or all of them, again");
    reload.fallthrough();
    reload.add_option("LIST", list, "The name of the list");
    reload.add_flag("--force", force, "Take a list that is empty or has shrunk by a lot");
    CLI::App& rollback =
        *ctl.add_subcommand("rollback", "Go back to the list before the last load");
    rollback.fallthrough();
    rollback.add_option("LIST", list, "The name of the list")->required();
    ctl.add_subcommand("status", "Show the state of each list")->fallthrough();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EX_OK : EX_USAGE;
    }
    std::signal(SIGPIPE, SIG_IGN);
    if (!check && !ctl.parsed()) {
        // Scripts send these to daemons with log files. The default is to end.
        std::signal(SIGUSR1, SIG_IGN);
        std::signal(SIGUSR2, SIG_IGN);
        MaskHangups(SIG_BLOCK); // one that comes early waits until the lists are loaded
    }
    RegisterOwnTypes();
    try {
        DaemonConfig config = ReadDaemonConfig(config_file);
        if (ctl.parsed()) {
            std::string command = ctl.get_subcommands().front()->get_name();
            if (!list.empty())
                command += ' ' + list;
            if (force)
                command += " --force";
            return RunControlCommand(config.control.empty() ? DEFAULT_CONTROL : config.control,
                                     command, command == "status" ? STATUS_LIMIT : LOAD_LIMIT, log);
        }
        if (config.syslog && !check)
            SetLogging(LogTarget::Syslog, log4cxx::Level::LEVEL_WARN, "kwlookupd");
        else if (config.debug)
            SetLogging(LogTarget::StandardError, log4cxx::Level::LEVEL_DEBUG);
        const auto loader = boost::make_shared<StrictLoader>();
        loader->SetFile(config.file);
        KwObjectHolder::SetConfLoader(loader);
        return check ? Check(config, log) : RunDaemon(config, *loader, log);
    } catch (...) {
        ReportError(log, CaughtReason());
        return EX_UNAVAILABLE;
    }
}
