// SPDX-License-Identifier: MIT
// Texts that end at the end of readable memory, and character classes that detect negative
// characters.
#include "sql/StatementMachine.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// Memory followed by an inaccessible page.
class GuardedMemory {
public:
    explicit GuardedMemory(std::size_t capacity) {
        const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        m_size = (capacity + page - 1) / page * page;
        void* memory = ::mmap(nullptr, m_size + page, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            std::abort();
        m_begin = static_cast<char*>(memory);
        if (::mprotect(End(), page, PROT_NONE) != 0)
            std::abort();
    }

    char* End() const { return m_begin + m_size; }
    bool Holds(const void* memory) const { return memory >= m_begin && memory < End(); }

    /// Returns the last `size` bytes, the same ones each time.
    char* Last(std::size_t size) const {
        if (size > m_size)
            std::abort();
        return End() - size;
    }

private:
    std::size_t m_size;
    char* m_begin;
};

// Never freed, because strings keep their bytes in it.
const GuardedMemory g_memory(1024 * 1024);
bool g_allocate_guarded = false;

/// Copies a text to the end of the guarded memory.
char* AtTheEnd(const std::string& text) {
    char* place = g_memory.Last(text.size() + 1);
    std::memcpy(place, text.c_str(), text.size() + 1);
    return place;
}

/// The parser's copy of the statement at the end of the guarded memory, its NUL in the last byte.
Parsed ParseAtTheEnd(const std::string& statement, bool (KwSQLParser::*parse)(bool), bool trace) {
    g_allocate_guarded = true;
    KwSQLParser parser(statement.c_str());
    g_allocate_guarded = false;
    EXPECT_EQ(parser.m_statement.data() + parser.m_statement.size() + 1, g_memory.End());
    parser.m_error_state = -1;
    const bool result = (parser.*parse)(trace);
    return Parsed::Of(parser, result);
}

} // namespace

void* operator new(std::size_t size) {
    if (g_allocate_guarded)
        return g_memory.Last(size);
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    if (!g_memory.Holds(memory))
        std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace {

int g_classes_asked = 0;
int g_asked_out_of_range = 0;

bool Asked(int c, bool answer) {
    ++g_classes_asked;
    if (c < 0 || c > 255)
        ++g_asked_out_of_range;
    return answer;
}

bool IsBetween(int first, int c, int last) {
    return first <= c && c <= last;
}

bool IsAlnum(int c) {
    return IsBetween('0', c, '9') || IsBetween('A', c, 'Z') || IsBetween('a', c, 'z');
}

} // namespace

#pragma GCC visibility push(default) // so that the library calls these too

extern "C" {

int isspace(int c) noexcept {
    return Asked(c, c == ' ' || IsBetween('\t', c, '\r'));
}

int ispunct(int c) noexcept {
    return Asked(c, IsBetween('!', c, '~') && !IsAlnum(c));
}

int isalnum(int c) noexcept {
    return Asked(c, IsAlnum(c));
}

int tolower(int c) noexcept {
    return c + (Asked(c, IsBetween('A', c, 'Z')) ? 'a' - 'A' : 0);
}
}

#pragma GCC visibility pop

namespace {

// At least 16 bytes each, so that a copy is allocated.
const std::string Statements[] = {
    "                select mail, *, a_1 from s.users where uid = 'a value'",
    "                select mail from users where uid = '' and '",
    "                insert into log_1 values (:who<timestamp>, :b<int>)",
    "                \xd1\x8f \x01 select",
};

TEST(Bounds, NoStatementIsReadPastItsEnd) {
    for (const std::string& statement : Statements) {
        for (std::size_t size = 16; size <= statement.size(); ++size) {
            const std::string cut = statement.substr(0, size);
            SCOPED_TRACE(cut);
            for (bool trace : {false, true}) {
                EXPECT_EQ(ParseAtTheEnd(cut, &KwSQLParser::parse_select, trace),
                          ExpectedSelect(cut, trace));
                EXPECT_EQ(ParseAtTheEnd(cut, &KwSQLParser::parse_insert, trace),
                          ExpectedInsert(cut, trace));
            }
        }
    }
}

TEST(Bounds, TheRestOfALongerStatementIsNotRead) {
    const std::string longer = "select a, b from t where c = 'v'w'x'";
    for (std::size_t size = 0; size < longer.size(); ++size) {
        SCOPED_TRACE(longer.substr(0, size));
        KwSQLParser parser(longer.c_str());
        parser.m_error_state = -1;
        parser.m_statement.resize(size); // a NUL, followed by the unchanged rest
        const bool result = parser.parse_select(true);
        EXPECT_EQ(Parsed::Of(parser, result), ExpectedSelect(longer.substr(0, size), true));
    }
}

TEST(Bounds, NoTextIsReadPastItsEnd) {
    for (const std::string& statement : Statements) {
        for (std::size_t size = 0; size <= statement.size(); ++size) {
            SCOPED_TRACE(statement.substr(0, size));
            char* cursor = AtTheEnd(statement.substr(0, size));
            char* word = nullptr;
            while (find_word(&word, &cursor)) {
                EXPECT_LT(word, cursor);
                EXPECT_LT(cursor, g_memory.End());
            }
            EXPECT_FALSE(find_word(&word, &cursor));
        }
    }
}

TEST(Bounds, NoWordIsReadPastItsEnd) {
    for (const std::string& word : {std::string(), std::string("s"), std::string("select"),
                                    std::string("a_9"), std::string("sel")}) {
        SCOPED_TRACE(word);
        // Keywords end in a NUL, words need not.
        char* begin = g_memory.Last(word.size());
        std::memcpy(begin, word.data(), word.size());
        EXPECT_EQ(mustbename(begin, g_memory.End()), !word.empty());
        EXPECT_EQ(compare(begin, g_memory.End(), "select"), word == "select");
        EXPECT_TRUE(compare(begin, g_memory.End(), word.c_str()));

        const char* keyword = AtTheEnd(word);
        const std::string longer = word + "x";
        EXPECT_TRUE(compare(word.data(), word.data() + word.size(), keyword));
        EXPECT_FALSE(compare(longer.data(), longer.data() + longer.size(), keyword));
        // A NUL in a word does not equal the NUL at the end of the keyword.
        EXPECT_FALSE(compare(word.c_str(), word.c_str() + word.size() + 1, keyword));
    }
}

TEST(Bounds, NoCharacterClassGetsANegativeCharacter) {
    for (int byte = 0x80; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        g_classes_asked = g_asked_out_of_range = 0;
        const std::string c(1, static_cast<char>(byte));
        for (const std::string& statement :
             {c, "select " + c + "a from t where c = 'v'", "select a" + c + " from t where c = 'v'",
              "select a from t where c = '" + c + "'", "insert into t values (:a" + c}) {
            EXPECT_EQ(Parse(statement, &KwSQLParser::parse_select, true),
                      ExpectedSelect(statement, true));
            EXPECT_EQ(Parse(statement, &KwSQLParser::parse_insert, true),
                      ExpectedInsert(statement, true));
        }
        const std::string name = "a" + c;
        EXPECT_FALSE(mustbename(name.data(), name.data() + name.size()));
        EXPECT_FALSE(compare(name.data(), name.data() + name.size(), "as"));
        EXPECT_GT(g_classes_asked, 0);
        EXPECT_EQ(g_asked_out_of_range, 0);
    }
}

} // namespace
