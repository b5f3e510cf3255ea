// SPDX-License-Identifier: MIT
#include "lookup/PluginFigures.h"

#include <atomic>

namespace kwlookup {
namespace {

/// Never freed: there is one for each plug-in.
struct Reporter {
    const PluginFigures::Report report;
    Reporter* next;
};

/// The reporter that came last. Without a lock, which a child of fork(2) could find taken.
std::atomic<Reporter*> last_reporter{nullptr};

} // namespace

void PluginFigures::Register(Report report) {
    auto* const reporter = new Reporter{report, last_reporter.load()};
    while (!last_reporter.compare_exchange_weak(reporter->next, reporter)) {
    }
}

std::vector<PluginFigures::Figure> PluginFigures::GetAll() {
    std::vector<Figure> figures;
    for (const Reporter* reporter = last_reporter.load(); reporter; reporter = reporter->next)
        reporter->report(figures);
    return figures;
}

} // namespace kwlookup
