// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <memory>
#include <string>

/// A list that can be asked while it is loaded again.
///
/// Threads: any number may ask at once; Load() is called by one thread at a time.
class MailList {
public:
    /// `text` is the object list. Keeps the address of `log`. Nothing is loaded yet.
    MailList(std::string text, LogClass& log);

    /// Loads the list, and puts it in place only when all of it could be loaded. Otherwise throws a
    /// std::exception, and the list loaded before stays.
    void Load();

    /// True when `address` is on the list; `result` is what the list says of it.
    bool Ask(const std::string& address, std::string& result) const;

private:
    std::string m_text;
    LogClass& m_log;
    std::shared_ptr<const KwLookupHolder> m_holder;
};
