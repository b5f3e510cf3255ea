// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"
#include "support/DatabaseSupport.h"

#include <filesystem>
#include <string>

/// Failing system calls under plug-ins that read files of keys and values. The parameter is the
/// format; the tests of each plug-in instantiate it.
class FileBytesFaultTest : public DatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    FileBytesFaultTest() { MakeKeyValueFile(GetParam(), m_name, {{"a", "1"}}); }

    void MakeLong() { std::filesystem::resize_file(m_name, kwlookup::FileBytes::COPY_LIMIT + 1); }

    const std::string m_name = m_dir.Path("table");
    const std::string m_list = TypeOf(GetParam()) + ":OnError=exception|Database=" + m_name + "|$s";
    KwLookupHolder m_holder{m_log};
};
