// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/KwStorageValuesMap.h"

#include <boost/range/iterator_range_core.hpp>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// The exception of BatchStorage: a batch could not be stored.
class KW_EXPORT BatchFault : public std::runtime_error {
public:
    /// `record` is the position in the batch, from 0 on, of the record that failed. When no single
    /// record failed it is the size of the batch. `is_unknown` is true when the batch may have been
    /// stored, for example when the connection was lost at the end of the transaction.
    BatchFault(const std::string& reason, std::size_t record, bool is_unknown)
        : std::runtime_error(reason), m_record(record), m_is_unknown(is_unknown) {}

    /// Returns the position of the record that failed, or the size of the batch.
    std::size_t GetRecord() const { return m_record; }
    /// Returns true when the batch may have been stored.
    bool IsUnknown() const { return m_is_unknown; }

private:
    std::size_t m_record;
    bool m_is_unknown;
};

/// Stores many records at once. A storage that can do so derives from it, besides KwIfStorage. A
/// caller finds out with dynamic_cast.
class KW_EXPORT BatchStorage {
public:
    /// An array of records.
    using Records = boost::iterator_range<const KwStorageValuesMap*>;

    virtual ~BatchStorage() = default;

    /// Stores all records, in order, in one transaction, so either all or none of them. Throws
    /// BatchFault on failure, whatever `OnError` says.
    ///
    /// Threads: may be called by several threads at once.
    virtual void StoreBatch(const Records& records) = 0;
};

} // namespace kwlookup
