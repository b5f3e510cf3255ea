// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/KwStorageValuesMap.h"

#include <string>
#include <vector>

/// Reads the two statements that plug-ins for databases take in their configuration:
///
///     select COLUMN|* [, COLUMN|*]... from TABLE where COLUMN = 'VALUE'
///     insert into TABLE values (:NAME<int|varchar|timestamp> [, ...])
///
/// Anything else is refused; this is no parser of SQL. Keywords count in any letter case, names
/// keep theirs. A statement is a sequence of the words that find_word() cuts, up to the first byte
/// at which no word begins: a NUL, or, in the classic locale, any 8-bit or control character
/// outside of VALUE. What follows such a byte is not looked at.
///
/// What was read stands in the public members, after a failure too, as far as it got. Parsing
/// appends to m_names, m_types and m_trace and overwrites the rest: parse once.
///
/// It throws nothing of its own. The cost is linear in the length of the statement. Character
/// classes are those of the C library under setlocale().
///
/// Threads: one at a time for one parser; different parsers are independent.
class KW_EXPORT KwSQLParser {
public:
    /// Copies `statement`, which ends in a NUL.
    explicit KwSQLParser(const char* statement);
    virtual ~KwSQLParser();

    /// Reads the statement as a SELECT; true when it is one, to its end.
    ///
    /// COLUMN is what mustbename() takes, which is any lone ASCII character too; TABLE is any word
    /// at all. VALUE is what stands between the quotes, byte by byte, and holds no quote, with one
    /// exception: the closing quote is looked for from the second character on, so that '' is not
    /// an empty value but the beginning of a longer one, up to the next quote; without one the
    /// statement is refused.
    ///
    /// When the statement ends too early, m_error_state tells where; other failures do not touch
    /// it. With or without `trace`, each comma adds "searching for next parameter\n" to m_trace,
    /// and a word after the closing quote, which is a failure, "unknown state". With `trace` each
    /// word but those after a comma adds "\nSTATE: WORD[LENGTH]", with numbers in decimal, and an
    /// early end "<<<<--- unexpected token".
    bool parse_select(bool trace);

    /// Reads the statement as an INSERT up to the type of its first parameter. Always false: the
    /// parse ends there, and m_table, m_names and m_types, which stay filled, are its result. When
    /// m_types has an item, the statement was well-formed so far.
    ///
    /// With `trace` each word adds "STATE: WORD[LENGTH]\n" to m_trace, with each number as one raw
    /// byte.
    bool parse_insert(bool trace);

    /// The state, 0 to 8, in which the statement of parse_select() ended too early. Nothing else
    /// sets it, the constructor included: read it after that failure only, or set it before.
    int m_error_state;
    /// What `trace` added.
    std::string m_trace;
    /// The statement as given.
    std::string m_statement;
    /// The table that the statement names.
    std::string m_table;
    /// The columns of a SELECT, "*" among them, or the parameters of an INSERT, in order.
    std::vector<std::string> m_names;
    /// The types of an INSERT's parameters, parallel to m_names.
    std::vector<KwStorageValuesMap::Type> m_types;
    /// The column of the condition.
    std::string m_where_column;
    /// Without its quotes.
    std::string m_where_value;
};

/// Finds the next word of a text that ends in a NUL: white space is skipped; a punctuation
/// character is a word by itself; letters and digits make a word together with what follows them of
/// letters, digits, '.' and '_'.
///
/// Looks from `*cursor` on. Sets `*word` to the first character of the word and `*cursor` behind
/// its last one. False, and neither is touched, when there is no word: at the NUL, and at any other
/// character. The text is not written to.
KW_EXPORT bool find_word(char** word, char** cursor);

/// True when the word `begin` to `end` can be a name: an ASCII character of any kind, then letters,
/// digits and '_'. So every word of one ASCII character can, "*" and "," too, and no dotted one.
KW_EXPORT bool mustbename(const char* begin, const char* end);

/// True when the lower-case form of the word `begin` to `end` is `keyword`.
KW_EXPORT bool compare(const char* begin, const char* end, const char* keyword);
