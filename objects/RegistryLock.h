// SPDX-License-Identifier: MIT
#pragma once

#include "objects/KwObjectHolder.h"

#include <boost/thread/lock_types.hpp>

/// Holds KwObjectHolder::m_lock.
///
/// A configuration value can be an object list (SkipDomains), which is then filled by the thread
/// that holds the lock to load that configuration. There this object does nothing.
class [[gnu::visibility("hidden")]] KwObjectHolder::RegistryLock {
public:
    RegistryLock();
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;
    ~RegistryLock();

    /// True when this object took the lock.
    bool IsOutermost() const {
        return m_lock.owns_lock();
    }

private:
    boost::unique_lock<boost::mutex> m_lock;
};
