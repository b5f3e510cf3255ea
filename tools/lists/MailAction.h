// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// What the result of a list tells a mail server to do, in words like those of Postfix's access
/// tables. Letter case does not matter.
///
///     OK, ACCEPT                      let it pass
///     DUNNO                           as if nothing had been found
///     REJECT [TEXT]                   refuse, with 550 5.7.1
///     DEFER [TEXT]                    refuse for now, with 451 4.7.1; also DEFER_IF_PERMIT and
///                                     DEFER_IF_REJECT
///     4NN [TEXT], 5NN [TEXT]          refuse with this code
///     DISCARD                         accept the message and throw it away
///     HOLD [REASON], QUARANTINE [..]  put the message into quarantine
///     PREPEND NAME: VALUE             add this header to the message
///
/// TEXT may begin with an enhanced status code, such as 5.7.1.
struct MailAction {
    enum Kind { Pass, Dunno, Refuse, Discard, Hold, AddHeader };

    Kind kind = Dunno;
    /// Refuse: the whole reply to the client, a line of printable ASCII such as "550 5.7.1 Access
    /// denied". Hold: the reason. AddHeader: the name.
    std::string text;
    std::string value;    ///< AddHeader
    bool is_known = true; ///< false if it stands for a result that is no action

    /// Reads a result. One that is no action, has a line end or a NUL, or more than 8192 bytes,
    /// refuses for now with "451 4.3.5 Server configuration error", so that a misspelt action
    /// loses no mail.
    static MailAction FromResult(std::string_view result);

    /// The action for a value without a result: REJECT.
    static MailAction ForPlainMatch();

    /// The action where a list could not be asked: refuse for now with 451 4.3.0.
    static MailAction ForFault();
};

} // namespace kwlookup
