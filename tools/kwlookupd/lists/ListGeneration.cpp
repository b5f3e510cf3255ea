// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/ListGeneration.h"

#include "kwlog/Logging.h"
#include "text/AsciiLower.h"
#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/TextFile.h"
#include "tools/kwlookupd/lists/DomainForms.h"
#include "tools/kwlookupd/lists/KeyFinder.h"
#include "tools/kwlookupd/lists/LocalPartForms.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>

namespace kwlookup {

namespace {

/// No domain name is longer. Each label of a domain costs a search in tables.
constexpr std::size_t LONGEST_DOMAIN = 255;
/// A table is asked for so many parents of a domain. Nobody lists a parent with more labels, but
/// the sender of a message may choose a domain with 127, and each may cost a query of a server.
constexpr std::size_t MAX_PARENTS = 10;

/// Returns true for letters, digits, and "-./_". They give a local part no other form. Without a
/// branch, so that many bytes are tested at once.
bool IsPlain(char c) {
    const auto byte = static_cast<unsigned char>(c);
    const auto lower = static_cast<unsigned char>(byte | 0x20);
    return ((lower >= 'a') & (lower <= 'z')) | ((byte >= '-') & (byte <= '9')) | (byte == '_') |
           (byte >= 0x80);
}

ListChecks ChecksFor(const ListSettings& settings) {
    ListChecks checks;
    checks.whole_files = settings.check_lines;
    checks.hints = false;
    return checks;
}

bool IsOneOf(const std::string& type, std::initializer_list<const char*> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

bool HasBrackets(const std::string& text) {
    return text.size() > 2 && text.front() == '<' && text.back() == '>';
}

/// Adds the keys under which a table may have `domain`, the nearest first.
void AddDomainKeys(const std::string& domain, std::vector<std::string>& keys) {
    if (domain.empty())
        return;
    keys.push_back(domain);
    keys.push_back('@' + domain);
    if (domain.size() > LONGEST_DOMAIN)
        return;
    std::vector<std::size_t> dots;
    for (std::size_t dot = domain.find('.', 1); dot < domain.size() - 1;
         dot = domain.find('.', dot + 1))
        dots.push_back(dot);
    for (std::size_t i = dots.size() - std::min(dots.size(), MAX_PARENTS); i < dots.size(); ++i)
        keys.push_back(domain.substr(dots[i]));
}

/// Returns the keys under which a table may have `address`, the nearest first.
std::vector<std::string> AddressKeys(const std::string& address) {
    std::vector<std::string> keys;
    const std::size_t at = address.rfind('@');
    if (at == std::string::npos) {
        AddDomainKeys(address, keys);
    } else {
        keys.push_back(address);
        AddDomainKeys(address.substr(at + 1), keys);
        if (at != 0)
            keys.push_back(address.substr(0, at + 1));
    }
    return keys;
}

/// Returns `address` without the extension of its local part, or an empty text if it has none.
std::string WithoutExtension(std::string_view address, const std::string& marks) {
    if (marks.empty())
        return std::string();
    const std::size_t at = address.rfind('@');
    if (at == std::string_view::npos || address.front() == '"')
        return std::string();
    const std::size_t mark = address.find_first_of(marks, 1);
    if (mark >= at)
        return std::string();
    return std::string(address.substr(0, mark)).append(address.substr(at));
}

std::string_view WithoutSpace(std::string_view line) {
    const char* begin = line.data();
    const char* end = begin + line.size();
    LocaleBytes::Current().Trim(begin, end);
    return {begin, static_cast<std::size_t>(end - begin)};
}

/// Adds a hash of each rule of a file of patterns.
void HashRules(const std::string& name, std::vector<std::size_t>& hashes) {
    const FileDescriptor file = OpenTextFile(name);
    LineReader lines(file.Get(), BytesToRead(file.Get()));
    for (std::string_view line; lines.Next(line);) {
        const std::string_view rule =
            WithoutSpace(lines.GetLineNumber() == 1 ? WithoutByteOrderMark(line) : line);
        if (!rule.empty() && rule[0] != '#')
            hashes.push_back(std::hash<std::string_view>()(rule));
    }
    if (lines.GetError() != 0)
        throw CanNotLoad(name, lines.GetError());
}

/// Returns which item of a list has an error. The log has the errors themselves.
std::string FaultOf(const ItemList& items) {
    const std::vector<ItemList::Item>& all = items.GetItems();
    const auto failed = std::find_if(all.begin(), all.end(),
                                     [](const ItemList::Item& item) { return item.failed; });
    const std::size_t others = items.GetFailedCount() - 1;
    return "the list has errors in [" + Shortened(failed->text) + ']' +
           (others == 0 ? "" : " and " + std::to_string(others) + " more items") + ", see the log";
}

/// Passes on each value that it is offered, and matches none.
class ValueTaker : public KwLookupFinder {
public:
    explicit ValueTaker(const std::function<void(std::string_view)>& take) : m_take(take) {}

    bool Match(const std::string& value) const override {
        m_take(value);
        return false;
    }
    TextRange GetRequest() const override { return TextRange(m_none.begin(), m_none.end()); }

private:
    const std::function<void(std::string_view)>& m_take;
    const std::string m_none;
};

} // namespace

/// One search after the other, each up to the first match or fault. Its strings keep their memory.
class ListGeneration::Search {
public:
    explicit Search(const ListGeneration& list, Time deadline = Time::max())
        : m_list(list), m_deadline(deadline) {}

    /// Begins a search. `finder` may be one for exactly this text, which has not been used.
    void Begin(Reply& reply, const std::string& text, const AddressFinder* finder) {
        m_reply = &reply;
        reply.outcome = Outcome::NotFound;
        reply.text.clear();
        reply.has_result = false;
        reply.item.clear();
        reply.file.clear();
        reply.line = 0;
        m_finder = finder;
        m_finder_text = &text;
        m_asked.clear();
    }

    Reply& GetReply() const { return *m_reply; }
    const Entry* GetEntry() const { return m_entry; }
    const std::string& GetValue() const { return m_value; }

    void AskExact(const std::string& text, int flags) {
        const bool fold = flags & FIND_NOCASE;
        const std::string folded = fold ? AsciiLowerCase(text) : std::string();
        for (const Entry& entry : m_list.m_entries) {
            if (entry.is_plugin) {
                if (Ask(entry, fold ? folded : text, flags))
                    return;
                continue;
            }
            // With FIND_EXACT a value with a result would match as a whole only.
            const KeyFinder finder(text, fold ? KeyFinder::LetterCase::Ignored
                                              : KeyFinder::LetterCase::Counts);
            if (Find(entry, text, finder, 0, finder))
                return;
        }
    }

    /// Ask about an address in all its forms.
    void AskAddressForms(const std::string& address) {
        const std::size_t at_end = address.rfind('@') + 1; // 0 without an '@'
        std::vector<std::string> domains;
        if (m_list.m_settings.idn)
            domains = OtherDomainForms(address.substr(at_end));
        if (domains.empty() && m_list.HasOneLocalPart(address)) {
            AskKeys(address, 0);
            return;
        }
        const std::string other = OtherLocalPartForm(address);
        const std::string base = WithoutExtension(address, m_list.m_settings.sub_address);
        if (domains.empty() && other.empty() && base.empty()) {
            AskKeys(address, 0);
            return;
        }
        domains.insert(domains.begin(), address.substr(at_end));
        // Each form of the address is more exact than each of its domain.
        for (const std::string* form : {&address, &other, &base})
            for (const std::string& domain : domains)
                if (!form->empty() && AskKey(form->substr(0, form->rfind('@') + 1) + domain))
                    return;
        for (const std::string& domain : domains)
            for (const std::string* form : {&base, &address})
                if (!form->empty() && AskKeys(form->substr(0, form->rfind('@') + 1) + domain, 0))
                    return;
    }

    /// Ask about the domain of `text` in all its forms.
    void AskDomainForms(const std::string& text) {
        const std::string domain = text.substr(text.rfind('@') + 1);
        if (AskKeys(domain, FIND_DOMAIN) || !m_list.m_settings.idn)
            return;
        for (const std::string& other : OtherDomainForms(domain))
            if (AskKeys(other, FIND_DOMAIN))
                return;
    }

private:
    // Each of these returns true when the search is over.

    /// Ask about `text` under all of its keys.
    bool AskKeys(const std::string& text, int flags) {
        std::optional<std::string> folded;
        std::optional<std::vector<std::string>> keys;
        const AddressFinder* const finder = &text == m_finder_text ? m_finder : nullptr;
        for (const Entry& entry : m_list.m_entries) {
            if (!entry.is_plugin) {
                if (finder && &entry == m_list.m_first_file && finder->IsRuledOut())
                    continue;
                // The finder can be used again, because it keeps nothing without a match.
                if (finder ? Find(entry, text, *finder, flags, *finder) : Ask(entry, text, flags))
                    return true;
                continue;
            }
            if (!folded)
                folded = AsciiLowerCase(text);
            if (!entry.walks) {
                if (AskPlugin(entry, *folded, flags))
                    return true;
                continue;
            }
            if (!keys)
                keys = AddressKeys(*folded);
            for (const std::string& key : *keys)
                if (AskPlugin(entry, key, flags))
                    return true;
        }
        return false;
    }

    /// Ask about the key `key` only.
    bool AskKey(const std::string& key) {
        std::optional<std::string> folded;
        for (const Entry& entry : m_list.m_entries) {
            if (entry.is_plugin) {
                if (!folded)
                    folded = AsciiLowerCase(key);
                if (AskPlugin(entry, *folded, 0))
                    return true;
            } else {
                const KeyFinder finder(key);
                if (Find(entry, key, finder, 0, finder))
                    return true;
            }
        }
        return false;
    }

    /// Asks once in a search: forms of an address have keys in common.
    bool AskPlugin(const Entry& entry, const std::string& text, int flags) {
        const auto asked = [&](const auto& question) {
            return question.first == &entry && question.second == text;
        };
        if (std::any_of(m_asked.begin(), m_asked.end(), asked))
            return false;
        m_asked.emplace_back(&entry, text);
        return Ask(entry, text, flags);
    }

    bool Ask(const Entry& entry, const std::string& text, int flags) {
        const AddressFinder finder(text);
        return Find(entry, text, finder, flags, finder);
    }

    /// `named` is the same finder, as the class that tells the matched value.
    template <typename Finder>
    bool Find(const Entry& entry, const std::string& text, const KwLookupFinder& finder, int flags,
              const Finder& named) {
        if (!entry.is_plugin)
            return FindIn(entry, text, finder, flags, named);
        const Time start = std::chrono::steady_clock::now();
        if (start >= m_deadline) {
            m_reply->outcome = Outcome::Unavailable;
            m_reply->text = "timed out";
            return true;
        }
        const bool over = FindIn(entry, text, finder, flags, named);
        const auto time = std::chrono::steady_clock::now() - start;
        if (m_list.m_settings.slow_time.count() != 0 && time > m_list.m_settings.slow_time)
            if (const auto left_out = entry.slow_answers->Count())
                ReportWarning(
                    m_list.m_log,
                    About(entry, text) + " took " +
                        std::to_string(
                            std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) +
                        " ms" + AndOthers(*left_out));
        return over;
    }

    template <typename Finder>
    bool FindIn(const Entry& entry, const std::string& text, const KwLookupFinder& finder,
                int flags, const Finder& named) {
        Reply& reply = *m_reply;
        try {
            reply.text.clear();
            m_value.clear();
            if (!entry.item->holder->Find(finder, &reply.text, flags, &m_value))
                return false;
            reply.outcome = Outcome::Found;
            m_entry = &entry;
            if (m_value.empty())
                m_value = named.GetMatchedValue();
            reply.text.erase(0, 1); // the holder puts a blank before each result
            reply.has_result = !reply.text.empty();
            if (!reply.has_result)
                reply.text = m_value.empty() ? text : m_value;
        } catch (...) { // a plug-in may throw anything
            reply.outcome = Outcome::Unavailable;
            reply.text = "the list cannot be asked now";
            if (const auto left_out = entry.faults->Count())
                ReportError(m_list.m_log, About(entry, text) + " could not be answered: " +
                                              CaughtReason() + AndOthers(*left_out));
        }
        return true;
    }

    /// Returns the beginning of a message about one question.
    std::string About(const Entry& entry, const std::string& text) const {
        return m_list.About(text) + " to [" + Shortened(entry.item->text) + ']';
    }

    const ListGeneration& m_list;
    const Time m_deadline;
    Reply* m_reply = nullptr;
    const AddressFinder* m_finder = nullptr;
    const std::string* m_finder_text = nullptr;
    const Entry* m_entry = nullptr;
    std::string m_value;
    std::vector<std::pair<const Entry*, std::string>> m_asked; ///< of plug-ins, and not found
};

ListGeneration::ListGeneration(const ListSettings& settings, const LogClass& log,
                               const ListGeneration* previous)
    : m_settings(settings), m_log(log), m_items(settings.objects, log, ChecksFor(settings)),
      m_load_time(std::time(nullptr)) {
    m_extensions_are_marked =
        std::none_of(settings.sub_address.begin(), settings.sub_address.end(), IsPlain);
    if (m_items.GetFailedCount() != 0)
        throw std::runtime_error(FaultOf(m_items));
    for (const ItemList::Item& item : m_items.GetItems()) {
        const std::string type = item.GetType();
        const bool is_plugin = item.IsPlugin();
        // A pattern sees the whole text, and an item that names a part of it wants just that.
        const bool walks = is_plugin && !IsOneOf(type, {"regex", "rfile"}) &&
                           item.text.find("$s") != std::string::npos &&
                           item.text.find("$u") == std::string::npos &&
                           item.text.find("$d") == std::string::npos;
        const bool may_wait =
            is_plugin && !IsOneOf(type, {"berkeley", "cdb", "lmdb", "regex", "rfile"});
        m_may_wait |= may_wait;
        m_has_plugins |= is_plugin;
        if (type == "rfile")
            HashRules(item.GetFile(), m_rules);
        m_entries.push_back({&item, type == "file", is_plugin, walks, std::make_unique<LogLimit>(),
                             std::make_unique<LogLimit>()});
    }
    const auto file = std::find_if(m_entries.begin(), m_entries.end(),
                                   [](const Entry& entry) { return entry.is_file; });
    m_first_file = file == m_entries.end() ? nullptr : &*file;
    m_change = CompareWith(previous);
    m_record_count = m_change.added + m_change.kept;
    // The first search in memory makes an index.
    const std::string any = "x@y";
    for (const Entry& entry : m_entries) {
        std::string result;
        if (!entry.is_plugin)
            entry.item->holder->Find(AddressFinder(any), &result, 0, nullptr);
    }
}

/// Returns true for an address whose local part has certainly no other form, and no extension.
bool ListGeneration::HasOneLocalPart(const std::string& address) const {
    // A block of one size needs no branch that depends on the text.
    std::array<char, 64> block;
    if (!m_extensions_are_marked || address.size() > block.size())
        return false;
    block.fill('a');
    address.copy(block.data(), address.size());
    unsigned char others = 0, ats = 0;
    for (const char c : block) {
        others |= !IsPlain(c) & (c != '@');
        ats += c == '@';
    }
    return others == 0 && ats <= 1;
}

void ListGeneration::ReportRefusal(Refusal reason, const std::string& text) const {
    static constexpr std::array<const char*, 3> ENDS = {
        "timed out", "was refused, because too many requests are waiting",
        "was dropped, because no worker was free in time"};
    const auto number = static_cast<std::size_t>(reason);
    if (const auto left_out = m_refusals[number].Count())
        ReportWarning(m_log, About(text) + ' ' + ENDS[number] + AndOthers(*left_out));
}

/// Returns the beginning of a message about the question for `text`.
std::string ListGeneration::About(const std::string& text) const {
    return "list " + m_settings.name + ": the question for [" + Shortened(text) + ']';
}

void ListGeneration::Ask(const std::string& text, bool explain, Reply& reply,
                         Time deadline) const noexcept {
    Search search(*this, deadline);
    search.Begin(reply, text, nullptr);
    Ask(text, explain, search);
}

void ListGeneration::AskAll(const Question* questions, std::size_t count,
                            Finders& finders) const noexcept {
    Search search(*this);
    for (std::size_t size; count != 0; questions += size, count -= size) {
        size = std::min(count, READ_AHEAD);
        const bool fetches = m_settings.search == ListSettings::Search::Address &&
                             FetchFor(questions, size, finders);
        for (std::size_t i = 0; i < size; ++i) {
            search.Begin(*questions[i].reply, *questions[i].text, fetches ? &*finders[i] : nullptr);
            Ask(*questions[i].text, false, search);
        }
    }
}

/// Makes the finders, and prefetches the memory that they will read.
bool ListGeneration::FetchFor(const Question* questions, std::size_t count,
                              Finders& finders) const noexcept {
    try {
        std::array<const KwLookupFinder*, READ_AHEAD> pointers;
        const auto renew = [&] {
            for (std::size_t i = 0; i < count; ++i)
                pointers[i] = &Renew(finders[i], *questions[i].text);
        };
        renew();
        // A finder keeps what one file knows of its keys. For the first file this is most useful.
        for (auto entry = m_entries.rbegin(); entry != m_entries.rend(); ++entry) {
            if (!entry->is_file)
                continue;
            entry->item->holder->Fetch(pointers.data(), count, 0);
            if (&*entry != m_first_file)
                renew();
        }
        return true;
    } catch (const std::exception&) { // out of memory
        return false;
    }
}

/// Carries out the search that was begun.
void ListGeneration::Ask(const std::string& text, bool explain, Search& search) const noexcept {
    static const std::string null_sender = "<>";
    Reply& reply = search.GetReply();
    try {
        const std::string& asked = text.empty() ? null_sender : text;
        const bool brackets = HasBrackets(asked);
        const std::string inside = brackets ? asked.substr(1, asked.size() - 2) : std::string();
        switch (m_settings.search) {
        case ListSettings::Search::Exact:
            search.AskExact(asked, FIND_EXACT);
            break;
        case ListSettings::Search::ExactNoCase:
            search.AskExact(asked, FIND_EXACT | FIND_NOCASE);
            break;
        case ListSettings::Search::Domain:
            search.AskDomainForms(brackets ? inside : asked);
            break;
        case ListSettings::Search::Address:
            search.AskAddressForms(brackets ? inside : asked);
            break;
        }
        if (reply.outcome == Outcome::NotFound)
            reply.text.clear();
        else if (explain && reply.outcome == Outcome::Found)
            Explain(search);
    } catch (const std::exception&) { // out of memory
        reply.outcome = Outcome::Unavailable;
        reply.text.clear();
    }
}

void ListGeneration::Explain(Search& search) const {
    Reply& reply = search.GetReply();
    const ItemList::Item& item = *search.GetEntry()->item;
    reply.item = WithoutSecrets(item.text);
    reply.file = item.GetFile();
    if (reply.file.empty())
        return;
    // A plug-in with a file of patterns names the line in the value: FILE:LINE: PATTERN.
    const std::string& value = search.GetValue();
    if (search.GetEntry()->is_plugin) {
        if (value.compare(0, reply.file.size() + 1, reply.file + ':') == 0)
            reply.line = static_cast<std::size_t>(
                std::strtoul(value.c_str() + reply.file.size() + 1, nullptr, 10));
        return;
    }
    const FileDescriptor file = FileDescriptor::OpenForReading(reply.file);
    if (!file)
        return;
    LineReader lines(file.Get(), BytesToRead(file.Get()));
    for (std::string_view line; reply.line == 0 && lines.Next(line);) {
        if (WithoutSpace(line) == value)
            reply.line = lines.GetLineNumber();
    }
}

void ListGeneration::ForEachValue(const std::function<void(std::string_view)>& take) const {
    const ValueTaker taker(take);
    for (const Entry& entry : m_entries) {
        std::string result;
        if (!entry.is_plugin)
            entry.item->holder->Find(taker, &result, 0, nullptr);
    }
}

ListGeneration::Change ListGeneration::CompareWith(const ListGeneration* before) const {
    const std::vector<std::size_t> records = HashRecords();
    const std::vector<std::size_t> others =
        before ? before->HashRecords() : std::vector<std::size_t>();
    std::vector<std::size_t> kept;
    std::set_intersection(records.begin(), records.end(), others.begin(), others.end(),
                          std::back_inserter(kept));
    return {records.size() - kept.size(), others.size() - kept.size(), kept.size()};
}

/// Returns a hash of each record, sorted.
std::vector<std::size_t> ListGeneration::HashRecords() const {
    std::vector<std::size_t> hashes = m_rules;
    ForEachValue(
        [&](std::string_view value) { hashes.push_back(std::hash<std::string_view>()(value)); });
    std::sort(hashes.begin(), hashes.end());
    return hashes;
}

} // namespace kwlookup
