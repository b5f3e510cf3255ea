// SPDX-License-Identifier: MIT
#pragma once

#include "objects/KwObjectHolder.h"

#include <boost/thread/lock_types.hpp>

/// Holds KwObjectHolder::m_lock, unless this thread holds it already.
///
/// A value in a configuration can be an object list (SkipDomains). The thread that holds the lock
/// to load that configuration then fills the list too.
class [[gnu::visibility("hidden")]] KwObjectHolder::RegistryLock {
public:
    RegistryLock();
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;
    ~RegistryLock();

    /// Returns true when this object took the lock.
    bool IsOutermost() const {
        return m_lock.owns_lock();
    }

private:
    boost::unique_lock<boost::mutex> m_lock;
};
