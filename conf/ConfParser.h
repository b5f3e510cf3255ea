// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"
#include "host/KwExport.h"

#include <boost/scoped_ptr.hpp>

#include <string>
#include <vector>

class LogClass;

/// The configuration parser: variables under names, and the syntax of their values.
///
/// Whoever owns a variable registers its address with Add(); whoever reads a configuration hands
/// each setting to SetNewVal(), which converts the text and stores it in the variable. The parser
/// owns nothing but the list of names: variables, defaults and the logger must outlive its last
/// SetNewVal(). White space and letter case are those of the global locale. Texts may hold any
/// bytes; a NUL is written as "\0" in messages. The cost is linear in the length of the texts.
///
/// Threads: one at a time for one parser; different parsers are independent. The static operations
/// keep no state, and any thread may call them at any time.
class KW_EXPORT ConfParser : public IfConfParser {
public:
    /// A parser without variables. Keeps the address of `log`.
    explicit ConfParser(const LogClass& log);
    ~ConfParser() override;
    ConfParser(const ConfParser&) = delete;
    ConfParser& operator=(const ConfParser&) = delete;

    /// Registers a variable; see IfConfParser. Letter case in `name` does not count. An earlier
    /// variable of that name is forgotten. Nothing is checked.
    void Add(const std::string& name, void* var, VarType type, const void* def) override;

    /// Sets the variable `name` to what `value` says; false when it could not.
    ///
    ///     VT_INT, VT_TIME, VT_SIZE   trimmed of white space, then IntParse(),
    ///                                ConvertTimeValToSeconds(), ConvertSizeValToBytes()
    ///     VT_BOOL                    trimmed, then IsTrue(), IsFalse()
    ///     VT_STRING                  TrimString()
    ///     VT_RAW_STRING              as it is
    ///     VT_STRING_LIST             SplitVector() at commas
    ///     VT_INT_LIST, VT_TIME_LIST, VT_SIZE_LIST
    ///                                SplitVector() at commas, then each item as above
    ///     VT_OBJECT, VT_OBJECT_ALT   the object's Init() gets it as it is
    ///
    /// Empty text: numbers and booleans take their default, and keep their value when they have
    /// none; lists of numbers keep their items; strings and lists of strings become empty. A text
    /// of blanks counts as empty for numbers and booleans only.
    ///
    /// A failure leaves the variable as it was, with these exceptions: a list of numbers keeps the
    /// items before the bad one, a list of strings what SplitVector() left there, and an object is
    /// its own affair. A failure is logged:
    ///
    ///     error    "unknown variable name NAME"
    ///     warning  "Variable NAME has not initialize type !?"          (VT_UNSET)
    ///     warning  "NAME: have wrong type CODE"                        (a code above 12)
    ///     warning  "Wrong value [VALUE] in bool variable NAME", and those of the number parsers
    ///     warning  "error on variable NAME: REASON"                    (a std::exception)
    ///
    /// Each call is logged at debug level with its value, "SetNewVal: variable =[NAME]
    /// val=[VALUE]". Exceptions other than std::exception pass through.
    bool SetNewVal(const std::string& name, const std::string& value);

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

private:
    struct Pimpl;

    boost::scoped_ptr<Pimpl> pimpl;
};
