// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/FileStamp.h"

#include "conf/ConfParser.h"
#include "objects/KwObjectHolder.h"

#include <stdexcept>
#include <sys/stat.h>

namespace kwlookup {

FileStamp::FileStamp(const std::string& file_name) : name(file_name) {
    struct stat status {};
    if (::stat(name.c_str(), &status) == 0)
        state = {static_cast<std::uint64_t>(status.st_dev),
                 static_cast<std::uint64_t>(status.st_ino),
                 static_cast<std::uint64_t>(status.st_size),
                 static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                 static_cast<std::uint64_t>(status.st_mtim.tv_nsec),
                 static_cast<std::uint64_t>(status.st_ctim.tv_sec),
                 static_cast<std::uint64_t>(status.st_ctim.tv_nsec)};
}

std::vector<FileStamp> StampFiles(const std::string& objects) {
    std::vector<FileStamp> files;
    std::vector<std::string> items;
    std::vector<std::string> parts;
    try {
        ConfParser::SplitVector(objects, items, ',');
        for (const std::string& item : items) {
            std::string type, params;
            KwObjectHolder::ParseObject(item, type, params);
            if (type == "file") {
                files.emplace_back(params);
            } else if (type == "rfile") {
                ConfParser::SplitVector(params, parts, '|');
                files.emplace_back(parts.empty() ? std::string() : parts.back());
            }
        }
    } catch (const std::invalid_argument&) { // loading the list reports it
    }
    return files;
}

} // namespace kwlookup
