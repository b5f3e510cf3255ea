// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "lookup/config/KwLookupSharedConf.h"

#include <boost/shared_ptr.hpp>

#include <string>

/// The base of configurable lookups from plug-ins: a lookup with a configuration, and with a
/// template that is expanded with the searched text.
///
/// A plug-in supplies its KwLookupSharedConf, CreateLocalConf(), the two operations of
/// InterfaceConfHolder, which it forwards to its type-wide configuration, Init(), which calls
/// ParseInitData() and keeps the template, and Find(). All that is const here may be called by
/// several threads at once.
///
/// A template may hold codes:
///   - `$s`: the whole searched text;
///   - `$u`: what stands before its first '@', or all of it where there is none; nothing under
///     FIND_DOMAIN;
///   - `$d`: what follows its first '@'; nothing where there is none; all of it under FIND_DOMAIN;
///   - `$$`: a dollar sign.
/// A lone '$' at the end is dropped. What was put in is not looked at again.
class KW_EXPORT KwLookupWithConfig : public KwIfSharedLookup {
public:
    /// Appends the piece `begin` to `end` of the searched text to `out`, in the form that the
    /// plug-in's query needs. `flags` are those of the search.
    using ExpandOutputFunc = void (*)(const char* begin, const char* end, std::string& out,
                                      int flags);

    /// `conf` is the type-wide configuration, which stays the caller's and must outlive the lookup.
    explicit KwLookupWithConfig(KwLookupSharedConf* conf);
    ~KwLookupWithConfig() override;
    KwLookupWithConfig(const KwLookupWithConfig&) = delete;
    KwLookupWithConfig& operator=(const KwLookupWithConfig&) = delete;

    /// True.
    bool IsNeedCofigLoading() const override;

    /// Splits init data, `NAME=VALUE|NAME=VALUE|TEMPLATE`, at bars (ConfParser::SplitVector). The
    /// settings, if any, make a local configuration, in place of that of an earlier call; without
    /// any, the configuration stays. Returns the template.
    ///
    /// Throws std::invalid_argument "wrong empty data", "wrong empty request", and what SplitVector
    /// and KwLookupSharedConf::LoadLocal() throw; the configuration to ask then stays what it was,
    /// and the lookup must not be used. Not to be called while the lookup is searched.
    std::string ParseInitData(const std::string& data);

    /// The template `filter` with its codes replaced, each but `$$` through `func`. Throws
    /// std::invalid_argument "unrecognize expansion in 'FILTER'" for any other code.
    std::string ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             ExpandOutputFunc func) const;
    /// With AssignValue().
    std::string ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags) const;
    /// Without a copy where there is nothing to expand: returns `filter` itself when it holds no
    /// '$', and else the characters of `buffer`, which then holds the expansion.
    const char* ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             std::string& buffer, ExpandOutputFunc func) const;
    /// The same with AssignValue().
    const char* ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             std::string& buffer) const;

    /// Appends what `$d` stands for.
    void ExpandDomain(const KwLookupFinder& finder, int flags, ExpandOutputFunc func,
                      std::string& out) const;
    /// Appends what `$u` stands for.
    void ExpandUsername(const KwLookupFinder& finder, int flags, ExpandOutputFunc func,
                        std::string& out) const;

    /// Appends the piece as it is. Under FIND_STRIP_BRACKETS without a '<' at its start, and then
    /// without a '>' at the end of `out`, whoever wrote it.
    static void AssignValue(const char* begin, const char* end, std::string& out, int flags);

    /// Appends `length` bytes of `text`: a line feed as "\n", a comma and a backslash after a
    /// backslash.
    static void QuoteOutput(const char* text, unsigned length, std::string& out);

    /// True when the domain of the searched text (the text itself under FIND_DOMAIN) is on the
    /// list `SkipDomains`: the search is to answer "no match" without asking. Sub-domains of a
    /// listed domain are not on it. Writes "Skipping lookup of TEXT due to SkipDomains" at debug
    /// level.
    bool CheckSkipDomains(const KwLookupFinder& finder, int flags) const;

protected:
    /// A new, empty configuration of the plug-in's own class whose GetGlobal() is the type-wide
    /// one. The caller owns it.
    virtual KwLookupSharedConf* CreateLocalConf() = 0;

    /// The configuration that ParseInitData() made; null without settings.
    boost::shared_ptr<KwLookupSharedConf> m_local_conf;
    /// The configuration to ask: the local one once it is loaded, else the type-wide one.
    KwLookupSharedConf* m_conf;
};
