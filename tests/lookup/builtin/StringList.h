// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/KwVectorStrLookup.h"

#include <string>
#include <vector>

/// Fills the base class directly.
class StringList : public KwVectorStrLookup {
public:
    StringList() = default;
    explicit StringList(const std::vector<std::string>& values) {
        for (const std::string& value : values)
            Init(value);
    }

    void Init(const std::string& value) override {
        std::string copy = value;
        Push(copy);
    }
    std::string GetDescription() const override { return std::string(); }
};
