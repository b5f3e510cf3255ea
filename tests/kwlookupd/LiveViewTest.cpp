// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/LiveView.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

using namespace kwlookup;

namespace {

const LogClass VIEW_LOG("kwlookupd");

/// The view of one list, with a clock that the test sets.
class ClockedView : public LiveView {
public:
    explicit ClockedView(const ListKeeper& lists) : LiveView({}, lists, 1) {}
    std::time_t GetTime() const override { return now; }

    std::time_t now = 1'700'000'000;
};

class LiveViewTest : public testing::Test {
protected:
    void Load(const std::string& text) {
        m_dir.Write("hosts", text);
        m_lists.Load(0, true);
    }

    std::vector<ListSettings> Settings() const {
        ListSettings settings;
        settings.name = "hosts";
        settings.objects = "file:" + m_dir.Path("hosts");
        return {settings};
    }

    const TempDir m_dir;
    bool m_notes = true;
    ClockedView* m_shown = nullptr;
    ListKeeper m_lists{Settings(), VIEW_LOG, [this](std::size_t number, const auto& list) {
                           if (m_notes)
                               m_shown->NotePublished(number, list);
                       }};
    ClockedView m_view{m_lists};
};

} // namespace

TEST_F(LiveViewTest, AWholeListHasALaterTimeForEachOtherContent) {
    m_shown = &m_view;
    EXPECT_EQ(m_view.GetWholeList(0), nullptr);
    const std::time_t start = m_view.now;
    Load("one.lan\n");
    m_view.now = start + 5;
    const auto changed = [&] { return m_view.GetWholeList(0)->changed - start; };
    EXPECT_EQ(changed(), 0) << "the time of publishing";
    m_view.now = start + 10;
    Load("two.lan\n");
    EXPECT_EQ(changed(), 10);
    m_view.now = start + 20;
    Load("two.lan"); // the same
    EXPECT_EQ(changed(), 10);
    m_lists.Rollback(0);
    EXPECT_EQ(m_view.GetWholeList(0)->text, "one.lan\n");
    EXPECT_EQ(changed(), 20);
    m_lists.Rollback(0);
    EXPECT_EQ(changed(), 21) << "in the same second";
    m_view.now = start;
    Load("three.lan\n");
    EXPECT_EQ(changed(), 22) << "after the clock was set back";
}

// Whoever asks must not make it: that is the thread that serves all clients.
TEST_F(LiveViewTest, MakesTheTextOfANewListWhereItIsLoaded) {
    m_shown = &m_view;
    Load("one.lan\n");
    const auto first = m_view.GetWholeList(0);
    m_notes = false;
    Load("two.lan\n");
    EXPECT_EQ(m_view.GetWholeList(0), first);
    m_notes = true;
    Load("three.lan\n");
    EXPECT_EQ(m_view.GetWholeList(0)->text, "three.lan\n");
}

TEST_F(LiveViewTest, KeepsNoListInMemory) {
    m_shown = &m_view;
    Load("one.lan\n");
    const std::weak_ptr<const ListGeneration> oldest = m_lists.GetList(0);
    m_view.GetWholeList(0);
    Load("two.lan\n");
    EXPECT_FALSE(oldest.expired()) << "for a rollback";
    Load("three.lan\n");
    EXPECT_TRUE(oldest.expired());
}
