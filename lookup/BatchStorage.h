// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/KwStorageValuesMap.h"

#include <boost/range/iterator_range_core.hpp>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// Why a batch was not stored.
class KW_EXPORT BatchFault : public std::runtime_error {
public:
    /// `record` is the number in the batch, from 0 on, of the record that failed, or that of all
    /// records where none of them did. `is_unknown` is true when the batch may be stored
    /// nevertheless, as when the connection was lost at the end of the transaction.
    BatchFault(const std::string& reason, std::size_t record, bool is_unknown)
        : std::runtime_error(reason), m_record(record), m_is_unknown(is_unknown) {}

    std::size_t GetRecord() const { return m_record; }
    bool IsUnknown() const { return m_is_unknown; }

private:
    std::size_t m_record;
    bool m_is_unknown;
};

/// What a storage may offer besides KwIfStorage, by deriving from it: to store many records at
/// once. A caller asks for it with dynamic_cast.
class KW_EXPORT BatchStorage {
public:
    /// Records in a row.
    using Records = boost::iterator_range<const KwStorageValuesMap*>;

    virtual ~BatchStorage() = default;

    /// Stores all records, in order, in one transaction: all of them or none. Throws BatchFault,
    /// whatever `OnError` says.
    ///
    /// Threads: any, at once.
    virtual void StoreBatch(const Records& records) = 0;
};

} // namespace kwlookup
