// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "kwhost/ConfFileLoader.h"
#include "lookup/KwLookupHolder.h"

#include <boost/make_shared.hpp>

#include <string>

namespace kwlookup {

/// A list with one item of a plug-in type, as a host has it.
class PluginList {
public:
    explicit PluginList(const std::string& item) {
        static const auto loader = boost::make_shared<ConfFileLoader>();
        KwObjectHolder::SetConfLoader(loader);
        m_holder.Init("\"" + item + "\"");
        KwObjectHolder::AfterReload(m_log);
    }

    bool operator()(const std::string& key, std::string& result) const {
        return m_holder.Find(Finder(key), &result, 0, nullptr);
    }

private:
    class Finder : public KwLookupFinder {
    public:
        explicit Finder(const std::string& key) : m_key(key) {}
        bool Match(const std::string& value) const override { return value == m_key; }
        TextRange GetRequest() const override { return TextRange(m_key.begin(), m_key.end()); }

    private:
        const std::string& m_key;
    };

    LogClass m_log{""};
    KwLookupHolder m_holder{m_log};
};

} // namespace kwlookup
