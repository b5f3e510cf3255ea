// SPDX-License-Identifier: MIT
#include "kwhost/ConfFile.h"

#include "kwlog/PasswordName.h"
#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/SystemError.h"
#include "text/TextFile.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <ini.h>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace kwlookup {

namespace {

/// Enough for a list of about 30,000 addresses. The parser allocates it while it reads.
constexpr int LINE_BYTES = 1024 * 1024;
/// Enough for any password or statement. A longer file is the wrong one.
constexpr std::size_t VALUE_FILE_BYTES = 64 * 1024;
/// The INI parser silently truncates longer section names.
constexpr std::size_t SECTION_NAME_BYTES = 49;
/// Plug-ins have a dozen parameters, so no valid section has as many.
constexpr std::size_t SECTION_KEYS = 10000;

constexpr std::string_view FILE_SUFFIX = ".file";

/// Opens a file that only its owner, root or this user, may write to.
FileDescriptor OpenTrusted(const std::string& name) {
    if (name.find('\0') != std::string::npos)
        throw std::runtime_error("the file name holds a NUL byte");
    FileDescriptor file = OpenInput(name);
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0)
        throw std::runtime_error(name + ": " + SystemErrorText(errno));
    if (status.st_mode & (S_IWGRP | S_IWOTH))
        throw std::runtime_error(name + ": refused, others may write it (chmod go-w)");
    if (status.st_uid != 0 && status.st_uid != ::geteuid())
        throw std::runtime_error(name + ": refused, it belongs to another user");
    return file;
}

std::string UpperCase(std::string text) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    std::transform(text.begin(), text.end(), text.begin(), [&](char c) { return bytes.Upper(c); });
    return text;
}

bool HasSuffixNoCase(std::string_view text, std::string_view suffix) {
    return text.size() > suffix.size() &&
           LocaleBytes::Current().EqualNoCase(text.substr(text.size() - suffix.size()), suffix);
}

} // namespace

/// Feeds the lines of a file to the parser and takes its settings. The parser is a C library, so
/// its callbacks catch exceptions, which are thrown again after it has returned.
class ConfFile::Reader {
public:
    Reader(ConfFile& file, int fd) : m_file(file), m_lines(fd, BytesToRead(fd)) {}

    void Run() {
        static std::mutex lock;
        const std::lock_guard<std::mutex> guard(lock);
        ini_use_stack = false;
        ini_initial_alloc = LINE_BYTES;
        ini_max_line = LINE_BYTES;
        ini_allow_realloc = false;
        ini_allow_inline_comments = false;
        if (ini_parse_stream(GiveLine, this, TakeSetting, this) < 0)
            throw std::bad_alloc();
        if (m_thrown)
            std::rethrow_exception(m_thrown);
        if (m_lines.GetError() != 0)
            throw std::runtime_error(m_file.m_name + ": " + SystemErrorText(m_lines.GetError()));
    }

private:
    static char* GiveLine(char* buffer, int size, void* reader) {
        return static_cast<Reader*>(reader)->Guarded(
            [&](Reader& self) { return self.GiveLine(buffer, static_cast<std::size_t>(size)); });
    }

    static int TakeSetting(void* reader, const char* section, const char* key, const char* value) {
        static_cast<Reader*>(reader)->Guarded([&](Reader& self) {
            self.TakeSetting(section, key, value);
            return nullptr;
        });
        return 1;
    }

    template <typename Step>
    char* Guarded(Step step) {
        if (m_thrown)
            return nullptr;
        try {
            return step(*this);
        } catch (...) {
            m_thrown = std::current_exception();
            return nullptr;
        }
    }

    char* GiveLine(char* buffer, std::size_t size) {
        SettleLine();
        std::string_view line;
        if (!m_lines.Next(line))
            return nullptr;
        if (m_lines.GetLineNumber() == 1)
            line = WithoutByteOrderMark(line);
        // The buffer also holds the newline and the terminating NUL.
        if (line.size() + 2 > size) {
            AddError("the line is too long");
            line = std::string_view();
        } else if (line.find('\0') != std::string_view::npos) {
            AddError("the line holds a NUL byte");
            line = std::string_view();
        }
        m_line = line;
        m_taken = false;
        char* const end = std::copy(line.begin(), line.end(), buffer);
        end[0] = '\n';
        end[1] = '\0';
        return buffer;
    }

    /// Call it when the parser is done with a line. A line that gave no setting is a section
    /// header, a comment, blank or wrong.
    void SettleLine() {
        if (m_taken)
            return;
        LocaleBytes::Current().Trim(m_line);
        if (m_line.empty() || m_line[0] == '#' || m_line[0] == ';')
            return;
        const std::size_t end = m_line.find(']');
        if (m_line[0] != '[' || end == std::string::npos) {
            AddError("neither a section, nor a setting, nor a comment");
            return;
        }
        const std::string section = m_line.substr(1, end - 1);
        if (end + 1 != m_line.size())
            AddError("something follows the name of the section");
        if (section.size() > SECTION_NAME_BYTES)
            AddError("the name of the section is too long");
        Section& entry = m_file.m_sections[section];
        if (entry.line == 0)
            entry.line = m_lines.GetLineNumber();
        m_last = nullptr;
    }

    void TakeSetting(const char* section, const char* key, const char* value) {
        m_taken = true;
        const bool indented = LocaleBytes::Current().IsSpace(m_line[0]);
        if (indented && m_last) {
            m_last->value += std::string(" ") + value;
            return;
        }
        if (*section == '\0')
            AddError("the setting is not in a section");
        auto& settings = m_file.m_sections[section].settings;
        if (settings.size() > SECTION_KEYS) {
            m_last = nullptr;
            return;
        }
        // The INI parser accepts both.
        if (m_line[m_line.find_first_of("=:")] == ':')
            AddError("'=' must follow the key, not ':'");
        if (settings.size() == SECTION_KEYS)
            AddError("the section has more than " + std::to_string(SECTION_KEYS) + " keys");
        Setting setting{key, value, m_lines.GetLineNumber(), false, false};
        setting.secret = IsPasswordName(setting.key);
        settings.push_back(setting);
        m_last = &settings.back();
    }

    void AddError(const std::string& text) {
        m_file.m_errors.push_back(m_file.Place(m_lines.GetLineNumber()) + text);
    }

    ConfFile& m_file;
    LineReader m_lines;
    std::string m_line; ///< the line that the parser got last
    bool m_taken = true;
    Setting* m_last = nullptr; ///< the setting that an indented line continues
    std::exception_ptr m_thrown;
};

ConfFile::ConfFile(const std::string& name) : m_name(name) {
    const FileDescriptor file = OpenTrusted(name);
    Reader(*this, file.Get()).Run();
    for (auto& section : m_sections)
        CheckSection(section.second.settings);
}

void ConfFile::CheckSection(std::vector<Setting>& settings) {
    std::unordered_map<std::string, std::size_t> lines; // by key
    for (Setting& setting : settings) {
        if (HasSuffixNoCase(setting.key, FILE_SUFFIX)) {
            setting.key.resize(setting.key.size() - FILE_SUFFIX.size());
            setting.secret = true;
            setting.from_file = true;
            ReadValueFile(setting);
        }
        const auto [first, is_first] = lines.try_emplace(UpperCase(setting.key), setting.line);
        if (!is_first)
            m_errors.push_back(Place(setting.line) + "'" + setting.key +
                               "' is set a second time, after line " +
                               std::to_string(first->second));
    }
}

void ConfFile::ReadValueFile(Setting& setting) {
    try {
        const std::string name = std::exchange(setting.value, std::string());
        const FileDescriptor file = OpenTrusted(name);
        struct stat status {};
        if (::fstat(file.Get(), &status) == 0 && (status.st_mode & (S_IRGRP | S_IROTH)))
            m_warnings.push_back(Place(setting.line) + "'" + setting.key + "': " + name +
                                 ": others may read it (chmod go-r)");
        std::string& value = setting.value;
        value.resize(VALUE_FILE_BYTES + 1);
        std::size_t size = 0;
        std::ptrdiff_t got = 0;
        while (size < value.size() &&
               (got = ReadBlock(file.Get(), value.data() + size, value.size() - size)) > 0)
            size += static_cast<std::size_t>(got);
        if (got < 0)
            throw std::runtime_error(name + ": " + SystemErrorText(errno));
        if (size > VALUE_FILE_BYTES)
            throw std::runtime_error(name + ": the value is too long");
        value.resize(size);
        for (const char end : {'\n', '\r'})
            if (!value.empty() && value.back() == end)
                value.pop_back();
    } catch (const std::runtime_error& error) {
        m_errors.push_back(Place(setting.line) + "'" + setting.key + "': " + error.what());
    }
}

std::string ConfFile::Place(std::size_t line) const {
    return m_name + (line == 0 ? "" : ":" + std::to_string(line)) + ": ";
}

} // namespace kwlookup
