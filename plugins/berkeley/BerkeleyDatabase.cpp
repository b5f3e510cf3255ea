// SPDX-License-Identifier: MIT
#include "plugins/berkeley/BerkeleyDatabase.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <sys/stat.h>

namespace {

std::string_view TextOf(const DBT& value) {
    return {static_cast<const char*>(value.data), value.size};
}

/// Errors come back as numbers; nothing is written to standard error.
void IgnoreMessage(const DB_ENV*, const char*, const char*) {}

} // namespace

BerkeleyDatabase::BerkeleyDatabase(const std::string& name) : m_name(name), m_stamp(name) {
    DB* db = nullptr;
    if (const int error = ::db_create(&db, nullptr, 0))
        Fail(error);
    m_db.reset(db);
    db->set_errcall(db, IgnoreMessage);
    // A damaged page is to fail the searches that need it, not all of them from then on.
    DB_ENV* const environment = db->get_env(db);
    if (const int error = environment->set_flags(environment, DB_NOPANIC, 1))
        Fail(error);
    if (const int error = db->open(db, nullptr, name.c_str(), nullptr, DB_UNKNOWN, DB_RDONLY, 0))
        Fail(error);
    DBTYPE type = DB_UNKNOWN;
    if (const int error = db->get_type(db, &type))
        Fail(error);
    if (type != DB_HASH && type != DB_BTREE)
        throw std::runtime_error(m_name + ": neither a hash nor a btree");
    if (db->get_multiple(db))
        throw std::runtime_error(m_name + ": holds several databases");
    if (type == DB_HASH)
        CheckSize(&DB_HASH_STAT::hash_pagecnt, &DB_HASH_STAT::hash_pagesize);
    else
        CheckSize(&DB_BTREE_STAT::bt_pagecnt, &DB_BTREE_STAT::bt_pagesize);
}

bool BerkeleyDatabase::Find(std::string_view text, bool all, Values& values) {
    DBT key = {};
    key.data = const_cast<char*>(text.data());
    key.size = static_cast<u_int32_t>(text.size());
    if (all)
        return FindAll(key, values);
    DBT value = {};
    const int error = m_db->get(m_db.get(), nullptr, &key, &value, 0);
    if (error == DB_NOTFOUND)
        return false;
    if (error != 0)
        Fail(error);
    values.Add(TextOf(value));
    return true;
}

bool BerkeleyDatabase::FindAll(DBT& key, Values& values) {
    DBC* opened = nullptr;
    if (const int error = m_db->cursor(m_db.get(), nullptr, &opened, 0))
        Fail(error);
    const std::unique_ptr<DBC, Close> cursor(opened);
    DBT value = {};
    int error = opened->get(opened, &key, &value, DB_SET);
    if (error == DB_NOTFOUND)
        return false;
    for (; error == 0; error = opened->get(opened, &key, &value, DB_NEXT_DUP))
        values.Add(TextOf(value));
    if (error != DB_NOTFOUND)
        Fail(error);
    return true;
}

// A page behind the end of the file would be taken for an empty one.
template <typename Stat>
void BerkeleyDatabase::CheckSize(u_int32_t Stat::*pages, u_int32_t Stat::*page_size) {
    void* made = nullptr;
    if (const int error = m_db->stat(m_db.get(), nullptr, &made, DB_FAST_STAT))
        Fail(error);
    const std::unique_ptr<void, decltype(&std::free)> owned(made, std::free);
    const Stat& sizes = *static_cast<const Stat*>(made);
    int file = -1;
    if (const int error = m_db->fd(m_db.get(), &file))
        Fail(error);
    struct stat status;
    if (::fstat(file, &status) != 0)
        Fail(errno);
    if (status.st_size < std::int64_t(sizes.*pages) * (sizes.*page_size))
        Fail(DB_PAGE_NOTFOUND);
}

void BerkeleyDatabase::Fail(int error) const {
    const bool foreign = error == EINVAL || error == DB_OLD_VERSION || error == DB_PAGE_NOTFOUND ||
                         error == DB_RUNRECOVERY;
    throw std::runtime_error(m_name + ": " +
                             (foreign ? "not a whole Berkeley DB file" : ::db_strerror(error)));
}
