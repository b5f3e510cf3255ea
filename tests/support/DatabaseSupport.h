// SPDX-License-Identifier: MIT
#pragma once

#include "support/MakeDatabase.h"
#include "support/PluginSupport.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// Base of the tests of plug-ins that search database files.
class DatabaseTest : public PluginTest {
protected:
    /// The message of the exception of a search in `list`; "" if there is none.
    std::string SearchError(const std::string& list, const std::string& text, int flags = 0) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        return SearchError(holder, text, flags);
    }

    static std::string SearchError(const KwLookupHolder& holder, const std::string& text,
                                   int flags = 0) {
        try {
            Ask(holder, text, flags);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    /// Wait until `holds()`, for up to half a minute: a thread checks for a new file once a
    /// second.
    template <typename Condition>
    static bool Eventually(Condition holds) {
        for (int i = 0; i < 3000; ++i) {
            if (holds())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    /// The type that searches in files of `format`, as MakeDatabase.h names them.
    static std::string TypeOf(const std::string& format) {
        return format == "hash" || format == "btree" ? "berkeley" : format;
    }

    static std::string ReadAll(const std::string& name) {
        std::ifstream in(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    static void Rename(const std::string& from, const std::string& to) {
        std::filesystem::rename(from, to);
    }

    /// The number of files that this process has open.
    static std::ptrdiff_t OpenFiles() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    /// Addresses that are harmful in a statement, a format string or a C string.
    static std::vector<std::string> HostileTexts() {
        using namespace std::string_literals;
        return {
            "o'brien@corp.lan",
            "' or '1'='1",
            "'; drop table access; --",
            "\" or \"\"=\"",
            "\"j d\"@corp.lan",
            "%s%n%d@corp.lan",
            "%",
            "_",
            "a;b@corp.lan",
            "-- @corp.lan",
            "/* */",
            "$s$d$u$$$x",
            "?1",
            "\\",
            "a\\'b",
            "a,b|c",
            "nul\0in@corp.lan"s,
            "\0"s,
            "\xff\xfe\x80@\xe9.lan",
            "j\xc3\xb6rg@corp.lan",
            "new\nline",
            " blank ",
            std::string(1 << 20, 'x'),
            std::string(1 << 20, '\''),
        };
    }
};
