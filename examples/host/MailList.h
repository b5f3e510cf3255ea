// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <atomic>
#include <memory>
#include <string>

/// A list that can be searched while it is loaded again. A search takes no lock, so a forked child
/// can go on searching.
///
/// Threads: any number of threads may call Ask(). Only one thread at a time may call Load().
class MailList {
public:
    /// `text` is the object list. Keeps the address of `log`. Does not load the list.
    MailList(std::string text, LogClass& log);

    /// Loads the list and uses it from then on. When a part of it cannot be loaded, throws a
    /// std::exception and keeps the old list.
    void Load();

    /// Returns true when `address` is on the list, and sets `result`.
    bool Ask(const std::string& address, std::string& result) const;

private:
    /// One loaded list. Two places take turns: a new list fills the one without readers.
    struct Place {
        std::unique_ptr<const KwLookupHolder> holder;
        mutable std::atomic<int> readers{0};

        /// Returns false when it still has readers after a second.
        bool WaitForReaders() const;
    };

    /// Keeps the current list alive during a search.
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
