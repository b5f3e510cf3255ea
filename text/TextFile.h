// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kwlookup {

/// Opens a file whose bytes are to be read from the first to the last, without waiting for anybody.
///
/// That is a regular file, /dev/null, or a pipe that this process was given as a descriptor: under
/// the name /dev/stdin, /dev/fd/N or /proc/self/fd/N. Another pipe could keep the reader waiting
/// for a writer for ever, and a device need not have an end.
/// Throws std::runtime_error "NAME: REASON": the system's text, or "not a regular file".
FileDescriptor OpenInput(const std::string& name);

/// How much of a file that OpenInput() gave is to be read: its size now, so that a reader comes to
/// an end while another program appends. UINT64_MAX where only reading can tell: a pipe, or a file
/// that has bytes but no size, as under /proc.
std::uint64_t BytesToRead(int fd);

/// Opens a file that is to be loaded, as OpenInput() does.
/// Throws std::invalid_argument "Can not load file 'NAME': REASON".
FileDescriptor OpenTextFile(const std::string& name);

/// "Can not load file 'NAME': REASON", with the reason that `error_number` stands for.
std::invalid_argument CanNotLoad(const std::string& name, int error_number);

/// The first line of a file without the byte order mark that some editors put there.
std::string_view WithoutByteOrderMark(std::string_view first_line);

} // namespace kwlookup
