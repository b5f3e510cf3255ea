// SPDX-License-Identifier: MIT
// The writer of cdb files when system calls fail.
#include "lookup/builtin/FailingSystem.h"
#include "support/TempDir.h"
#include "tools/kwlookup/CdbWriter.h"

#include <gtest/gtest.h>

#include <cdb.h>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace kwlookup;

failing::Countdown failing_mkostemp, failing_fchmod, failing_fsync, failing_make_start;

template <typename Function>
Function* Real(Function*, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// The result of `call`, or -1 with an error in errno if it is to fail.
template <typename Call>
int FailOr(failing::Countdown& countdown, Call call) {
    if (!countdown.Fails())
        return call();
    errno = countdown.error;
    return -1;
}

} // namespace

extern "C" {

int mkostemp(char* name, int flags) {
    static const auto real = Real(&mkostemp, "mkostemp");
    return FailOr(failing_mkostemp, [&] { return real(name, flags); });
}

int fchmod(int fd, mode_t mode) noexcept {
    static const auto real = Real(&fchmod, "fchmod");
    return FailOr(failing_fchmod, [&] { return real(fd, mode); });
}

int fsync(int fd) {
    static const auto real = Real(&fsync, "fsync");
    return FailOr(failing_fsync, [&] { return real(fd); });
}

int cdb_make_start(struct cdb_make* make, int fd) {
    static const auto real = Real(&cdb_make_start, "cdb_make_start");
    return FailOr(failing_make_start, [&] { return real(make, fd); });
}

} // extern "C"

namespace {

std::string Content(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Why a new file could not be made; "" if it could.
std::string WriteError(const std::string& name, std::string_view value,
                       std::string_view key = "key") {
    try {
        CdbWriter writer(name);
        writer.Add(key, value);
        writer.Finish();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(CdbWriterFaultTest, AFailureThrowsItsReasonAndLeavesTheOldFile) {
    const TempDir directory;
    const std::string name = directory.Path("out.cdb");
    ASSERT_EQ(WriteError(name, "old"), "");
    const std::string old = Content(name);
    struct Case {
        failing::Countdown& countdown;
        int error;
    };
    const Case cases[] = {
        {failing_mkostemp, EACCES},   {failing_mkostemp, EROFS}, {failing_fchmod, EPERM},
        {failing_fchmod, EIO},        {failing_fsync, EIO},      {failing_fsync, ENOSPC},
        {failing_make_start, ENOMEM},
    };
    for (const Case& test : cases) {
        const failing::Fault fault(test.countdown, test.error);
        EXPECT_EQ(WriteError(name, "new"), name + ": " + std::strerror(test.error));
        EXPECT_TRUE(fault.Happened());
        EXPECT_EQ(Content(name), old);
        const std::filesystem::directory_iterator files(directory.Path(""));
        EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "something is left beside it";
    }
}

// As the library has it, a record of 4 GiB and 3 bytes would be one of 3 bytes.
TEST(CdbWriterFaultTest, WhatIsTooLargeIsRefused) {
    if constexpr (sizeof(std::size_t) > sizeof(std::uint32_t)) {
        constexpr std::size_t SIZE = (std::size_t(1) << 32) + 3;
        void* const pages =
            ::mmap(nullptr, SIZE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        ASSERT_NE(pages, MAP_FAILED);
        const std::string_view large(static_cast<const char*>(pages), SIZE);
        const std::string_view limit = large.substr(0, UINT32_MAX);
        const TempDir directory;
        const std::string name = directory.Path("out.cdb");
        const std::pair<std::string_view, std::string_view> records[] = {
            {large, "value"}, {"key", large}, {"key", limit}, {limit, ""}, {large, large}};
        for (const auto& [key, value] : records)
            EXPECT_EQ(WriteError(name, value, key), name + ": " + std::strerror(EFBIG));
        ::munmap(pages, SIZE);
        EXPECT_FALSE(std::filesystem::exists(name));
    }
}

// The file has been renamed by then, but a crash of the machine could undo that.
TEST(CdbWriterFaultTest, AFailureToSyncTheDirectoryIsAnError) {
    const TempDir directory;
    const std::string name = directory.Path("out.cdb");
    const failing::Fault fault(failing_fsync, EIO, 1);
    EXPECT_EQ(WriteError(name, "new"), name + ": " + std::strerror(EIO));
    EXPECT_TRUE(fault.Happened());
}

} // namespace
