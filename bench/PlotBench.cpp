// SPDX-License-Identifier: MIT
// How the cost of a search grows with the list, from 1,000 to 10,000,000 entries. Each kind of
// search is compared with the fastest alternative, a hash set that is searched for every key.
// Writes a row for each measurement: kind, what answers, entries, nanoseconds a search, bytes an
// entry.
#include "bench/BenchData.h"
#include "host/LogClass.h"
#include "kwhost/AddressFinder.h"
#include "lookup/builtin/KwDomainsLookup.h"

#include <absl/container/flat_hash_set.h>
#include <absl/strings/string_view.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <malloc.h>

namespace {

using namespace kwlookup;
using Texts = std::vector<std::string>;

const LogClass g_log{""};

enum Kind { Default, Exact, Nocase, Domains };
constexpr const char* NAMES[] = {"default", "exact", "nocase", "domains"};

double HeapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

std::string DomainOf(const std::string& address) {
    return address.substr(address.find('@') + 1);
}

/// A list of the library.
class Ours {
public:
    Ours(Kind kind, const Texts&) : m_kind(kind) { m_list.Init("file:" + DataFile("plot")); }

    bool operator()(const std::string& text) const {
        switch (m_kind) {
        case Default:
            return m_list.KwLookupHolder::Find(AddressFinder(text), nullptr, 0, nullptr);
        case Exact:
            return m_list.KwLookupHolder::Find(TextFinder(text), nullptr, FIND_EXACT, nullptr);
        case Nocase:
            return m_list.KwLookupHolder::Find(TextFinder(text), nullptr, FIND_EXACT | FIND_NOCASE,
                                               nullptr);
        case Domains:
            break;
        }
        return m_list.FindDomain(TextRange(text.begin(), text.end()), true);
    }

private:
    class TextFinder : public KwLookupFinder {
    public:
        explicit TextFinder(const std::string& text) : m_text(text) {}
        bool Match(const std::string& value) const override { return value == m_text; }
        TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

    private:
        const std::string& m_text;
    };

    const Kind m_kind;
    KwDomainsLookup m_list{g_log};
};

/// A hash set. It has upper-cased copies if case is ignored.
class Peer {
public:
    Peer(Kind kind, const Texts& list) : m_kind(kind) {
        m_set.reserve(list.size());
        for (const std::string& text : list)
            m_set.insert(kind == Exact ? text : Upper(text));
    }

    bool operator()(const std::string& text) const {
        if (m_kind == Exact)
            return Has(text);
        const std::string upper = Upper(text);
        if (Has(upper))
            return true;
        if (m_kind == Nocase)
            return false;
        std::string_view domain = upper;
        if (m_kind == Default) {
            const std::size_t at = upper.find('@') + 1;
            domain.remove_prefix(at);
            if (Has(std::string_view(upper).substr(0, at)) || Has(domain) ||
                Has(std::string_view(upper).substr(at - 1)))
                return true;
        }
        for (std::size_t dot; (dot = domain.find('.')) != std::string_view::npos;) {
            domain.remove_prefix(dot);
            if (m_kind == Default && Has(domain))
                return true;
            domain.remove_prefix(1);
            if (m_kind == Domains && Has(domain))
                return true;
        }
        return false;
    }

private:
    bool Has(std::string_view key) const {
        return m_set.contains(absl::string_view(key.data(), key.size()));
    }

    static std::string Upper(const std::string& text) {
        std::string upper = text;
        for (char& c : upper)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
        return upper;
    }

    const Kind m_kind;
    absl::flat_hash_set<std::string> m_set;
};

/// Print a row. Returns the number of texts found.
template <typename Search>
std::size_t Measure(Kind kind, const char* name, const Texts& list, const Texts& asked) {
    const double before = HeapBytes();
    const Search search(kind, list);
    search(asked.front()); // make the index
    const double bytes = HeapBytes() - before;
    double best = 1e18;
    std::size_t found = 0;
    for (int round = 0; round < 3; ++round) {
        // Other programs affect processor time less.
        const std::clock_t begin = std::clock();
        found = 0;
        for (const std::string& text : asked)
            found += search(text);
        const double time = static_cast<double>(std::clock() - begin) * 1e9 / CLOCKS_PER_SEC;
        best = std::min(best, time / static_cast<double>(asked.size()));
    }
    std::printf("%s,%s,%zu,%.1f,%.1f\n", NAMES[kind], name, list.size(), best,
                bytes / static_cast<double>(list.size()));
    std::fflush(stdout);
    return found;
}

void MeasureSize(std::size_t size) {
    constexpr std::size_t ASKED = 200000;
    for (const Kind kind : {Default, Exact, Nocase, Domains}) {
        AddressSource source(31);
        Random random(32);
        auto next = [&, number = 0]() mutable {
            return kind == Domains ? std::to_string(number++) + DomainOf(source.Next())
                                   : source.Next();
        };
        Texts list, asked;
        while (list.size() < size)
            list.push_back(next());
        while (asked.size() < ASKED) {
            const std::string text =
                random.Percent(50) ? list[random.Below(size)] : "x" + next() + ".example";
            asked.push_back(kind == Domains ? "mail." + text : text);
        }
        {
            std::ofstream file(DataFile("plot"));
            for (const std::string& text : list)
                file << text << '\n';
            if (!file.flush())
                Fail("cannot write " + DataFile("plot"));
        }
        if (Measure<Ours>(kind, "kwlookup", list, asked) !=
            Measure<Peer>(kind, "absl::flat_hash_set", list, asked))
            Fail(std::string("different answers: ") + NAMES[kind]);
    }
}

} // namespace

int main() {
    std::printf("kind,what,entries,ns,bytes\n");
    for (const std::size_t size : {1000, 10000, 100000, 1000000, 10000000})
        MeasureSize(size);
    std::remove(DataFile("plot").c_str());
    return 0;
}
