// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <stdexcept>
#include <string>
#include <string_view>

/// Opens a file that is to be loaded. Throws CanNotLoad(), also for a directory.
FileDescriptor OpenTextFile(const std::string& name);

/// "Can not load file 'NAME': REASON", with the reason that `error_number` stands for.
std::invalid_argument CanNotLoad(const std::string& name, int error_number);

/// The first line of a file without the byte order mark that some editors put there.
std::string_view WithoutByteOrderMark(std::string_view first_line);
