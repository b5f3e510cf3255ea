// SPDX-License-Identifier: MIT
#include "MailList.h"

#include "host/AddressFinder.h"

#include <utility>

MailList::MailList(std::string text, LogClass& log)
    : m_text(std::move(text)), m_log(log), m_holder(std::make_shared<KwLookupHolder>(log)) {}

void MailList::Load() {
    KwObjectHolder::BeforeReload(m_log);
    auto fresh = std::make_shared<KwLookupHolder>(m_log);
    fresh->Init(m_text);
    KwObjectHolder::AfterReload(m_log);
    std::atomic_store(&m_holder, std::shared_ptr<const KwLookupHolder>(std::move(fresh)));
}

bool MailList::Ask(const std::string& address, std::string& result) const {
    const std::shared_ptr<const KwLookupHolder> holder = std::atomic_load(&m_holder);
    const AddressFinder finder(address);
    std::string gathered, matched;
    if (!holder->Find(finder, &gathered, 0, &matched))
        return false;
    // Each result that the items gave stands after a blank; without any it is a plain match.
    result = gathered.empty() ? matched : gathered.substr(1);
    return true;
}
