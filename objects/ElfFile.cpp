// SPDX-License-Identifier: MIT
#include "objects/ElfFile.h"

#include "text/FileDescriptor.h"
#include "text/TextFile.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kwlookup {

namespace {

constexpr unsigned char NATIVE_CLASS = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr unsigned char NATIVE_ORDER =
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;

struct CloseLibrary {
    void operator()(void* handle) const { ::dlclose(handle); }
};

/// The directories that the dynamic loader searches for the library that this code is in.
std::vector<std::string> SearchPath() {
    std::vector<std::string> directories;
    Dl_info self;
    if (::dladdr(reinterpret_cast<void*>(&FindSharedLibrary), &self) == 0)
        return directories;
    const std::unique_ptr<void, CloseLibrary> handle(
        ::dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD));
    Dl_serinfo size;
    if (!handle || ::dlinfo(handle.get(), RTLD_DI_SERINFOSIZE, &size) != 0)
        return directories;
    // Aligned as the structure is, which the loader fills together with the texts behind it.
    std::vector<std::max_align_t> memory(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* path = new (memory.data()) Dl_serinfo(size);
    if (::dlinfo(handle.get(), RTLD_DI_SERINFO, path) != 0)
        return directories;
    for (unsigned i = 0; i < path->dls_cnt; ++i)
        directories.push_back(path->dls_serpath[i].dls_name);
    return directories;
}

/// Reads an object from a place in a file; false when the file ends before it does.
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
    for (const std::string& directory : SearchPath()) {
        const std::string name = directory + "/" + file;
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
            header.e_ident[EI_CLASS] != NATIVE_CLASS || header.e_ident[EI_DATA] != NATIVE_ORDER ||
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
