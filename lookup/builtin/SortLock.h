// SPDX-License-Identifier: MIT
#pragma once

#include <boost/thread/mutex.hpp>

namespace kwlookup {

/// The lock under which a list whose lock is `own` is sorted once.
///
/// A thread that was sorting when another one forked is not there in the child, and `own` stays
/// locked in the child for ever. So the lists of a forked process share a lock of its own, which no
/// fork finds locked by a thread that goes: fork waits for it.
boost::mutex& SortLock(boost::mutex& own);

} // namespace kwlookup
