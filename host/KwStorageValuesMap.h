// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <map>
#include <string>
#include <utility>

/// One record for a storage plug-in to store: named, typed values in text form.
class KW_EXPORT KwStorageValuesMap {
public:
    /// The type of a column. The numbers are part of the binary interface.
    enum Type { Int = 0, Varchar = 1, Timestamp = 2 };

    /// Maps each name to its type and text.
    std::map<std::string, std::pair<Type, std::string>> m_values;
};
