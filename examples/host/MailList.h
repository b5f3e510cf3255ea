// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <atomic>
#include <memory>
#include <string>

/// A list that can be asked while it is loaded again. Asking takes no lock, so that a child that
/// the program forks can go on asking.
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
    /// One loaded list. Two take turns: a new one fills the place that nobody reads any more.
    struct Place {
        std::unique_ptr<const KwLookupHolder> holder;
        mutable std::atomic<int> readers{0};

        /// False when somebody still reads it after a second.
        bool WaitForReaders() const;
    };

    /// Keeps the list that is current when it is made, as long as it lives.
    class Reading {
    public:
        explicit Reading(const MailList& list);
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        ~Reading() { --m_place->readers; }

        const KwLookupHolder& GetHolder() const { return *m_place->holder; }

    private:
        const Place* m_place;
    };

    std::string m_text;
    LogClass& m_log;
    Place m_places[2];
    std::atomic<int> m_current{0};
};
