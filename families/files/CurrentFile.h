// SPDX-License-Identifier: MIT
#pragma once

#include "text/Platform.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace kwlookup {

/// The open database behind a file name: opened when first asked for, and again once the file has
/// been replaced, which is looked for once a second.
///
/// `Database` has `bool IsCurrent() const`: is its file still what the name stands for?
///
/// Threads: one at a time.
template <typename Database>
class CurrentFile {
public:
    /// `open()` makes a std::unique_ptr<Database>; what it and IsCurrent() throw passes through,
    /// and the next call opens again. The reference holds until the next call.
    template <typename Open>
    Database& Get(Open&& open) {
        const std::int64_t now = Seconds();
        if (m_database && now != m_checked) {
            std::unique_ptr<Database> database = std::move(m_database);
            if (database->IsCurrent())
                m_database = std::move(database);
            m_checked = now;
        }
        if (!m_database) {
            m_database = open();
            m_checked = now;
        }
        return *m_database;
    }

private:
    /// A clock that costs next to nothing.
    static std::int64_t Seconds() { return CoarseNanoseconds() / 1000000000; }

    std::unique_ptr<Database> m_database;
    std::int64_t m_checked = 0;
};

} // namespace kwlookup
