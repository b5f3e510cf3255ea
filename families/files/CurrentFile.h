// SPDX-License-Identifier: MIT
#pragma once

#include "text/Platform.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace kwlookup {

/// The open database behind a file name. It is opened on first use, and again after the file was
/// replaced, which is checked once a second.
///
/// `Database` has `bool IsCurrent() const`, which is true while the name still names the open file.
///
/// Threads: one at a time.
template <typename Database>
class CurrentFile {
public:
    /// `open()` returns a std::unique_ptr<Database>. Exceptions of `open()` and IsCurrent() pass
    /// through, and the next call opens again. The reference is valid until the next call.
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
    /// The coarse clock, because every search reads it.
    static std::int64_t Seconds() { return CoarseNanoseconds() / 1000000000; }

    std::unique_ptr<Database> m_database;
    std::int64_t m_checked = 0;
};

} // namespace kwlookup
