// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdTransaction.h"

#include "plugins/firebird/FirebirdAttachment.h"
#include "plugins/firebird/FirebirdStatus.h"

namespace kwlookup {

FirebirdTransaction::FirebirdTransaction(FirebirdAttachment& attachment) {
    static const char OPTIONS[] = {isc_tpb_version3, isc_tpb_write, isc_tpb_read_committed,
                                   isc_tpb_rec_version, isc_tpb_wait};
    FirebirdStatus status;
    ::isc_start_transaction(status.Get(), &m_handle, 1, attachment.GetHandle(), sizeof(OPTIONS),
                            OPTIONS);
    status.Check();
}

FirebirdTransaction::~FirebirdTransaction() {
    FirebirdStatus status;
    if (m_handle != 0)
        ::isc_rollback_transaction(status.Get(), &m_handle);
}

void FirebirdTransaction::Commit() {
    FirebirdStatus status;
    ::isc_commit_transaction(status.Get(), &m_handle);
    status.Check();
}

} // namespace kwlookup
