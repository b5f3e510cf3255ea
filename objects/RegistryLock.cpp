// SPDX-License-Identifier: MIT
#include "objects/RegistryLock.h"

namespace {

thread_local bool t_held = false;

} // namespace

KwObjectHolder::RegistryLock::RegistryLock() : m_lock(KwObjectHolder::m_lock, boost::defer_lock) {
    if (t_held)
        return;
    m_lock.lock();
    t_held = true;
}

KwObjectHolder::RegistryLock::~RegistryLock() {
    if (IsOutermost())
        t_held = false;
}
