// SPDX-License-Identifier: MIT
#include "objects/ElfFile.h"

#include "text/FileDescriptor.h"
#include "text/Platform.h"
#include "text/TextFile.h"

#include <cstdint>
#include <cstring>
#include <elf.h>
#include <link.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace kwlookup {

namespace {

constexpr unsigned char NATIVE_CLASS = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
/// Reads an object at an offset of a file. Returns false when the file is too short.
template <typename Object>
bool ReadAt(int fd, std::uint64_t at, Object& object) {
    return at <= INT64_MAX && ::pread(fd, &object, sizeof(object), static_cast<off_t>(at)) ==
                                  static_cast<ssize_t>(sizeof(object));
}

bool IsWhole(int fd, std::uint64_t size, const ElfW(Ehdr) & header) {
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!ReadAt(fd, header.e_phoff + i * sizeof(segment), segment))
            return false;
        if (segment.p_filesz > size || segment.p_offset > size - segment.p_filesz)
            return false;
    }
    return true;
}

} // namespace

std::string FindSharedLibrary(const std::string& file) {
    for (const std::string& directory : LibraryDirectories()) {
        std::string name = directory + "/" + file;
        struct stat status;
        if (::stat(name.c_str(), &status) == 0)
            return name;
    }
    return std::string();
}

std::string WhyNotMappable(const std::string& name) {
    try {
        const FileDescriptor file = OpenInput(name);
        struct stat status {};
        ElfW(Ehdr) header;
        if (::fstat(file.Get(), &status) != 0 || !ReadAt(file.Get(), 0, header) ||
            std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
            header.e_ident[EI_CLASS] != NATIVE_CLASS ||
            header.e_ident[EI_DATA] != (IsLittleEndian() ? ELFDATA2LSB : ELFDATA2MSB) ||
            header.e_phentsize != sizeof(ElfW(Phdr)))
            return std::string();
        if (!IsWhole(file.Get(), static_cast<std::uint64_t>(status.st_size), header))
            return name + ": the file is cut short";
        return std::string();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

} // namespace kwlookup
