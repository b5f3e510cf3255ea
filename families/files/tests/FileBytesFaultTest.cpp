// SPDX-License-Identifier: MIT
#include "families/files/tests/FileBytesFaultTest.h"

#include "lookup/builtin/FailingSystem.h"

#include <cerrno>

namespace {

using namespace kwlookup;
using failing::Fault;

TEST_P(FileBytesFaultTest, ErrorsHaveTheReasonOfTheSystem) {
    m_holder.Init(m_list);
    for (const bool is_long : {false, true}) {
        if (is_long)
            MakeLong();
        for (const int error : {EACCES, EMFILE}) {
            const Fault fault(failing::open, error);
            EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(error));
            EXPECT_TRUE(fault.Happened());
        }
        for (int calls = 0; calls < 2; ++calls) {
            const Fault fault(failing::fstat, EIO, calls);
            EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
            EXPECT_TRUE(fault.Happened());
        }
        failing::bad_sector = 100;
        EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
        failing::bad_sector = -1;
    }
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
}

TEST_P(FileBytesFaultTest, AReadErrorIsNotAMiss) {
    MakeLong();
    m_holder.Init(m_list);
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
    failing::bad_sector = 100;
    EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
    failing::bad_sector = -1;
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
    {
        const Fault fault(failing::fstat, EIO);
        EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
    }
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
}

} // namespace
