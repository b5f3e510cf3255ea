// SPDX-License-Identifier: MIT
#pragma once

#include <iterator>
#include <map>
#include <memory>
#include <string>

namespace kwlookup {

/// The one `T` that everybody shares who asks with the same key, for as long as somebody has it.
///
/// Threads: called while a lookup is loaded, which the library does under its process-wide lock.
template <typename T>
class SharedByKey {
public:
    /// `make()` gives a std::shared_ptr<T>.
    template <typename MakeValue>
    static std::shared_ptr<T> Get(const std::string& key, MakeValue&& make) {
        Known& known = Known::Instance();
        known.ForgetOld();
        std::weak_ptr<T>& shared = known.values[key];
        std::shared_ptr<T> value = shared.lock();
        if (!value)
            shared = value = make();
        return value;
    }

private:
    struct Known {
        std::map<std::string, std::weak_ptr<T>> values;
        std::size_t enough = 16;

        static Known& Instance() {
            // Never freed, so that lookups may go after everything else.
            static Known& known = *new Known;
            return known;
        }

        /// Keeps the table in proportion to the values that are there.
        void ForgetOld() {
            if (values.size() < enough)
                return;
            for (auto entry = values.begin(); entry != values.end();)
                entry = entry->second.expired() ? values.erase(entry) : std::next(entry);
            enough = 2 * values.size() + 16;
        }
    };
};

} // namespace kwlookup
