// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "host/KwStorageValuesMap.h"

#include <string>
#include <vector>

/// Parses the two kinds of statement that database plug-ins take in their configuration:
///
///     select COLUMN|* [, COLUMN|*]... from TABLE where COLUMN = 'VALUE'
///     insert into TABLE values (:NAME<int|varchar|timestamp> [, ...])
///
///     KwSQLParser parser("select result from access where address = '$s'");
///     if (parser.parse_select(false))
///         Use(parser.m_table, parser.m_names, parser.m_where_column, parser.m_where_value);
///
/// It refuses any other statement; it is not a general SQL parser. Keywords may have any letter
/// case. Names keep their case. A statement is a sequence of the words that find_word() returns. It
/// ends at the first byte at which no word begins: a NUL or, in the classic locale, any 8-bit or
/// control character outside of VALUE. The parser ignores what follows that byte.
///
/// The results are public members. After a failure they hold what was parsed up to it. Parsing
/// appends to m_names, m_types and m_trace and overwrites the others, so use a parser once.
///
/// It throws only what memory allocation throws. The cost is linear in the length of the statement.
/// Character classes are those of the C library under setlocale().
///
/// Threads: one at a time for one parser; different parsers are independent.
class KW_EXPORT KwSQLParser {
public:
    /// Copies `statement`, which ends with a NUL.
    explicit KwSQLParser(const char* statement);
    virtual ~KwSQLParser();

    /// Parses the statement as a SELECT. Returns true when all of it is one.
    ///
    /// COLUMN is a word that mustbename() accepts, which includes any single ASCII character. TABLE
    /// is any word. VALUE is the bytes between the quotes. The search for the closing quote begins
    /// at the second character, so '' is not an empty value: it begins a value that holds a quote
    /// and goes on to the next quote. Without a next quote the statement is refused.
    ///
    /// When the statement ends too early, m_error_state is set; other failures do not change it.
    /// With and without `trace`, each comma adds "searching for next parameter\n" to m_trace, and a
    /// word after the closing quote, which is a failure, adds "unknown state". With `trace`, each
    /// word except those after a comma adds "\nSTATE: WORD[LENGTH]", with numbers in decimal, and
    /// an early end adds "<<<<--- unexpected token".
    bool parse_select(bool trace);

    /// Parses the statement as an INSERT, up to the type of its first parameter. Always returns
    /// false. The results are m_table, m_names and m_types; a non-empty m_types means that the
    /// statement is well-formed up to there.
    ///
    /// With `trace`, each word adds "STATE: WORD[LENGTH]\n" to m_trace, with each number as one raw
    /// byte.
    bool parse_insert(bool trace);

    /// The state, 0 to 8, in which the statement of parse_select() ended too early. Not even the
    /// constructor sets it otherwise, so set it before, or read it after that failure only.
    int m_error_state;
    /// The trace; see parse_select() and parse_insert().
    std::string m_trace;
    /// The text of the statement.
    std::string m_statement;
    /// The table.
    std::string m_table;
    /// The columns of a SELECT, which may include "*", or the parameters of an INSERT, in order.
    std::vector<std::string> m_names;
    /// The types of an INSERT's parameters, parallel to m_names.
    std::vector<KwStorageValuesMap::Type> m_types;
    /// The column of the condition.
    std::string m_where_column;
    /// The value of the condition, without its quotes.
    std::string m_where_value;
};

/// Finds the next word from `*cursor` on, in a text that ends with a NUL. Skips white space. A
/// punctuation character is a word of its own. A letter or digit begins a word that continues with
/// letters, digits, '.' and '_'.
///
/// Sets `*word` to the first character of the word and `*cursor` to the character after its last
/// one. Returns false and sets neither at the NUL and at any other character. Does not write to the
/// text.
KW_EXPORT bool find_word(char** word, char** cursor);

/// Returns true when the word from `begin` to `end` can be a name: any ASCII character, followed by
/// letters, digits and '_'. So "*" and "," are names, and a word with a dot after its first
/// character is not.
KW_EXPORT bool mustbename(const char* begin, const char* end);

/// Returns true when the lower-case form of the word from `begin` to `end` equals `keyword`.
KW_EXPORT bool compare(const char* begin, const char* end, const char* keyword);
