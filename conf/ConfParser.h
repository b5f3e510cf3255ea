// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"
#include "host/KwExport.h"

#include <boost/scoped_ptr.hpp>

#include <string>
#include <vector>

class LogClass;

/// The configuration parser: named variables, and the syntax of their values.
///
///     int timeout = 0;
///     ConfParser parser(log);
///     parser.Add("Timeout", &timeout, IfConfParser::VT_TIME, nullptr);
///     parser.SetNewVal("timeout", "2m"); // timeout is 120
///
/// The owner of a variable registers its address with Add(). The reader of a configuration passes
/// each setting to SetNewVal(), which converts the text and stores the value in the variable. The
/// parser keeps pointers: variables, defaults and the logger must be valid at each SetNewVal().
/// White space and letter case are those of the global locale. Texts may hold any bytes; messages
/// show a NUL as "\0". The cost is linear in the length of the texts.
///
/// Threads: one at a time for one parser; different parsers are independent. The static operations
/// have no state, and any thread may call them at any time.
class KW_EXPORT ConfParser : public IfConfParser {
public:
    /// Makes a parser without variables. Keeps the address of `log`.
    explicit ConfParser(const LogClass& log);
    ~ConfParser() override;
    ConfParser(const ConfParser&) = delete;
    ConfParser& operator=(const ConfParser&) = delete;

    /// Registers a variable; see IfConfParser. The letter case of `name` is ignored. Replaces an
    /// earlier variable of that name. Checks nothing.
    void Add(const std::string& name, void* var, VarType type, const void* def) override;

    /// Sets the variable `name` from the text `value`. Returns false when that fails.
    ///
    ///     VT_INT, VT_TIME, VT_SIZE   trimmed of white space, then IntParse(),
    ///                                ConvertTimeValToSeconds(), ConvertSizeValToBytes()
    ///     VT_BOOL                    trimmed, then IsTrue(), IsFalse()
    ///     VT_STRING                  TrimString()
    ///     VT_RAW_STRING              unchanged
    ///     VT_STRING_LIST             SplitVector() at commas
    ///     VT_INT_LIST, VT_TIME_LIST, VT_SIZE_LIST
    ///                                SplitVector() at commas, then each item as above
    ///     VT_OBJECT, VT_OBJECT_ALT   the object's Init() gets the text unchanged
    ///
    /// With an empty text, numbers and booleans are set to their default, or keep their value if
    /// they have none. Lists of numbers keep their items. Strings and lists of strings become
    /// empty. A text of white space counts as empty for numbers and booleans only.
    ///
    /// A failure does not change the variable, with three exceptions. A list of numbers holds the
    /// items before the bad one. A list of strings holds what SplitVector() stored. An object
    /// holds what its Init() left. A failure is logged:
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

    /// Removes one pair of double quotes around `s`. Keeps blanks, and a quote at one end only.
    static void TrimString(std::string& s);

    /// Appends "/" to `dir` unless it ends with one. Always returns true.
    static bool FixDir(std::string& dir);

    /// Splits `value` at `separator` into `out`, which is cleared first.
    ///
    /// Double quotes protect separators and blanks. A backslash protects a separator, a backslash
    /// or a quote, and is removed; before any other character it stays. White space at both ends of
    /// an item is removed, then one pair of quotes around it. Items may be empty, but an empty item
    /// after the last separator is dropped.
    ///
    /// Throws std::invalid_argument "can't find final '"' symbol" for a quote without its end, and
    /// "can't find sybol after '\'" for a lone backslash at the end. The items before it are then
    /// in `out`.
    static void SplitVector(const std::string& value, std::vector<std::string>& out,
                            char separator);

    /// Returns true for "yes", "on" and "true" in any letter case, without white space.
    static bool IsTrue(const std::string& value);

    /// Returns true for "no", "off" and "false" in any letter case, without white space.
    static bool IsFalse(const std::string& value);

    /// Reads a 32-bit integer: decimal with an optional sign, hexadecimal after "0x", or octal
    /// after a leading "0". Hexadecimal and octal numbers end at the first character that is not a
    /// digit, so "08" is 0.
    ///
    /// On failure, returns false, does not change `*out`, and logs a warning: "Can not recognize
    /// hex value in [VALUE]", "Can not recognize oct value in [VALUE]" or, when `name` is not
    /// empty, "Wrong value [VALUE] in integer variable NAME".
    static bool IntParse(const std::string& name, const std::string& value, int* out,
                         const LogClass& log);

    /// Reads a time in seconds: a number and one of the units d, h, m and s (the default). The
    /// product wraps at 32 bits. On failure, returns false, does not change `*out` and, when `name`
    /// is not empty, logs the warning "Wrong value [VALUE] in time variable NAME".
    static bool ConvertTimeValToSeconds(const std::string& name, const std::string& value, int* out,
                                        const LogClass& log);

    /// Reads a size in bytes: a number and one of the units b (the default), k, m and g, which are
    /// powers of 1024. The product wraps at 64 bits. On failure, returns false, does not change
    /// `*out` and, when `name` is not empty, logs the warning "Wrong value [VALUE] in size variable
    /// NAME".
    static bool ConvertSizeValToBytes(const std::string& name, const std::string& value,
                                      long long* out, const LogClass& log);

private:
    struct Pimpl;

    boost::scoped_ptr<Pimpl> pimpl;
};
