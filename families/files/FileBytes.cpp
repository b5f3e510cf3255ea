// SPDX-License-Identifier: MIT
#include "families/files/FileBytes.h"

#include "text/Platform.h"
#include "text/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace kwlookup {

namespace {

FileDescriptor OpenFile(const std::string& name) {
    static_cast<void>(FileStamp(name)); // throws for a pipe: opening one waits for a writer
    FileDescriptor file = FileDescriptor::OpenForReading(name);
    if (!file)
        throw std::runtime_error(name + ": " + SystemErrorText(errno));
    return file;
}

} // namespace

std::shared_ptr<const FileBytes> FileBytes::Open(const std::string& name) {
    // Never freed: threads may still close files while the process exits.
    static auto& lock = *new std::mutex;
    static auto& open_files = *new std::vector<std::weak_ptr<const FileBytes>>;
    const FileStamp stamp(name);
    // Held while the file is read, so that several threads make only one copy.
    const std::lock_guard<std::mutex> guard(lock);
    for (const auto& known : open_files) {
        std::shared_ptr<const FileBytes> file = known.lock();
        if (file && file->m_name == name && file->m_stamp.IsUnchanged(stamp))
            return file;
    }
    open_files.erase(std::remove_if(open_files.begin(), open_files.end(),
                                    [](const auto& known) { return known.expired(); }),
                     open_files.end());
    std::shared_ptr<const FileBytes> file(new FileBytes(name));
    open_files.push_back(file);
    return file;
}

FileBytes::FileBytes(const std::string& name)
    : m_name(name), m_file(OpenFile(name)), m_stamp(name, m_file.Get()) {
    if (GetSize() > COPY_LIMIT)
        return;
    const auto size = static_cast<std::size_t>(GetSize());
    std::unique_ptr<char[]> copy(new char[size]);
    AdviseHugePages(copy.get(), size);
    ReadFile(0, size, copy.get());
    CheckUnchanged();
    m_copy = std::move(copy);
    m_file = FileDescriptor();
}

std::string_view FileBytes::Read(std::uint64_t offset, std::size_t length,
                                 std::string& buffer) const {
    if (offset >= GetSize())
        return {};
    length = static_cast<std::size_t>(std::min<std::uint64_t>(length, GetSize() - offset));
    if (m_copy)
        return {m_copy.get() + offset, length};
    buffer.resize(length);
    return {buffer.data(), ReadFile(offset, length, buffer.data())};
}

void FileBytes::CheckUnchanged() const {
    if (!m_copy && !FileStamp(m_name, m_file.Get()).IsUnchanged(m_stamp))
        throw std::runtime_error(m_name + ": written to while it was read");
}

std::size_t FileBytes::ReadFile(std::uint64_t offset, std::size_t length, char* bytes) const {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t part =
            ::pread(m_file.Get(), bytes + done, length - done, static_cast<off_t>(offset + done));
        if (part < 0 && errno == EINTR)
            continue;
        if (part < 0)
            throw std::runtime_error(m_name + ": " + SystemErrorText(errno));
        if (part == 0)
            break;
        done += static_cast<std::size_t>(part);
    }
    return done;
}

} // namespace kwlookup
