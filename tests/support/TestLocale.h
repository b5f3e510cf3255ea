// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <locale>
#include <string>

/// Sets the global locale while this object exists.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : m_before(std::locale::global(locale)) {}
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;
    ~GlobalLocale() { std::locale::global(m_before); }

private:
    std::locale m_before;
};

/// The properties of each byte in a locale made for a test, initially those of the classic locale.
struct TestBytes {
    TestBytes() {
        const auto& classic = std::use_facet<std::ctype<char>>(std::locale::classic());
        for (int byte = 0; byte < 256; ++byte) {
            const char c = static_cast<char>(byte);
            upper[byte] = classic.toupper(c);
            lower[byte] = classic.tolower(c);
            space[byte] = classic.is(std::ctype_base::space, c);
        }
    }

    /// The classic locale with the letters and the no-break space of Latin-1.
    static TestBytes Latin1() {
        TestBytes bytes;
        for (int byte = 0xe0; byte < 0xff; ++byte) {
            if (byte == 0xf7)
                continue;
            bytes.upper[byte] = static_cast<char>(byte - 0x20);
            bytes.lower[byte - 0x20] = static_cast<char>(byte);
        }
        bytes.space[0xa0] = true;
        return bytes;
    }

    std::locale GetLocale() const;

    std::array<char, 256> upper;
    std::array<char, 256> lower;
    std::array<bool, 256> space;
};

/// The facet of a locale made from TestBytes.
class TestCtype : public std::ctype<char> {
public:
    explicit TestCtype(const TestBytes& bytes)
        : std::ctype<char>(Masks(bytes), true), m_bytes(bytes) {}

private:
    static mask* Masks(const TestBytes& bytes) {
        mask* masks = new mask[table_size]; // deleted by the base class
        for (std::size_t byte = 0; byte < table_size; ++byte) {
            masks[byte] = classic_table()[byte] & static_cast<mask>(~space);
            if (bytes.space[byte])
                masks[byte] |= space;
        }
        return masks;
    }

    char do_toupper(char c) const override { return m_bytes.upper[static_cast<unsigned char>(c)]; }
    char do_tolower(char c) const override { return m_bytes.lower[static_cast<unsigned char>(c)]; }
    const char* do_toupper(char* begin, const char* end) const override {
        std::transform(begin, begin + (end - begin), begin, [&](char c) { return do_toupper(c); });
        return end;
    }
    const char* do_tolower(char* begin, const char* end) const override {
        std::transform(begin, begin + (end - begin), begin, [&](char c) { return do_tolower(c); });
        return end;
    }

    TestBytes m_bytes;
};

inline std::locale TestBytes::GetLocale() const {
    return std::locale(std::locale::classic(), new TestCtype(*this));
}

/// The classic locale, but with digit grouping: "1,000".
inline std::locale GroupingLocale() {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    return std::locale(std::locale::classic(), new Grouping);
}
