// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kwlookup {

/// Opens a file to be read from beginning to end. Does not wait.
///
/// The file may be a regular file, /dev/null, or a pipe that this process holds as a descriptor,
/// named /dev/stdin, /dev/fd/N or /proc/self/fd/N. Other pipes and devices are refused: a pipe may
/// wait for a writer for ever, and a device may have no end.
/// Throws std::runtime_error "NAME: REASON" with the system's text or "not a regular file".
FileDescriptor OpenInput(const std::string& name);

/// Returns how many bytes to read from a file that OpenInput() opened: its current size, so that
/// reading ends while another program appends. UINT64_MAX for a pipe, and for a file that has bytes
/// but no size, as under /proc.
std::uint64_t BytesToRead(int fd);

/// Does the same as OpenInput(), with the message of a list that cannot be loaded.
/// Throws std::invalid_argument "Can not load file 'NAME': REASON".
FileDescriptor OpenTextFile(const std::string& name);

/// Makes the exception "Can not load file 'NAME': REASON" for an error number.
std::invalid_argument CanNotLoad(const std::string& name, int error_number);

/// Returns the first line of a file without the byte order mark that some editors write.
std::string_view WithoutByteOrderMark(std::string_view first_line);

} // namespace kwlookup
