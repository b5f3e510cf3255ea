// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/DaemonConfig.h"

#include "conf/ConfParser.h"
#include "kwlog/Logging.h"
#include "text/AsciiLower.h"
#include "tools/lists/Plugin.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>
#include <string_view>

namespace kwlookup {

namespace {

constexpr char DAEMON_SECTION[] = "kwlookupd";
constexpr std::string_view LIST_SECTION = "list ";
constexpr std::string_view DOOR_SECTION = "door ";

/// Keys of all doors that their sockets use.
const char* const SOCKET_KEYS[] = {"Mode",      "Owner",     "Group",
                                   "AllowFrom", "AllowUser", "AllowGroup"};

/// Keys of one protocol.
const struct {
    const char* protocol;
    const char* key;
} PROTOCOL_KEYS[] = {{"http", "Host"}, {"http", "Token"}};

/// Protocols whose clients name a list, or ask all lists of their door.
constexpr std::string_view LIST_PROTOCOLS[] = {"dict", "http", "socketmap", "tcp"};
/// Protocols whose clients tell several attributes, so that rules say which list is asked.
constexpr std::string_view RULE_PROTOCOLS[] = {"milter", "policy"};

/// What to do with the value of a key. Throws std::invalid_argument if the value is wrong.
using Take = std::function<void(const std::string&)>;

/// Returns the names of a comma-separated list.
std::vector<std::string> SplitNames(const std::string& value) {
    std::vector<std::string> names;
    ConfParser::SplitVector(value, names, ',');
    return names;
}

/// Takes the number at the begin of `text`, and white space after it.
std::uint64_t TakeNumber(std::string_view& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number > std::numeric_limits<std::uint32_t>::max())
        throw std::invalid_argument("must be a number up to 4294967295");
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return number;
}

std::size_t ParseNumber(std::string_view text, std::size_t least, std::size_t most) {
    const std::uint64_t number = TakeNumber(text);
    if (!text.empty() || number < least || number > most)
        throw std::invalid_argument("must be a number from " + std::to_string(least) + " to " +
                                    std::to_string(most));
    return static_cast<std::size_t>(number);
}

std::chrono::milliseconds ParseTime(std::string_view text) {
    const std::uint64_t number = TakeNumber(text);
    static const std::map<std::string, std::uint64_t> units = {
        {"ms", 1}, {"s", 1000}, {"", 1000}, {"m", 60 * 1000}, {"h", 3600 * 1000}, {"d", 86400000}};
    const auto unit = units.find(AsciiLowerCase(std::string(text)));
    if (unit == units.end())
        throw std::invalid_argument("must be a time, such as 900 ms, 2 s, 5 m, 1 h or 1 d");
    return std::chrono::milliseconds(number * unit->second);
}

unsigned ParsePercent(std::string_view text) {
    if (!text.empty() && text.back() == '%')
        text.remove_suffix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return static_cast<unsigned>(ParseNumber(text, 0, 100));
}

bool ParseBool(const std::string& text) {
    if (!ConfParser::IsTrue(text) && !ConfParser::IsFalse(text))
        throw std::invalid_argument("must be yes or no");
    return ConfParser::IsTrue(text);
}

template <typename Value>
Value ParseWord(const std::string& text, const std::map<std::string, Value>& words) {
    const auto word = words.find(AsciiLowerCase(text));
    if (word != words.end())
        return word->second;
    std::string names;
    for (const auto& each : words)
        names += (names.empty() ? "" : ", ") + each.first;
    throw std::invalid_argument("must be one of " + names);
}

/// Throws std::invalid_argument unless `name` can be the name of a list or door. Protocols separate
/// the name of a list from the text by white space, and put it into paths.
void CheckName(const std::string& name) {
    if (name.empty() ||
        name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                               "0123456789_-.") != std::string::npos)
        throw std::invalid_argument("a name has letters, digits, '_', '-' and '.' only");
}

/// Throws std::invalid_argument unless `value` names something.
void CheckNotEmpty(const std::string& value) {
    if (value.find_first_not_of(", \t") == std::string::npos)
        throw std::invalid_argument("has no value");
}

class Reader {
public:
    explicit Reader(const std::string& name) {
        m_config.file = ConfFile(name);
        m_config.errors = m_config.file.GetErrors();
    }

    DaemonConfig Read() {
        // In the order of the file.
        std::map<std::size_t, const std::string*> order;
        for (const auto& [name, section] : m_config.file.GetSections())
            order[section.line] = &name;
        ReadDaemon();
        for (const auto& [line, name] : order)
            if (StartsWith(*name, LIST_SECTION))
                ReadList(*name);
        for (const auto& [line, name] : order)
            if (StartsWith(*name, DOOR_SECTION))
                ReadDoor(*name);
        for (const auto& [line, name] : order)
            if (*name != DAEMON_SECTION && !StartsWith(*name, LIST_SECTION) &&
                !StartsWith(*name, DOOR_SECTION) && PluginTypeOf(*name).empty())
                AddError(line, "unknown section [" + *name + "]");
        if (m_config.doors.empty() && m_config.errors.empty())
            AddError(0, "there is no [door NAME]");
        if (m_config.lists.empty() && m_config.errors.empty())
            AddError(0, "there is no [list NAME]");
        return std::move(m_config);
    }

private:
    static bool StartsWith(const std::string& text, std::string_view start) {
        return text.compare(0, start.size(), start) == 0;
    }

    void AddError(std::size_t line, const std::string& text) {
        m_config.errors.push_back(m_config.file.Place(line) + text);
    }

    /// Calls what `keys` has for each setting of a section.
    void ReadSection(const std::string& name, const std::map<std::string, Take>& keys) {
        for (const ConfFile::Setting& setting : SectionOf(name).settings) {
            if (setting.secret)
                HideInMessages(setting.value);
            const auto key = std::find_if(keys.begin(), keys.end(), [&](const auto& each) {
                return AsciiLowerCase(each.first) == AsciiLowerCase(setting.key);
            });
            if (key == keys.end()) {
                AddError(setting.line, "unknown key '" + setting.key + "' in [" + name + "]");
                continue;
            }
            try {
                key->second(setting.value);
            } catch (const std::invalid_argument& error) {
                AddError(setting.line, "'" + key->first + "' " + error.what());
            }
        }
    }

    const ConfFile::Section& SectionOf(const std::string& name) const {
        return m_config.file.GetSections().at(name);
    }

    void ReadDaemon() {
        if (m_config.file.GetSections().count(DAEMON_SECTION) == 0)
            return;
        DaemonConfig& c = m_config;
        const auto number = [](std::size_t& to, std::size_t least, std::size_t most) {
            return [&to, least, most](const std::string& v) { to = ParseNumber(v, least, most); };
        };
        const auto time = [](std::chrono::milliseconds& to) {
            return [&to](const std::string& v) { to = ParseTime(v); };
        };
        const auto limit = [](std::chrono::milliseconds& to) {
            return [&to](const std::string& v) {
                to = ParseTime(v);
                if (to.count() == 0)
                    throw std::invalid_argument("must be more than 0");
            };
        };
        ReadSection(DAEMON_SECTION,
                    {{"IoThreads", number(c.io_threads, 1, 256)},
                     {"Workers", number(c.workers, 1, 1024)},
                     {"AnswerTime", limit(c.answer_time)},
                     {"SlowTime", time(c.slow_time)},
                     {"IdleTime", time(c.idle_time)},
                     {"MaxConnections", number(c.max_connections, 1, 1000000)},
                     {"MaxInFlight", number(c.max_in_flight, 1, 1000000)},
                     {"User", [&](const std::string& v) { c.user = v; }},
                     {"Control", [&](const std::string& v) { c.control = v; }},
                     {"Log",
                      [&](const std::string& v) {
                          c.syslog = ParseWord<bool>(v, {{"stderr", false}, {"syslog", true}});
                      }},
                     {"Debug", [&](const std::string& v) { c.debug = ParseBool(v); }},
                     {"Types", [&](const std::string& v) {
                          for (const std::string& type : SplitNames(v)) {
                              const std::string reason = WhyNoTypeName(type);
                              if (!reason.empty())
                                  throw std::invalid_argument("is wrong: " + reason);
                              RegisterType(type);
                          }
                      }}});
    }

    void ReadList(const std::string& section) {
        using Search = ListSettings::Search;
        ListSettings list;
        bool has_objects = false;
        list.slow_time = m_config.slow_time;
        list.name = section.substr(LIST_SECTION.size());
        CheckSectionName(section, list.name);
        ReadSection(
            section,
            {{"Objects",
              [&](const std::string& v) {
                  list.objects = v;
                  has_objects = true;
              }},
             {"Search",
              [&](const std::string& v) {
                  list.search = ParseWord<Search>(v, {{"address", Search::Address},
                                                      {"domain", Search::Domain},
                                                      {"exact", Search::Exact},
                                                      {"exact-nocase", Search::ExactNoCase}});
              }},
             {"SubAddress",
              [&](const std::string& v) {
                  if (v.find_first_of("@\"") != std::string::npos)
                      throw std::invalid_argument("must not have '@' or '\"'");
                  list.sub_address = v;
              }},
             {"Idn", [&](const std::string& v) { list.idn = ParseBool(v); }},
             {"MaxShrink", [&](const std::string& v) { list.max_shrink = ParsePercent(v); }},
             {"Settle", [&](const std::string& v) { list.settle = ParseTime(v); }}});
        if (!has_objects)
            AddError(SectionOf(section).line, "'Objects' is missing in [" + section + "]");
        const bool is_exact = list.search == Search::Exact || list.search == Search::ExactNoCase;
        if (!list.sub_address.empty() && list.search != Search::Address)
            AddError(SectionOf(section).line,
                     "[" + section + "]: SubAddress needs Search = address");
        if (list.idn && is_exact)
            AddError(SectionOf(section).line,
                     "[" + section + "]: Idn needs Search = address or domain");
        m_config.lists.push_back(std::move(list));
    }

    DoorConfig::List ListNamed(const std::string& name) const {
        for (std::size_t i = 0; i < m_config.lists.size(); ++i)
            if (m_config.lists[i].name == name)
                return {name, i};
        throw std::invalid_argument("names the list '" + name + "', which has no section");
    }

    DoorConfig::Rule RuleOf(const std::string& text) const {
        const std::size_t colon = text.find(':');
        if (colon == 0 || colon == std::string::npos)
            throw std::invalid_argument("has '" + text + "', which is not ATTRIBUTE:LIST");
        return {text.substr(0, colon), ListNamed(text.substr(colon + 1))};
    }

    void ReadDoor(const std::string& section) {
        DoorConfig door;
        door.name = section.substr(DOOR_SECTION.size());
        CheckSectionName(section, door.name);
        std::map<std::string, Take> keys = {
            {"Protocol", [&](const std::string& v) { door.protocol = AsciiLowerCase(v); }},
            {"Address", [&](const std::string& v) { door.addresses = SplitNames(v); }},
            {"Lists",
             [&](const std::string& v) {
                 CheckNotEmpty(v);
                 for (const std::string& name : SplitNames(v))
                     door.lists.push_back(ListNamed(name));
             }},
            {"Ask", [&](const std::string& v) {
                 for (const std::string& rule : SplitNames(v))
                     door.rules.push_back(RuleOf(rule));
             }}};
        const auto keep = [&](const char* key) {
            keys[key] = [&door, key](const std::string& v) {
                door.settings[AsciiLowerCase(key)] = v;
            };
        };
        for (const char* key : SOCKET_KEYS)
            keys[key] = [&door, key](const std::string& v) {
                CheckNotEmpty(v); // without a name, all clients may ask
                door.settings[AsciiLowerCase(key)] = v;
            };
        const auto protocol =
            std::find_if(SectionOf(section).settings.begin(), SectionOf(section).settings.end(),
                         [](const auto& each) { return AsciiLowerCase(each.key) == "protocol"; });
        for (const auto& each : PROTOCOL_KEYS)
            if (protocol != SectionOf(section).settings.end() &&
                AsciiLowerCase(protocol->value) == each.protocol)
                keep(each.key);
        ReadSection(section, keys);
        const std::size_t line = SectionOf(section).line;
        if (door.protocol.empty())
            AddError(line, "'Protocol' is missing in [" + section + "]");
        if (door.addresses.empty())
            AddError(line, "'Address' is missing in [" + section + "]");
        CheckAddresses(section, door);
        CheckLists(section, door);
        if (door.rules.empty() && door.lists.empty())
            for (const ListSettings& list : m_config.lists)
                door.lists.push_back(ListNamed(list.name));
        m_config.doors.push_back(std::move(door));
    }

    /// Reports rules for users that no client would have to meet, and addresses of other doors.
    void CheckAddresses(const std::string& section, const DoorConfig& door) {
        const std::size_t line = SectionOf(section).line;
        const bool has_unix = std::any_of(
            door.addresses.begin(), door.addresses.end(), [](const std::string& address) {
                return StartsWith(address, "unix:") || StartsWith(address, "systemd:");
            });
        if (!has_unix && (door.settings.count("allowuser") || door.settings.count("allowgroup")))
            AddError(line, "[" + section +
                               "] has no UNIX socket, and AllowUser and AllowGroup hold for these "
                               "only; use AllowFrom");
        const bool has_tcp =
            std::any_of(door.addresses.begin(), door.addresses.end(),
                        [](const std::string& address) { return !StartsWith(address, "unix:"); });
        if (!has_tcp && !door.addresses.empty() && door.settings.count("allowfrom"))
            AddError(line, "[" + section +
                               "] has only UNIX sockets, and AllowFrom holds for others only; use "
                               "AllowUser or AllowGroup");
        for (const std::string& address : door.addresses) {
            const auto added = m_doors_by_address.emplace(address, door.name);
            if (!added.second && address.substr(address.rfind(':') + 1) != "0") // any free port
                AddError(line, "[" + section + "] has the address " + address + ", as has [door " +
                                   added.first->second + "]");
        }
    }

    /// Reports lists and rules that the protocol does not ask.
    void CheckLists(const std::string& section, const DoorConfig& door) {
        const auto is_of = [&](const auto& protocols) {
            return std::find(std::begin(protocols), std::end(protocols), door.protocol) !=
                   std::end(protocols);
        };
        const std::size_t line = SectionOf(section).line;
        if (is_of(LIST_PROTOCOLS) && !door.rules.empty())
            AddError(line, "[" + section + "]: Protocol " + door.protocol +
                               " has no rules; use Lists in place of Ask");
        if (is_of(RULE_PROTOCOLS) && !door.lists.empty())
            AddError(line, "[" + section + "]: Protocol " + door.protocol +
                               " needs rules; use Ask in place of Lists");
    }

    void CheckSectionName(const std::string& section, const std::string& name) {
        try {
            CheckName(name);
        } catch (const std::invalid_argument& error) {
            AddError(SectionOf(section).line, "[" + section + "]: " + error.what());
        }
    }

    DaemonConfig m_config;
    std::map<std::string, std::string> m_doors_by_address;
};

} // namespace

std::string DaemonConfig::Place(const std::string& section) const {
    const auto found = file.GetSections().find(section);
    return file.Place(found == file.GetSections().end() ? 0 : found->second.line);
}

DaemonConfig ReadDaemonConfig(const std::string& name) {
    return Reader(name).Read();
}

} // namespace kwlookup
