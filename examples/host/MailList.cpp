// SPDX-License-Identifier: MIT
#include "MailList.h"

#include "kwhost/AddressFinder.h"

#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

MailList::MailList(std::string text, LogClass& log) : m_text(std::move(text)), m_log(log) {
    m_places[0].holder = std::make_unique<KwLookupHolder>(log);
}

void MailList::Load() {
    KwObjectHolder::BeforeReload(m_log);
    auto fresh = std::make_unique<KwLookupHolder>(m_log);
    fresh->Init(m_text);
    KwObjectHolder::AfterReload(m_log);

    const int current = m_current;
    Place& next = m_places[1 - current];
    Place& old = m_places[current];
    if (!next.WaitForReaders())
        throw std::runtime_error("the list before the last one is still being searched");
    next.holder = std::move(fresh);
    m_current = 1 - current;
    if (old.WaitForReaders())
        old.holder.reset();
}

bool MailList::Place::WaitForReaders() const {
    constexpr int MILLISECONDS = 1000; // a search without plug-ins takes microseconds
    for (int i = 0; i < MILLISECONDS && readers != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return readers == 0;
}

MailList::Reading::Reading(const MailList& list) {
    for (;;) {
        const int current = list.m_current;
        m_place = &list.m_places[current];
        ++m_place->readers;
        // The list is now kept, unless it was replaced before this reader was counted.
        if (list.m_current == current)
            return;
        --m_place->readers;
    }
}

bool MailList::Ask(const std::string& address, std::string& result) const {
    const Reading reading(*this);
    const kwlookup::AddressFinder finder(address);
    std::string gathered, matched;
    if (!reading.GetHolder().Find(finder, &gathered, 0, &matched))
        return false;
    // Each result follows a blank. Without a result it is a plain match.
    result = gathered.empty() ? matched : gathered.substr(1);
    return true;
}
