// SPDX-License-Identifier: MIT
// The plug-in berkeley compared with Berkeley DB's own library, on files of each shape and on
// damaged ones.
#include "support/DatabaseSupport.h"

#include "families/files/FileBytes.h"

#include <db.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>

using namespace kwlookup;

namespace {

using namespace std::string_literals;

/// Keeps the library from writing to standard error.
void IgnoreError(const DB_ENV*, const char*, const char*) {}
void IgnoreMessage(const DB_ENV*, const char*) {}

/// How a file is made.
struct Shape {
    DBTYPE type;
    u_int32_t page_size;
    u_int32_t flags; ///< DB_DUP, DB_DUPSORT, DB_CHKSUM
    int byte_order;
    u_int32_t expected_keys; ///< of a hash: the number of buckets made at once
};

/// A file that the library of the format makes and reads.
class Reference {
public:
    using Table = std::map<std::string, std::vector<std::string>>;

    Reference(const std::string& name, const Shape& shape) {
        Must(::db_create(&m_db, nullptr, 0));
        m_db->set_errcall(m_db, IgnoreError);
        Must(m_db->set_pagesize(m_db, shape.page_size));
        Must(m_db->set_flags(m_db, shape.flags));
        Must(m_db->set_lorder(m_db, shape.byte_order));
        if (shape.type == DB_HASH && shape.expected_keys)
            Must(m_db->set_h_nelem(m_db, shape.expected_keys));
        Must(m_db->open(m_db, nullptr, name.c_str(), nullptr, shape.type, DB_CREATE, 0600));
    }
    ~Reference() { m_db->close(m_db, 0); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    /// True if the library finds no damage.
    static bool IsWhole(const std::string& name) {
        DB* db = nullptr;
        Must(::db_create(&db, nullptr, 0));
        db->set_errcall(db, IgnoreError);
        db->set_msgcall(db, IgnoreMessage);
        return db->verify(db, name.c_str(), nullptr, nullptr, 0) == 0;
    }

    void Put(const std::string& key, const std::string& value) {
        DBT key_bytes = Bytes(key), value_bytes = Bytes(value);
        const int error = m_db->put(m_db, nullptr, &key_bytes, &value_bytes, 0);
        if (error != DB_KEYEXIST) // the value is there already, where values are sorted
            Must(error);
    }

    void Delete(const std::string& key) {
        DBT bytes = Bytes(key);
        if (const int error = m_db->del(m_db, nullptr, &bytes, 0); error != DB_NOTFOUND)
            Must(error);
    }

    /// All keys with their values, in the order of the file.
    Table Read() {
        Table table;
        DBC* cursor = nullptr;
        Must(m_db->cursor(m_db, nullptr, &cursor, 0));
        DBT key = {}, value = {};
        int error;
        while ((error = cursor->get(cursor, &key, &value, DB_NEXT)) == 0)
            table[Text(key)].push_back(Text(value));
        cursor->close(cursor);
        if (error != DB_NOTFOUND)
            Must(error);
        return table;
    }

private:
    static DBT Bytes(const std::string& text) {
        DBT bytes = {};
        bytes.data = const_cast<char*>(text.data());
        bytes.size = static_cast<u_int32_t>(text.size());
        return bytes;
    }

    static std::string Text(const DBT& bytes) {
        return {static_cast<const char*>(bytes.data), bytes.size};
    }

    static void Must(int error) {
        if (error != 0)
            throw std::runtime_error(::db_strerror(error));
    }

    DB* m_db = nullptr;
};

class BerkeleyFilesTest : public DatabaseTest {
protected:
    unsigned Random(unsigned below) { return static_cast<unsigned>(m_random() % below); }

    std::string RandomText(unsigned longest) {
        std::string text(Random(longest) + 1, '\0');
        for (char& byte : text)
            byte = static_cast<char>(Random(8) ? 'a' + Random(26) : Random(256));
        return text;
    }

    // Some are too long for a page.
    std::string RandomKey(unsigned longest) { return RandomText(Random(20) ? 12 : longest); }
    std::string RandomValue() { return RandomText(Random(20) ? 30 : 3000); }

    /// Make m_name with this shape, and return its contents.
    Reference::Table Make(const Shape& shape) {
        Reference::Table table;
        do // the library itself writes some damaged files
            table = Write(shape);
        while (!Reference::IsWhole(m_name));
        return table;
    }

    Reference::Table Write(const Shape& shape) {
        std::filesystem::remove(m_name);
        Reference file(m_name, shape);
        // In a hash, the library does not always find keys that are too long for a page.
        const unsigned longest = shape.type == DB_HASH ? 100 : 800;
        std::vector<std::string> keys;
        for (unsigned i = Random(600); i > 0; --i) {
            if (keys.empty() || Random(3))
                keys.push_back(RandomKey(longest));
            const std::string& key = keys[Random(static_cast<unsigned>(keys.size()))];
            if (Random(5) == 0)
                file.Delete(key);
            else
                for (unsigned values = Random(30) ? 1 : 200; values > 0; --values)
                    file.Put(key, RandomValue());
        }
        return file.Read();
    }

    std::string ReadStart(std::size_t size) const {
        std::string bytes(size, '\0');
        std::ifstream(m_name, std::ios::binary)
            .read(bytes.data(), static_cast<std::streamsize>(size));
        return bytes;
    }

    static std::string Joined(const std::vector<std::string>& values) {
        std::string text;
        for (const std::string& value : values)
            text += " " + value;
        return text;
    }

    std::mt19937 m_random{20261121};
    const std::string m_name = m_dir.Path("table");
    const std::string m_item = "berkeley:OnError=exception|LowerCase=no|Database=" + m_name + "|$s";
    const std::string m_all =
        "berkeley:OnError=exception|LowerCase=no|AllValues=yes|Database=" + m_name + "|$s";
};

TEST_F(BerkeleyFilesTest, AnswersAsBerkeleyDbDoes) {
    std::vector<Shape> shapes;
    for (const DBTYPE type : {DB_HASH, DB_BTREE})
        for (const u_int32_t page_size : {512, 4096, 65536})
            for (const u_int32_t flags : {0, DB_DUP, DB_DUP | DB_DUPSORT})
                for (const u_int32_t checksums : {0, DB_CHKSUM})
                    shapes.push_back({type, page_size, flags | checksums, Random(2) ? 1234 : 4321,
                                      Random(2) ? 0 : Random(2000) + 1});
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(std::to_string(shape.type) + " pages of " + std::to_string(shape.page_size) +
                     " flags " + std::to_string(shape.flags) + " order " +
                     std::to_string(shape.byte_order) + " expects " +
                     std::to_string(shape.expected_keys));
        const Reference::Table table = Make(shape);
        if (Random(4) == 0) // too large to be copied
            std::filesystem::resize_file(m_name, FileBytes::COPY_LIMIT + 1);
        KwLookupHolder one(m_log), all(m_log);
        one.Init(m_item);
        all.Init(m_all);
        for (const auto& [key, values] : table) {
            ASSERT_EQ(Ask(one, key), (Answer{true, " " + values.front(), key}));
            ASSERT_EQ(Ask(all, key), (Answer{true, Joined(values), key}));
        }
        for (int i = 0; i < 200; ++i) {
            const std::string key = RandomKey(800);
            ASSERT_EQ(Ask(one, key).found, table.count(key) == 1);
        }
    }
}

/// Searches damaged files. The environment variable KWLOOKUP_MUTATIONS sets their number.
class DamagedBerkeleyTest : public BerkeleyFilesTest,
                            public testing::WithParamInterface<std::pair<DBTYPE, u_int32_t>> {
protected:
    static int Rounds() {
        const char* rounds = std::getenv("KWLOOKUP_MUTATIONS");
        return rounds ? std::atoi(rounds) : 250;
    }

    /// Lose or move a page.
    std::string DamagePages(std::string bytes) {
        const unsigned pages = static_cast<unsigned>(bytes.size() / PAGE);
        const auto page = [&] { return bytes.begin() + PAGE * Random(pages); };
        const auto hit = page();
        switch (Random(4)) {
        case 0: // a hole
            std::fill(hit, hit + PAGE, '\0');
            break;
        case 1: // written to the wrong place
            std::copy_n(page(), PAGE, hit);
            break;
        case 2: // swapped
            std::swap_ranges(hit, hit + PAGE, page());
            break;
        case 3: // truncated by a crash, and extended again
            std::fill(hit, bytes.end(), '\0');
            break;
        }
        return bytes;
    }

    /// Change bytes.
    std::string DamageBytes(std::string bytes) {
        const unsigned size = static_cast<unsigned>(bytes.size());
        if (Random(4) == 0) {
            const unsigned begin = Random(size), length = Random(64) + 1;
            std::fill(bytes.begin() + begin, bytes.begin() + std::min(begin + length, size),
                      Random(2) ? '\0' : '\xff');
            return bytes;
        }
        // Bytes of the first page and of page headers matter most.
        for (unsigned i = Random(8) + 1; i > 0; --i) {
            const unsigned at = Random(4) == 0 ? Random(PAGE)
                                : Random(2)    ? Random(size)
                                               : Random(size / PAGE) * PAGE + Random(60);
            bytes[at] = Random(2) ? static_cast<char>(Random(256))
                                  : static_cast<char>(bytes[at] ^ (1 << Random(8)));
        }
        return bytes;
    }

    /// Numbers of answers: 0 right, 1 errors, 2 keys not found, 3 wrong values.
    using Counts = std::array<int, 4>;

    /// Search files that `damage` has damaged.
    template <typename Damage>
    Counts TryRounds(unsigned flags, Damage damage) {
        Counts counts = {};
        Reference::Table table;
        std::string bytes;
        for (int round = 0; round < Rounds(); ++round) {
            if (round % 100 == 0 || table.empty()) {
                table = MakeTable(flags);
                bytes = ReadStart(std::filesystem::file_size(m_name));
            }
            if (!table.empty())
                Try(damage(bytes), table, counts);
        }
        return counts;
    }

    /// Search a file of these bytes, and count the answers.
    void Try(const std::string& bytes, const Reference::Table& table, Counts& counts) {
        using Clock = std::chrono::steady_clock;
        std::filesystem::remove(m_name);
        m_dir.Write("table", bytes);
        if (Random(8) == 0)
            std::filesystem::resize_file(m_name, FileBytes::COPY_LIMIT + 1);
        const Clock::time_point begin = Clock::now();
        {
            KwLookupHolder holder(m_log);
            holder.Init(m_all);
            for (int i = 0; i < 12; ++i) {
                const auto& [key, values] =
                    *std::next(table.begin(), Random(static_cast<unsigned>(table.size())));
                try {
                    const Answer answer = Ask(holder, key);
                    ++counts[!answer.found ? 2 : answer.res == Joined(values) ? 0 : 3];
                } catch (const std::runtime_error& error) {
                    EXPECT_THAT(error.what(), testing::StartsWith(m_name + ": "));
                    ++counts[1];
                }
            }
            // Damage may add these keys.
            SearchError(holder, "a");
            SearchError(holder, "zzz");
        }
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
        EXPECT_EQ(ReadStart(bytes.size()), bytes);
        EXPECT_LE(std::filesystem::file_size(m_name), FileBytes::COPY_LIMIT + 1);
    }

    Reference::Table MakeTable(u_int32_t checksums) {
        const bool values = Random(2);
        return Make(
            {GetParam().first, PAGE, GetParam().second | checksums, 1234, values ? 0u : 300u});
    }

    static constexpr unsigned PAGE = 512;
};

TEST_P(DamagedBerkeleyTest, ALostPageFailsItsKeys) {
    const Counts counts =
        TryRounds(0, [this](const std::string& bytes) { return DamagePages(bytes); });
    EXPECT_EQ(counts[2], 0);
    EXPECT_GT(counts[0], 0);
    EXPECT_GT(counts[1], 0);
    EXPECT_EQ(counts[3], 0);
}

TEST_P(DamagedBerkeleyTest, WithChecksumsAnyDamageFailsItsKeys) {
    const Counts counts = TryRounds(DB_CHKSUM, [this](const std::string& bytes) {
        return Random(2) ? DamagePages(bytes) : DamageBytes(bytes);
    });
    EXPECT_EQ(counts[2] + counts[3], 0);
    EXPECT_GT(counts[0], 0);
    EXPECT_GT(counts[1], 0);
}

TEST_P(DamagedBerkeleyTest, AnyDamageIsSurvived) {
    const Counts counts =
        TryRounds(0, [this](const std::string& bytes) { return DamageBytes(bytes); });
    EXPECT_GT(counts[0], 0);
    EXPECT_GT(counts[1], 0);
    // Without checksums a changed key or value may go unnoticed, but most damage does not.
    EXPECT_LT(counts[2] + counts[3], counts[1]);
    RecordProperty("answers", std::to_string(counts[0]) + " right, " + std::to_string(counts[1]) +
                                  " errors, " + std::to_string(counts[2]) + " missed, " +
                                  std::to_string(counts[3]) + " other");
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedBerkeleyTest,
                         testing::Values(std::pair<DBTYPE, u_int32_t>(DB_HASH, 0),
                                         std::pair<DBTYPE, u_int32_t>(DB_BTREE, 0),
                                         std::pair<DBTYPE, u_int32_t>(DB_HASH, DB_DUP),
                                         std::pair<DBTYPE, u_int32_t>(DB_BTREE, DB_DUP)),
                         [](const auto& test) {
                             return (test.param.first == DB_HASH ? "hash"s : "btree"s) +
                                    (test.param.second ? "_duplicates" : "");
                         });

} // namespace
