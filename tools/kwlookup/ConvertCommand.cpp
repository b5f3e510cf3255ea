// SPDX-License-Identifier: MIT
#include "ConvertCommand.h"

#include "ExitStatus.h"
#include "SourceFile.h"
#include "TableSource.h"
#include "text/AsciiLower.h"
#include "text/LocaleBytes.h"
#include "tools/lists/BoundedWarnings.h"
#include "tools/lists/ForeignSyntax.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <iostream>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace kwlookup {

namespace {

struct Record {
    std::string key;
    std::string value;
};

/// Sorts keys by the order in which mail servers search for them: the address, its domain, the
/// parent domains from the longest to the shortest, the local part. In a list the first line that
/// matches answers.
std::tuple<int, std::size_t> Place(const Record& record) {
    const std::string& key = record.key;
    const std::size_t at = key.rfind('@');
    if (at == key.size() - 1)
        return {3, 0};
    if (at != std::string::npos && at != 0)
        return {0, 0};
    return key.front() == '.' ? std::make_tuple(2, std::string::npos - key.size())
                              : std::make_tuple(1, std::size_t(0));
}

} // namespace

int RunConvertCommand(const std::string& input, Warnings::Mode mode, const LogClass& log) {
    SourceFile file(input);
    Warnings warnings(mode, log);
    std::vector<Record> records;
    std::unordered_map<std::string, std::size_t> lines;
    bool good = true;
    {
        BoundedWarnings bounded(warnings, file.GetName());
        const LocaleBytes& bytes = LocaleBytes::Current();
        const auto add = [&](std::string_view key, std::string_view value, std::size_t line) {
            std::string lower = AsciiLowerCase(std::string(key));
            const auto [first, is_new] = lines.emplace(std::move(lower), line);
            const std::string name(key);
            if (!is_new) {
                bounded.Add(line, "duplicate keys",
                            "'" + name + "' is already in line " + std::to_string(first->second) +
                                "; this one is left out");
                return;
            }
            if (std::any_of(key.begin(), key.end(),
                            [&bytes](char c) { return bytes.IsSpace(c); })) {
                ReportError(log,
                            file.GetName() + ":" + std::to_string(line) + ": the key '" + name +
                                "' holds white space, which a list cannot express; it is left out");
                good = false;
                return;
            }
            const std::string foreign = ForeignKey(key);
            const bool warned_already = key.back() == ':'; // by ReadTableSource()
            if (!foreign.empty() && !warned_already)
                bounded.Add(line, "keys in another program's syntax", foreign);
            records.push_back({name, std::string(value)});
        };
        ReadTableSource(file.GetLines(), file.GetName(), SourceFormat::Postmap, warnings, add);
    }
    std::stable_sort(records.begin(), records.end(),
                     [](const Record& l, const Record& r) { return Place(l) < Place(r); });
    for (const Record& record : records)
        std::cout << record.key << ' ' << record.value << '\n';
    return good && warnings.GetErrorCount() == 0 ? ExitStatus::Found : ExitStatus::BadList;
}

} // namespace kwlookup
