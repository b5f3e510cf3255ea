// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"

#include <string>

/// One literal string: what an item of an object list without a type becomes.
///
/// Threads: searches may run at once; there is no mutable state.
class KW_EXPORT KwStrLookup : public KwIfLookup {
public:
    /// Stores a copy of `text`.
    explicit KwStrLookup(const std::string& text);

    /// Replaces the stored string by `text`.
    void Init(const std::string& text) override;
    /// Always empty.
    std::string GetDescription() const override;
    /// Does nothing: a string lookup does not log.
    void InitLog(const LogClass& log) override;
    /// Always null.
    const LogClass* GetLogPtr() const override;

    /// Without FIND_EXACT asks the finder's Match. When that is false, the finder's own result goes
    /// to `*res` (which must not be null), and the search matched exactly when it is not empty.
    /// With FIND_EXACT compares bytes, or upper-case forms under the global locale (FIND_NOCASE).
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

private:
    std::string m_str;
};
