// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>
#include <vector>

class LogClass;

/// The syntax of configuration values.
///
/// The operations here are static and keep no state; any thread may call them at any time. White
/// space and letter case are those of the global locale. Texts may hold any bytes. The cost is
/// linear in the length of the text.
class KW_EXPORT ConfParser {
public:
    /// Removes one pair of double quotes that encloses `s`, and nothing else: blanks stay, and so
    /// does a quote at one end only.
    static void TrimString(std::string& s);

    /// Makes `dir` end in "/". Always true.
    static bool FixDir(std::string& dir);

    /// Splits `value` at `separator` into `out`, which is cleared first.
    ///
    /// Double quotes protect separators and blanks. A backslash protects a separator, a backslash
    /// or a quote; before any other character it stays. Each item is trimmed of white space, then
    /// of one enclosing pair of quotes. An empty item counts, except after a final separator.
    ///
    /// Throws std::invalid_argument "can't find final '"' symbol" when a quote is left open and
    /// "can't find sybol after '\'" when the text ends in a lone backslash; the items before that
    /// stay in `out`.
    static void SplitVector(const std::string& value, std::vector<std::string>& out,
                            char separator);

    /// "yes", "on" or "true" in any letter case, untrimmed.
    static bool IsTrue(const std::string& value);

    /// "no", "off" or "false" in any letter case, untrimmed.
    static bool IsFalse(const std::string& value);

    /// Reads a 32-bit integer: decimal with an optional sign, "0x" hexadecimal or, after a leading
    /// "0", octal. Hexadecimal and octal stop at the first foreign character, so "08" is 0.
    ///
    /// False, `*out` unchanged, and a warning when it fails: "Can not recognize hex value in
    /// [VALUE]", "Can not recognize oct value in [VALUE]", or, when `name` is not empty, "Wrong
    /// value [VALUE] in integer variable NAME".
    static bool IntParse(const std::string& name, const std::string& value, int* out,
                         const LogClass& log);

    /// Reads a time: a number and one of d, h, m, s (the default), in seconds. The product wraps at
    /// 32 bits. False, `*out` unchanged, and, when `name` is not empty, the warning "Wrong value
    /// [VALUE] in time variable NAME" when it fails.
    static bool ConvertTimeValToSeconds(const std::string& name, const std::string& value, int* out,
                                        const LogClass& log);

    /// Reads a size: a number and one of b (the default), k, m, g, in bytes; binary multiples. The
    /// product wraps at 64 bits. False, `*out` unchanged, and, when `name` is not empty, the
    /// warning "Wrong value [VALUE] in size variable NAME" when it fails.
    static bool ConvertSizeValToBytes(const std::string& name, const std::string& value,
                                      long long* out, const LogClass& log);
};
