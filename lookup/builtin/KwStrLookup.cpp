// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwStrLookup.h"

#include "text/LocaleBytes.h"

#include <string_view>

using namespace kwlookup;

KwStrLookup::KwStrLookup(const std::string& text) : m_str(text) {}

void KwStrLookup::Init(const std::string& text) {
    m_str = text;
}

std::string KwStrLookup::GetDescription() const {
    return std::string();
}

void KwStrLookup::InitLog(const LogClass&) {}

const LogClass* KwStrLookup::GetLogPtr() const {
    return nullptr;
}

bool KwStrLookup::Find(const KwLookupFinder& finder, std::string* res, int flags,
                       std::string* matched) const {
    if (!(flags & FIND_EXACT)) {
        if (!finder.Match(m_str)) {
            *res = finder.GetRes();
            finder.ClearRes();
            return !res->empty();
        }
    } else {
        const std::string_view request = ViewOf(finder.GetRequest());
        const bool equal = flags & FIND_NOCASE ? LocaleBytes::Current().EqualNoCase(request, m_str)
                                               : request == m_str;
        if (!equal)
            return false;
    }
    if (matched)
        *matched = m_str;
    return true;
}
