// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/tests/DatabaseThreadsTest.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

/// Searches in files of keys and values that another process writes in place. The parameter is the
/// format; the tests of each plug-in instantiate it.
class RewrittenFileTest : public DatabaseThreadsTest {
protected:
    /// Truncate the file, and write another version into it in place.
    void Rewrite(int version, std::uintmax_t size) {
        using std::chrono::milliseconds;
        const std::string name = m_dir.Path("table");
        std::filesystem::resize_file(name, std::filesystem::file_size(Version(version)) / 2);
        // File times have a resolution of some milliseconds.
        std::this_thread::sleep_for(milliseconds(10));
        {
            std::ifstream in(Version(version), std::ios::binary);
            std::fstream(name, std::ios::binary | std::ios::in | std::ios::out) << in.rdbuf();
        }
        std::filesystem::resize_file(name, std::max(size, std::filesystem::file_size(name)));
        std::this_thread::sleep_for(milliseconds(10));
    }

    /// Count wrong answers. An answer of any version is right, and so is an expected error.
    int WrongOrFailed(const KwLookupHolder& holder) {
        int wrong = 0;
        const auto ask = [&](const std::string& key, const std::string& res) {
            try {
                const Answer answer = Ask(holder, key);
                wrong += !answer.found || answer.res.compare(0, res.size(), res) != 0;
            } catch (const std::runtime_error& error) {
                const std::string reason = error.what();
                wrong += reason.find(": not a valid ") == std::string::npos &&
                         reason.find(": written to while it was read") == std::string::npos;
                ++m_failed;
            }
        };
        ask("version", " v");
        ask("key17", " value17");
        return wrong;
    }

    std::atomic<int> m_failed{0};
};
