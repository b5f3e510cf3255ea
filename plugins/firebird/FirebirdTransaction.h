// SPDX-License-Identifier: MIT
#pragma once

#include <ibase.h>

namespace kwlookup {

class FirebirdAttachment;

/// A transaction that writes. It waits for other writers of the same rows.
///
/// Throws FirebirdFailure when a call fails. Threads: one at a time.
class FirebirdTransaction {
public:
    explicit FirebirdTransaction(FirebirdAttachment& attachment);

    /// Takes back what was not committed.
    ~FirebirdTransaction();
    FirebirdTransaction(const FirebirdTransaction&) = delete;
    FirebirdTransaction& operator=(const FirebirdTransaction&) = delete;

    void Commit();

    /// For calls of the client library.
    isc_tr_handle* GetHandle() { return &m_handle; }

private:
    isc_tr_handle m_handle = 0;
};

} // namespace kwlookup
