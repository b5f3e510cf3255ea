// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"
#include "lookup/KwIfObject.h"

#include <string>
#include <type_traits>
#include <vector>

namespace kwlookup {

struct Time;
struct Size;
struct RawText;
struct TimeList;
struct SizeList;

/// A kind of parameter: the C++ type of its value, and its code in IfConfParser. A kind is this
/// type, or a tag for a value with a syntax of its own: Time is an int in seconds ("2m" is 120),
/// Size a long long in bytes ("4k" is 4096), RawText a std::string that keeps its quotes; TimeList
/// and SizeList are vectors of times and sizes.
template <typename Kind>
struct ParameterKind;

/// The base of the specialisations of ParameterKind.
template <typename T, IfConfParser::VarType VAR_TYPE>
struct ParameterKindOf {
    using Value = T; ///< the C++ type of the value
    /// How a text is converted to the value.
    static constexpr IfConfParser::VarType TYPE = VAR_TYPE;
};

template <>
struct ParameterKind<int> : ParameterKindOf<int, IfConfParser::VT_INT> {};
template <>
struct ParameterKind<bool> : ParameterKindOf<bool, IfConfParser::VT_BOOL> {};
template <>
struct ParameterKind<std::string> : ParameterKindOf<std::string, IfConfParser::VT_STRING> {};
template <>
struct ParameterKind<std::vector<std::string>>
    : ParameterKindOf<std::vector<std::string>, IfConfParser::VT_STRING_LIST> {};
template <>
struct ParameterKind<std::vector<int>>
    : ParameterKindOf<std::vector<int>, IfConfParser::VT_INT_LIST> {};
template <>
struct ParameterKind<Time> : ParameterKindOf<int, IfConfParser::VT_TIME> {};
template <>
struct ParameterKind<Size> : ParameterKindOf<long long, IfConfParser::VT_SIZE> {};
template <>
struct ParameterKind<RawText> : ParameterKindOf<std::string, IfConfParser::VT_RAW_STRING> {};
template <>
struct ParameterKind<TimeList> : ParameterKindOf<std::vector<int>, IfConfParser::VT_TIME_LIST> {};
template <>
struct ParameterKind<SizeList>
    : ParameterKindOf<std::vector<long long>, IfConfParser::VT_SIZE_LIST> {};

/// The C++ type of the value of a parameter of `Kind`.
template <typename Kind>
using ParameterValue = typename ParameterKind<Kind>::Value;

/// Returns true when a variable of `type` may be a T. An unknown type may be anything.
template <typename T>
constexpr bool HoldsA(IfConfParser::VarType type) {
    switch (type) {
    case IfConfParser::VT_INT:
    case IfConfParser::VT_TIME:
        return std::is_same_v<T, int>;
    case IfConfParser::VT_BOOL:
        return std::is_same_v<T, bool>;
    case IfConfParser::VT_SIZE:
        return std::is_same_v<T, long long>;
    case IfConfParser::VT_STRING:
    case IfConfParser::VT_RAW_STRING:
        return std::is_same_v<T, std::string>;
    case IfConfParser::VT_STRING_LIST:
        return std::is_same_v<T, std::vector<std::string>>;
    case IfConfParser::VT_INT_LIST:
    case IfConfParser::VT_TIME_LIST:
        return std::is_same_v<T, std::vector<int>>;
    case IfConfParser::VT_SIZE_LIST:
        return std::is_same_v<T, std::vector<long long>>;
    case IfConfParser::VT_OBJECT:
    case IfConfParser::VT_OBJECT_ALT:
        return std::is_base_of_v<KwIfObject, T>;
    case IfConfParser::VT_UNSET:
        break;
    }
    return true;
}

} // namespace kwlookup
