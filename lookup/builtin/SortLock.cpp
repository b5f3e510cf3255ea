// SPDX-License-Identifier: MIT
#include "lookup/builtin/SortLock.h"

#include <pthread.h>

namespace kwlookup {

namespace {

bool g_forked = false;

boost::mutex& LockOfForkedProcess() {
    static boost::mutex lock;
    return lock;
}

void BeforeFork() {
    LockOfForkedProcess().lock();
}

void AfterForkInParent() {
    LockOfForkedProcess().unlock();
}

void AfterForkInChild() {
    g_forked = true;
    LockOfForkedProcess().unlock();
}

const int g_forks_are_seen = ::pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);

} // namespace

boost::mutex& SortLock(boost::mutex& own) {
    return g_forked ? LockOfForkedProcess() : own;
}

} // namespace kwlookup
