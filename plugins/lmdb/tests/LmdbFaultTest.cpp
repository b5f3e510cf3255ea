// SPDX-License-Identifier: MIT
#include "families/files/FileBytes.h"
#include "lookup/builtin/FailingSystem.h"
#include "support/DatabaseSupport.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

using namespace kwlookup;
using failing::Fault;

class LmdbFaultTest : public DatabaseTest {};

TEST_F(LmdbFaultTest, ErrorsHaveTheReasonOfTheSystem) {
    const std::string name = m_dir.Path("table");
    MakeKeyValueFile("lmdb", name, {{"a", "1"}});
    // A long file is not copied into memory.
    for (const bool is_long : {false, true}) {
        if (is_long)
            std::filesystem::resize_file(name, FileBytes::COPY_LIMIT + 1);
        KwLookupHolder holder(m_log);
        holder.Init("lmdb:OnError=exception|Database=" + name + "|$s");
        for (const int error : {EACCES, EMFILE}) {
            const Fault fault(failing::open, error);
            EXPECT_EQ(SearchError(holder, "a"), name + ": " + std::strerror(error));
            EXPECT_TRUE(fault.Happened());
        }
        {
            const Fault fault(failing::fstat, EIO);
            EXPECT_EQ(SearchError(holder, "a"), name + ": " + std::strerror(EIO));
            EXPECT_TRUE(fault.Happened());
        }
        failing::bad_sector = 100;
        EXPECT_EQ(SearchError(holder, "a"), name + ": " + std::strerror(EIO));
        failing::bad_sector = -1;
        EXPECT_EQ(Ask(holder, "a").res, " 1");
    }
}

} // namespace
