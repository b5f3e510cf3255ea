// SPDX-License-Identifier: MIT
#pragma once

#include <iterator>
#include <map>
#include <memory>
#include <string>

namespace kwlookup {

/// Shares one `T` between all who use the same key, as long as one of them keeps it.
template <typename T>
class SharedByKey {
public:
    /// `make()` returns a std::shared_ptr<T>.
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
            // Never freed, so that lookups may be destroyed at any time.
            static Known& known = *new Known;
            return known;
        }

        /// Remove expired entries, so that the table stays proportional to the number of values.
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
