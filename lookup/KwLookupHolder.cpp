// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"

#include "host/LogText.h"
#include "lookup/KwFactory.h"
#include "lookup/VirtualTable.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/KwStrLookup.h"

#include <stdexcept>

namespace {

using namespace kwlookup;
using Factory = KwFactory<KwIfLookup>;

const bool g_file = Factory::Instance().Register("file", KwFileLookup::Create);
const bool g_ldap = Factory::Instance().Register("ldap", nullptr);
const bool g_regex = Factory::Instance().Register("regex", nullptr);
const bool g_rfile = Factory::Instance().Register("rfile", nullptr);
const bool g_odbc = Factory::Instance().Register("odbc", nullptr);
const bool g_berkeley = Factory::Instance().Register("berkeley", nullptr);
const bool g_cdb = Factory::Instance().Register("cdb", nullptr);
const bool g_postgres = Factory::Instance().Register("postgres", nullptr);
const bool g_mysql = Factory::Instance().Register("mysql", nullptr);
const bool g_firebird = Factory::Instance().Register("firebird", nullptr);
const bool g_oracle = Factory::Instance().Register("oracle", nullptr);
const bool g_sqlite = Factory::Instance().Register("sqlite", nullptr);

/// Returns null for any other class, including derived ones. Does not use type information, which
/// items of plug-ins may lack.
const KwFileLookup* AsFileLookup(const KwIfLookup& lookup) {
    static const void* const table = VirtualTableOf<KwIfLookup>(KwFileLookup());
    return VirtualTableOf(lookup) == table ? static_cast<const KwFileLookup*>(&lookup) : nullptr;
}

void LogMatch(const LogClass& log, const KwLookupFinder& finder, const std::string& matched,
              const KwIfLookup& lookup) {
    const TextRange request = finder.GetRequest();
    std::string text = "KwLookupHolder::Find: found ";
    text.append(request.begin(), request.end());
    text += " matched with " + matched;
    const std::string description = lookup.GetDescription();
    if (!description.empty())
        text += " (from " + description + ")";
    LogText(log, log4cxx::Level::LEVEL_DEBUG, text);
}

} // namespace

KwLookupHolder::KwLookupHolder(const LogClass& log, Filter filter) : KwObjectHolder(filter, log) {}

KwLookupHolder::~KwLookupHolder() = default;

void KwLookupHolder::InitLog(const LogClass& log) {
    for (KwIfLookup& lookup : m_objects)
        lookup.InitLog(log);
}

void* KwLookupHolder::GetDefObject(const std::string& text) const {
    return static_cast<KwIfLookup*>(new KwStrLookup(text));
}

KwIfObject* KwLookupHolder::GetObjectByName(const std::string& type, const std::string& init_data,
                                            void*& lookup) const {
    const LookupCreator* creator = Factory::Instance().Lookup(type);
    if (!creator)
        throw std::runtime_error("unknown id '" + type + "'");
    KwIfLookup* made = *creator ? (*creator)(init_data) : nullptr;
    lookup = made;
    return made;
}

const char* KwLookupHolder::GetNameFromLib() const {
    return "CreateLookup";
}

const std::string& KwLookupHolder::GetNameForLog() const {
    static const std::string name = "lookup";
    return name;
}

KwIfSharedObject* KwLookupHolder::CreateObject(void* creator, const LogClass& log,
                                               void*& lookup) const {
    // The symbol may exist with a null address.
    KwIfSharedLookup* made = creator ? reinterpret_cast<PluginCreator>(creator)(log) : nullptr;
    lookup = static_cast<KwIfLookup*>(made);
    return made;
}

void KwLookupHolder::AddObject(void* object) {
    if (object)
        m_objects.push_back(static_cast<KwIfLookup*>(object));
}

void KwLookupHolder::ClearObjects() {
    m_objects.clear();
}

bool KwLookupHolder::Find(const KwLookupFinder& finder, std::string* res, int flags,
                          std::string* matched) const {
    const LogClass* own_log = GetLogPtr();
    std::string local_matched;
    if (!matched && own_log && own_log->isDebugEnabled())
        matched = &local_matched;

    bool found = false;
    const std::size_t count = m_objects.size();
    for (std::size_t i = 0; i < count; ++i) {
        const KwIfLookup& lookup = m_objects[i];
        std::string part;
        const LogClass* lookup_log = lookup.GetLogPtr();
        const LogClass* log = lookup_log ? lookup_log : own_log;
        if (!lookup.Find(finder, &part, flags, matched))
            continue;
        if (log && log->isDebugEnabled() && matched && !matched->empty())
            LogMatch(*log, finder, *matched, lookup);
        if (!res)
            return true;
        found = true;
        if (!part.empty()) {
            *res += ' ';
            *res += part;
        }
    }
    return found;
}

void KwLookupHolder::Fetch(const KwLookupFinder* const* finders, std::size_t count,
                           int flags) const noexcept {
    try {
        for (const KwIfLookup& lookup : m_objects)
            if (const KwFileLookup* file = AsFileLookup(lookup))
                file->Fetch(finders, count, flags);
    } catch (...) { // AsFileLookup() could not make its sample object; Fetch() is only a hint
    }
}
