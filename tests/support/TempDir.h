// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// A new directory. The destructor removes it with its contents.
class TempDir {
public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "kwlookup-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("cannot make " + name);
        m_path = name;
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    /// The path of `file` in the directory.
    std::string Path(const std::string& file) const { return m_path + "/" + file; }

    /// Write a file with these bytes, and return its path.
    std::string Write(const std::string& file, const std::string& bytes) const {
        const std::string name = Path(file);
        std::ofstream out(name, std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out.flush())
            throw std::runtime_error("cannot write " + name);
        return name;
    }

private:
    std::string m_path;
};
