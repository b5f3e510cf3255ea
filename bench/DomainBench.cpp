// SPDX-License-Identifier: MIT
// A list of domains that match their sub-domains too: the library's search, compared with a walk
// over the whole list.
#include "bench/BenchData.h"
#include "host/LogClass.h"
#include "lookup/builtin/KwDomainsLookup.h"
#include "text/LocaleBytes.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>

namespace {

using namespace kwlookup;

/// A finder without keys, which tests each entry.
class WalkFinder : public KwLookupFinder {
public:
    explicit WalkFinder(const std::string& domain) : m_domain(domain) {}

    bool Match(const std::string& entry) const override {
        if (m_domain.size() == entry.size())
            return m_bytes.EqualNoCase(m_domain, entry);
        if (m_domain.size() < entry.size())
            return false;
        const std::size_t start = m_domain.size() - entry.size();
        return m_domain[start - 1] == '.' &&
               m_bytes.EqualNoCase(std::string_view(m_domain).substr(start), entry);
    }
    TextRange GetRequest() const override { return TextRange(m_domain.begin(), m_domain.end()); }

private:
    const std::string& m_domain;
    const LocaleBytes& m_bytes = LocaleBytes::Current();
};

struct Setting {
    Setting() {
        AddressSource source(21);
        Random random(22);
        const std::string file_name = DataFile("domains");
        {
            std::ofstream file(file_name);
            for (std::size_t i = 0; i < LIST_SIZE; ++i) {
                const std::string address = source.Next();
                const std::string domain =
                    std::to_string(i) + address.substr(address.find('@') + 1);
                file << domain << '\n';
                if (random.Below(LIST_SIZE / 2000) == 0) {
                    questions.push_back("mx.mail." + domain);
                    questions.push_back("mail.x" + domain);
                }
            }
        }
        list.Init("file:" + file_name);
        if (list.Empty())
            Fail("cannot load " + file_name);
        // Both finders must give the same answers, and every second one is a hit.
        for (std::size_t i = 0; i < 20; ++i)
            if (Walk(questions[i]) != (i % 2 == 0) || Keyed(questions[i]) != (i % 2 == 0))
                Fail("a wrong answer for " + questions[i]);
    }

    bool Keyed(const std::string& domain) const {
        return list.FindDomain(TextRange(domain.begin(), domain.end()), true);
    }

    bool Walk(const std::string& domain) const {
        return list.KwLookupHolder::Find(WalkFinder(domain), nullptr, FIND_DOMAIN | FIND_NOCASE,
                                         nullptr);
    }

    const LogClass log{""};
    KwDomainsLookup list{log};
    std::vector<std::string> questions;
};

const Setting& TheSetting() {
    static const Setting setting;
    return setting;
}

void AskKeyed(benchmark::State& state) {
    const Setting& setting = TheSetting();
    std::size_t found = 0;
    for (auto _ : state)
        for (const std::string& question : setting.questions)
            found += setting.Keyed(question);
    if (2 * found != static_cast<std::size_t>(state.iterations()) * setting.questions.size())
        Fail("wrong answers");
    state.SetItemsProcessed(
        static_cast<std::int64_t>(state.iterations() * setting.questions.size()));
}
BENCHMARK(AskKeyed)->Name("domains/kwlookup");

void AskByWalk(benchmark::State& state) {
    const Setting& setting = TheSetting();
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            setting.Walk(setting.questions[next++ % setting.questions.size()]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AskByWalk)->Name("domains/walk")->Iterations(20);

} // namespace
