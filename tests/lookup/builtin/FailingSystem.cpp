// SPDX-License-Identifier: MIT
#include "lookup/builtin/FailingSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace failing {

Countdown mutex_init, mutex_lock, open, fstat;
bool interrupt_reads = false;
void (*before_read)() = nullptr;
off_t bad_sector = -1;

} // namespace failing

namespace {

template <typename Function>
Function* Real(Function*, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

#pragma GCC visibility push(default) // so that the libraries call these too

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr) noexcept {
    static const auto real = Real(&pthread_mutex_init, "pthread_mutex_init");
    return failing::mutex_init.Fails() ? failing::mutex_init.error : real(mutex, attr);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static const auto real = Real(&pthread_mutex_lock, "pthread_mutex_lock");
    return failing::mutex_lock.Fails() ? failing::mutex_lock.error : real(mutex);
}

int open(const char* name, int flags, ...) {
    static const auto real = Real(&open, "open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (failing::open.Fails()) {
        errno = failing::open.error;
        return -1;
    }
    return real(name, flags, mode);
}

int fstat(int fd, struct stat* status) noexcept {
    static const auto real = Real(&fstat, "fstat");
    if (failing::fstat.Fails()) {
        errno = failing::fstat.error;
        return -1;
    }
    return real(fd, status);
}

ssize_t read(int fd, void* buffer, size_t size) {
    static const auto real = Real(&read, "read");
    if (failing::before_read)
        failing::before_read();
    if (failing::interrupt_reads) {
        static bool interrupt = false;
        interrupt = !interrupt;
        if (interrupt) {
            errno = EINTR;
            return -1;
        }
    }
    if (failing::bad_sector >= 0) {
        const off_t at = ::lseek(fd, 0, SEEK_CUR);
        if (at >= failing::bad_sector) {
            errno = EIO;
            return -1;
        }
        size = std::min(size, static_cast<size_t>(failing::bad_sector - at));
    }
    return real(fd, buffer, size);
}

ssize_t pread(int fd, void* buffer, size_t size, off_t at) {
    static const auto real = Real(&pread, "pread");
    if (failing::bad_sector >= 0) {
        if (at >= failing::bad_sector) {
            errno = EIO;
            return -1;
        }
        size = std::min(size, static_cast<size_t>(failing::bad_sector - at));
    }
    return real(fd, buffer, size, at);
}

} // extern "C"

#pragma GCC visibility pop
