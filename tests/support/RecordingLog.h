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

/// Test programs that link this replace the host's LogClass by one that keeps what is written, the
/// way a host replaces it: by defining its members in the executable.
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

    /// Forgets all lines, enables levels up to `level`, and stops failing.
    static void Reset(log4cxx::Level::LevelEnum level = log4cxx::Level::LEVEL_DEBUG);

    /// Enables no level at all.
    static void Silence();

    /// From now on forcedLog throws std::runtime_error("log is full") for texts that hold `part`.
    static void FailOn(const std::string& part);

    static std::vector<Line> GetLines();

    /// The texts written at `level`, in order.
    static std::vector<std::string> Texts(int level);
};
