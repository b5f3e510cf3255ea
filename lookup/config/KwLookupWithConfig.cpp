// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupWithConfig.h"

#include "conf/ConfParser.h"
#include "host/LogText.h"
#include "lookup/config/TemplateCodes.h"
#include "text/LocaleBytes.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace {

using namespace kwlookup;

void Output(std::string_view piece, std::string& out, int flags,
            KwLookupWithConfig::ExpandOutputFunc func) {
    func(piece.data(), piece.data() + piece.size(), out, flags);
}

using ConfPtr = boost::shared_ptr<KwLookupSharedConf>;

/// Deletes a local configuration. Until its settings are found to be good, keeps the one before it
/// alive, which is still in use.
struct DeleteLater {
    ConfPtr previous;

    void operator()(KwLookupSharedConf* conf) const {
        std::default_delete<KwLookupSharedConf>()(conf);
    }
};

/// Returns the owner of `conf`, which is `newest`, the configuration that it keeps alive, or the
/// type-wide one. The last has no owner here.
ConfPtr OwnerOf(const KwLookupSharedConf* conf, const ConfPtr& newest) {
    if (newest.get() == conf)
        return newest;
    const DeleteLater* const kept = boost::get_deleter<DeleteLater>(newest);
    return kept ? kept->previous : ConfPtr();
}

} // namespace

KwLookupWithConfig::KwLookupWithConfig(KwLookupSharedConf* conf) : m_conf(conf) {}

KwLookupWithConfig::~KwLookupWithConfig() = default;

bool KwLookupWithConfig::IsNeedCofigLoading() const {
    return true;
}

std::string KwLookupWithConfig::ParseInitData(const std::string& data) {
    std::vector<std::string> parts;
    ConfParser::SplitVector(data, parts, '|');
    if (parts.empty())
        throw std::invalid_argument("wrong empty data");
    std::string request = std::move(parts.back());
    LocaleBytes::Current().Trim(request);
    if (request.empty())
        throw std::invalid_argument("wrong empty request");
    parts.pop_back();

    if (parts.empty())
        return request;
    m_local_conf.reset(CreateLocalConf(), DeleteLater{OwnerOf(m_conf, m_local_conf)});
    if (const LogClass* log = GetLogPtr())
        m_local_conf->SetLog(*log);
    m_local_conf->LoadLocal(parts);
    m_conf = m_local_conf.get();
    boost::get_deleter<DeleteLater>(m_local_conf)->previous.reset();
    return request;
}

std::string KwLookupWithConfig::ExpandFilter(const char* filter, const KwLookupFinder& finder,
                                             int flags, ExpandOutputFunc func) const {
    const std::string_view text = filter;
    std::string result;
    result.reserve(text.size() + 30);
    kwlookup::ScanTemplate(
        text, [&](std::string_view piece) { result += piece; },
        [&](char code) { kwlookup::ExpandCode(code, *this, finder, flags, func, result); });
    return result;
}

std::string KwLookupWithConfig::ExpandFilter(const char* filter, const KwLookupFinder& finder,
                                             int flags) const {
    return ExpandFilter(filter, finder, flags, AssignValue);
}

const char* KwLookupWithConfig::ExpandFilter(const char* filter, const KwLookupFinder& finder,
                                             int flags, std::string& buffer,
                                             ExpandOutputFunc func) const {
    if (!std::strchr(filter, '$'))
        return filter;
    buffer = ExpandFilter(filter, finder, flags, func);
    return buffer.c_str();
}

const char* KwLookupWithConfig::ExpandFilter(const char* filter, const KwLookupFinder& finder,
                                             int flags, std::string& buffer) const {
    return ExpandFilter(filter, finder, flags, buffer, AssignValue);
}

void KwLookupWithConfig::ExpandDomain(const KwLookupFinder& finder, int flags,
                                      ExpandOutputFunc func, std::string& out) const {
    const std::string_view text = ViewOf(finder.GetRequest());
    if (flags & FIND_DOMAIN) {
        Output(text, out, flags, func);
        return;
    }
    const std::size_t at = text.find('@');
    if (at != std::string_view::npos)
        Output(text.substr(at + 1), out, flags, func);
}

void KwLookupWithConfig::ExpandUsername(const KwLookupFinder& finder, int flags,
                                        ExpandOutputFunc func, std::string& out) const {
    if (flags & FIND_DOMAIN)
        return;
    const std::string_view text = ViewOf(finder.GetRequest());
    Output(text.substr(0, text.find('@')), out, flags, func);
}

void KwLookupWithConfig::AssignValue(const char* begin, const char* end, std::string& out,
                                     int flags) {
    const bool strip = flags & FIND_STRIP_BRACKETS;
    if (strip && begin != end && *begin == '<')
        ++begin;
    out.append(begin, end);
    if (strip && !out.empty() && out.back() == '>')
        out.pop_back();
}

void KwLookupWithConfig::QuoteOutput(const char* text, unsigned length, std::string& out) {
    for (const char c : std::string_view(text, length)) {
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (c == ',' || c == '\\')
            out += '\\';
        out += c;
    }
}

bool KwLookupWithConfig::CheckSkipDomains(const KwLookupFinder& finder, int flags) const {
    const auto& domains = m_conf->GetVal<KwDomainsLookup>("SkipDomains");
    if (domains.Empty())
        return false;
    const TextRange text = finder.GetRequest();
    if (!domains.Find(text, flags, false))
        return false;
    const LogClass* log = GetLogPtr();
    if (log && log->isDebugEnabled())
        LogText(*log, log4cxx::Level::LEVEL_DEBUG,
                "Skipping lookup of " + std::string(text.begin(), text.end()) +
                    " due to SkipDomains");
    return true;
}
