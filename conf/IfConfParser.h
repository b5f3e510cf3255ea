// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

/// A configuration parser as those see it who own variables: a place to register them.
///
/// Setting the values is the concrete parser's (ConfParser). Slot order and the numbers of the
/// types are part of the binary interface.
class KW_EXPORT IfConfParser {
public:
    /// What a variable holds, and how text becomes its value. Times are in seconds, sizes in bytes.
    /// A newer plug-in may pass a number that is not listed here.
    enum VarType : unsigned {
        VT_UNSET = 0,       ///< nothing; every setting fails
        VT_INT = 1,         ///< int
        VT_BOOL = 2,        ///< bool
        VT_STRING = 3,      ///< std::string, one pair of enclosing double quotes removed
        VT_STRING_LIST = 4, ///< std::vector<std::string>
        VT_TIME = 5,        ///< int
        VT_SIZE = 6,        ///< long long
        VT_INT_LIST = 7,    ///< std::vector<int>
        VT_TIME_LIST = 8,   ///< std::vector<int>
        VT_SIZE_LIST = 9,   ///< std::vector<long long>
        VT_OBJECT = 10,     ///< a KwIfObject, whose Init() takes the text; see Add()
        VT_OBJECT_ALT = 11, ///< as VT_OBJECT
        VT_RAW_STRING = 12  ///< std::string, the text as it is
    };

    virtual ~IfConfParser() = default;

    /// Registers `var`, of the C++ type that `type` names, under `name`. `def` is null or the
    /// address of a default of the same type, used by VT_INT, VT_BOOL, VT_TIME and VT_SIZE when the
    /// text is empty. Both stay the caller's and must outlive the parser's last setting.
    ///
    /// For VT_OBJECT and VT_OBJECT_ALT `var` is the address of the object's KwIfObject. A class
    /// whose first base is a KwObjectHolder has it at its own address.
    virtual void Add(const std::string& name, void* var, VarType type, const void* def) = 0;
};
