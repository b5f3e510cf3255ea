// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "lookup/config/KwLookupSharedConf.h"

#include <boost/shared_ptr.hpp>

#include <string>

/// The base of configurable plug-in lookups: a lookup with a configuration and a template into
/// which the searched text is put. A new plug-in derives from kwlookup::PluginLookup, which
/// supplies most of the following.
///
/// A plug-in supplies
///   - its KwLookupSharedConf, and CreateLocalConf();
///   - MakePreInit() and PostInit(), which it forwards to its type-wide configuration;
///   - Init(), which calls ParseInitData() and keeps the template;
///   - Find().
///
/// A template may hold codes:
///   - `$s`: the searched text;
///   - `$u`: the text before its first '@', or all of it without an '@'; empty with FIND_DOMAIN;
///   - `$d`: the text after its first '@'; empty without an '@'; all of it with FIND_DOMAIN;
///   - `$$`: a dollar sign.
/// A lone '$' at the end is dropped. Codes in the text that was put in are not expanded.
///
/// Threads: const operations may be called by several threads at once.
class KW_EXPORT KwLookupWithConfig : public KwIfSharedLookup {
public:
    /// Appends the part of the searched text from `begin` to `end` to `out`, in the form that the
    /// plug-in's query needs. `flags` are those of the search.
    using ExpandOutputFunc = void (*)(const char* begin, const char* end, std::string& out,
                                      int flags);

    /// `conf` is the type-wide configuration. The caller owns it; it must outlive the lookup.
    explicit KwLookupWithConfig(KwLookupSharedConf* conf);
    ~KwLookupWithConfig() override;
    KwLookupWithConfig(const KwLookupWithConfig&) = delete;
    KwLookupWithConfig& operator=(const KwLookupWithConfig&) = delete;

    /// Returns true.
    bool IsNeedCofigLoading() const override;

    /// Splits init data, `NAME=VALUE|NAME=VALUE|TEMPLATE`, at bars (ConfParser::SplitVector), and
    /// returns the template. Settings make a local configuration, which replaces that of an earlier
    /// call. Without settings the configuration stays.
    ///
    /// Throws std::invalid_argument "wrong empty data" and "wrong empty request", and what
    /// SplitVector and KwLookupSharedConf::LoadLocal() throw. The configuration then stays, and the
    /// lookup must not be used. Must not be called while the lookup is searched.
    std::string ParseInitData(const std::string& data);

    /// Returns the template `filter` with its codes replaced. `func` writes the text for each code
    /// but `$$`. Throws std::invalid_argument "unrecognize expansion in 'FILTER'" for any other
    /// code.
    std::string ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             ExpandOutputFunc func) const;
    /// Does the same with AssignValue().
    std::string ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags) const;
    /// Does the same without a copy when there is nothing to expand: returns `filter` itself when
    /// it holds no '$'. Otherwise puts the expansion into `buffer` and returns its characters.
    const char* ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             std::string& buffer, ExpandOutputFunc func) const;
    /// Does the same with AssignValue().
    const char* ExpandFilter(const char* filter, const KwLookupFinder& finder, int flags,
                             std::string& buffer) const;

    /// Appends the text for `$d`.
    void ExpandDomain(const KwLookupFinder& finder, int flags, ExpandOutputFunc func,
                      std::string& out) const;
    /// Appends the text for `$u`.
    void ExpandUsername(const KwLookupFinder& finder, int flags, ExpandOutputFunc func,
                        std::string& out) const;

    /// Appends the text from `begin` to `end` unchanged. With FIND_STRIP_BRACKETS, leaves out a '<'
    /// at its start, and then removes a '>' at the end of `out`, even one that was there before.
    static void AssignValue(const char* begin, const char* end, std::string& out, int flags);

    /// Appends `length` bytes of `text`. Writes a line feed as "\n", and a backslash before each
    /// comma and backslash.
    static void QuoteOutput(const char* text, unsigned length, std::string& out);

    /// Returns true when the domain of the searched text, or with FIND_DOMAIN the text itself, is
    /// on the list `SkipDomains`. The search must then return false at once. A sub-domain of a
    /// listed domain is not on the list. Writes "Skipping lookup of TEXT due to SkipDomains" at
    /// debug level.
    bool CheckSkipDomains(const KwLookupFinder& finder, int flags) const;

protected:
    /// Makes an empty configuration of the plug-in's own class. Its GetGlobal() is the type-wide
    /// one. The caller owns it.
    virtual KwLookupSharedConf* CreateLocalConf() = 0;

    /// The configuration of the settings in the init data; null without settings.
    boost::shared_ptr<KwLookupSharedConf> m_local_conf;
    /// The configuration of this lookup: m_local_conf if it is loaded, otherwise the type-wide one.
    KwLookupSharedConf* m_conf;
};
