// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"

#include <string>

/// A lookup of one literal string: an item of an object list without a type.
///
/// Threads: searches may run at once; there is no mutable state.
class KW_EXPORT KwStrLookup : public KwIfLookup {
public:
    /// Stores a copy of `text`.
    explicit KwStrLookup(const std::string& text);

    /// Replaces the stored string by `text`.
    void Init(const std::string& text) override;
    /// Returns an empty text.
    std::string GetDescription() const override;
    /// Does nothing, since a string lookup does not log.
    void InitLog(const LogClass& log) override;
    /// Returns null.
    const LogClass* GetLogPtr() const override;

    /// Without FIND_EXACT, calls the finder's Match(). When that returns false, sets `*res`, which
    /// must not be null, to the finder's own result; the search matched if that is not empty.
    /// With FIND_EXACT, compares bytes or, with FIND_NOCASE, upper-case forms under the global
    /// locale.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

private:
    std::string m_str;
};
