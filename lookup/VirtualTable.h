// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>

namespace kwlookup {

// The binary interface between library, hosts and plug-ins is the order of slots in virtual tables.
// These functions read a table and nothing else of an object, so that the library can tell objects
// of its own from those of others, which may have no type information.

/// The virtual table of `object`, which begins with its address. It names the most derived class.
template <typename Object>
const void* VirtualTableOf(const Object& object) {
    const void* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof(table));
    return table;
}

/// What stands in slot `number`, counted from 0, of the virtual table of `object`.
template <typename Object>
const void* SlotOf(const Object& object, std::size_t number) {
    const void* slot;
    std::memcpy(&slot, static_cast<const char*>(VirtualTableOf(object)) + number * sizeof(slot),
                sizeof(slot));
    return slot;
}

} // namespace kwlookup
