// SPDX-License-Identifier: MIT
// Searches by address that an attacker would want to be slow: texts of 64 KiB, and lists that suit
// them. Each search makes a finder.
#include "bench/BenchData.h"
#include "kwhost/AddressFinder.h"
#include "lookup/builtin/KwVectorStrLookup.h"

#include <benchmark/benchmark.h>

#include <locale>
#include <string>

namespace {

using namespace kwlookup;

constexpr std::size_t TEXT_SIZE = 64 * 1024;

class List : public KwVectorStrLookup {
public:
    void Init(const std::string& value) override {
        std::string copy = value;
        Push(copy);
    }
    std::string GetDescription() const override { return std::string(); }
};

/// Fill the list with many lines that begin with one word.
void FillSubjects(List& list) {
    for (std::size_t i = 0; i < LIST_SIZE; ++i)
        list.Init("Re: subject " + std::to_string(i));
}

/// Fill the list with a thousand lines of different sizes, made of one byte.
void FillSizes(List& list, char byte) {
    for (std::size_t size = 1; size <= 1000; ++size)
        list.Init(std::string(size, byte));
}

void FillLetters(List& list) {
    FillSizes(list, 'x');
}
void FillDots(List& list) {
    FillSizes(list, '.');
}
void FillOneLong(List& list) {
    FillLetters(list);
    list.Init(std::string(TEXT_SIZE, 'x'));
}

void FillOneLong8Bit(List& list) {
    FillLetters(list);
    list.Init(std::string(TEXT_SIZE, '\xe4'));
}

/// Has the letters of ISO 8859-1.
class Latin1 : public std::ctype<char> {
private:
    char do_toupper(char c) const override {
        const auto byte = static_cast<unsigned char>(c);
        const bool is_lower =
            (byte >= 'a' && byte <= 'z') || (byte >= 0xe0 && byte <= 0xfe && byte != 0xf7);
        return static_cast<char>(is_lower ? byte - 0x20 : byte);
    }
    const char* do_toupper(char* begin, const char* end) const override {
        for (; begin != end; ++begin)
            *begin = do_toupper(*begin);
        return end;
    }
};

void Search(benchmark::State& state, const std::locale& locale, void (*fill)(List&),
            const std::string& text, bool found) {
    std::locale::global(locale);
    List list;
    fill(list);
    const auto ask = [&] {
        std::string res;
        return list.Find(AddressFinder(text), &res, 0, nullptr);
    };
    bool right = ask() == found; // the first search makes the index
    for (auto _ : state)
        right &= ask() == found;
    if (!right)
        state.SkipWithError("wrong answer");
}

const bool registered = [] {
    const auto add = [](const char* name, void (*fill)(List&), const std::string& text, bool found,
                        const std::locale& locale = std::locale::classic()) {
        benchmark::RegisterBenchmark(name, Search, locale, fill, text, found)->Iterations(1000);
    };
    const std::string dots(TEXT_SIZE, '.');
    add("hostile/first_word", FillSubjects, "Re: SUBJECT 500000", true);
    add("hostile/sizes", FillLetters, dots, false);
    add("hostile/sizes_of_dots", FillDots, "x@" + dots, true);
    add("hostile/case", FillOneLong, std::string(TEXT_SIZE, 'X'), true);
    add("hostile/case_8bit", FillOneLong8Bit, std::string(TEXT_SIZE, '\xc4'), true,
        std::locale(std::locale::classic(), new Latin1));
    return true;
}();

} // namespace
