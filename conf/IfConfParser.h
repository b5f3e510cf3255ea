// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

/// The part of a configuration parser that the owners of variables use: they register them here.
/// The concrete parser sets the values (see ConfParser).
///
/// Slot order and the numbers of the types are part of the binary interface.
class KW_EXPORT IfConfParser {
public:
    /// The C++ type of a variable, and how a text is converted to it. Times are in seconds, sizes
    /// in bytes. A newer plug-in may pass a number that is not listed here.
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
        VT_OBJECT_ALT = 11, ///< the same as VT_OBJECT
        VT_RAW_STRING = 12  ///< std::string, the text unchanged
    };

    virtual ~IfConfParser() = default;

    /// Registers the variable at `var`, of the C++ type for `type`, under `name`. `def` is null or
    /// the address of a default of the same type. VT_INT, VT_BOOL, VT_TIME and VT_SIZE use it when
    /// the text is empty. The caller owns both, and they must be valid until the parser sets no
    /// more values.
    ///
    /// For VT_OBJECT and VT_OBJECT_ALT, `var` is the address of the object's KwIfObject. A class
    /// whose first base is KwObjectHolder has it at its own address.
    virtual void Add(const std::string& name, void* var, VarType type, const void* def) = 0;
};
