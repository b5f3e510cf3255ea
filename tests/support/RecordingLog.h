// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <ostream>
#include <string>
#include <vector>

/// The levels of lines.
inline constexpr auto ERROR = log4cxx::Level::LEVEL_ERROR;
inline constexpr auto WARN = log4cxx::Level::LEVEL_WARN;
inline constexpr auto DEBUG = log4cxx::Level::LEVEL_DEBUG;

/// Records log lines. A test program that links this replaces LogClass as a host does: it defines
/// the members of the class in the executable.
///
/// A logger with an empty name has every level off.
/// Threads: writing is guarded; GetLines() and the setters are for the test's own thread.
class RecordingLog {
public:
    struct Line {
        int level;
        std::string logger;
        std::string text;

        bool operator==(const Line& other) const {
            return level == other.level && logger == other.logger && text == other.text;
        }
        friend void PrintTo(const Line& line, std::ostream* out) {
            *out << line.level << " " << line.logger << ": " << line.text;
        }
    };

    /// Forget all lines, enable levels up to `level`, and stop failing.
    static void Reset(log4cxx::Level::LevelEnum level = log4cxx::Level::LEVEL_DEBUG);

    /// Disable all levels.
    static void Silence();

    /// Let forcedLog() throw std::runtime_error("log is full") for texts that contain `part`.
    static void FailOn(const std::string& part);

    static std::vector<Line> GetLines();

    /// The texts written at `level`, in order.
    static std::vector<std::string> Texts(int level);
};
