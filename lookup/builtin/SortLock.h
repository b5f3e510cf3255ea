// SPDX-License-Identifier: MIT
#pragma once

#include <boost/thread/mutex.hpp>

namespace kwlookup {

/// Returns the lock to hold while sorting a list whose own lock is `own`.
///
/// A thread that sorts a list while another thread forks does not exist in the child, where `own`
/// then stays locked for ever. So all lists of a forked process share another lock. A fork waits
/// for that lock, so it is never held by a thread that is gone.
boost::mutex& SortLock(boost::mutex& own);

} // namespace kwlookup
