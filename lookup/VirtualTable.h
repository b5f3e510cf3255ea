// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>

namespace kwlookup {

// The binary interface between library, hosts and plug-ins is the order of slots in virtual tables.
// These functions read only the table of an object, so that the library recognises its own classes
// without type information, which hosts and plug-ins may lack.

/// Returns the virtual table of `object`, which identifies the most derived class. Its address is
/// the first member of an object.
template <typename Object>
const void* VirtualTableOf(const Object& object) {
    const void* table;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof(table));
    return table;
}

/// Returns slot `number`, counted from 0, of the virtual table of `object`.
template <typename Object>
const void* SlotOf(const Object& object, std::size_t number) {
    const void* slot;
    std::memcpy(&slot, static_cast<const char*>(VirtualTableOf(object)) + number * sizeof(slot),
                sizeof(slot));
    return slot;
}

/// Returns true when `object` has type information, which dynamic_cast needs.
template <typename Object>
bool HasTypeInformation(const Object& object) {
    const void* information;
    std::memcpy(&information,
                static_cast<const char*>(VirtualTableOf(object)) - sizeof(information),
                sizeof(information));
    return information != nullptr;
}

} // namespace kwlookup
