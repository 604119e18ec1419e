// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The journal of calls, and numbers that a test gives to services.
#include "platform/bounded.h"
#include "platform/host/journal.h"
#include "platform/log.h"
#include "platform/mtd.h"
#include "tests/support/fixture.h"
#include "tests/support/journal.h"

namespace {

using test::Journal;

using HostJournal = test::PlatformTest;

TEST_F(HostJournal, KeepsTheCallsInOrder_FromItsMakingToItsEnd) {
    char text[8];
    (void)sprintf_s(text, sizeof(text), "%s", "early");
    {
        Journal journal;
        (void)sprintf_s(text, sizeof(text), "%s", "a");
        (void)memset_s(text, sizeof(text), 0, 3);
        (void)drv_log_register(7, "seven", 100);
        EXPECT_EQ(journal.take(),
                  (Journal::Calls{"sprintf_s 8", "memset_s 8 3", "drv_log_register 7 seven 100"}));
        EXPECT_EQ(journal.take(), Journal::Calls{});
    }
    EXPECT_FALSE(host::g_journal_kept);
    (void)sprintf_s(text, sizeof(text), "%s", "late");
}

TEST_F(HostJournal, KeepsTheWantedCalls_AndRunsActionsWhenTheyBegin) {
    char text[8] = "before";
    Journal journal({"memset_s"});
    std::string seen;
    journal.at("sprintf_s", [&] { seen += text; });
    (void)sprintf_s(text, sizeof(text), "%s", "after");
    (void)memset_s(text, sizeof(text), 0, 8);
    EXPECT_EQ(seen, "before");
    EXPECT_EQ(journal.take(), (Journal::Calls{"memset_s 8 8"}));
}

TEST_F(HostJournal, CallsThatArePlannedToFail_AreKeptToo) {
    char text[8];
    Journal journal;
    host::faults().fail(host::Call::kMemset, 1, 9);
    EXPECT_EQ(memset_s(text, sizeof(text), 0, 3), 9);
    EXPECT_EQ(journal.take(), (Journal::Calls{"memset_s 8 3"}));
}

TEST_F(HostJournal, GivenNumber_IsYielded_UntilTheFaultsAreCleared) {
    use_board(test::board_with(""));
    u64 bytes = 0;
    host::faults().give(host::Call::kMtdSize, 0x500000000);
    EXPECT_EQ(platform_mtd_size("manuinfo", &bytes), 0);
    EXPECT_EQ(bytes, 0x500000000u);
    EXPECT_NE(platform_mtd_size("other", &bytes), 0) << "it makes no partition";
    host::faults().clear();
    EXPECT_EQ(platform_mtd_size("manuinfo", &bytes), 0);
    EXPECT_EQ(bytes, 0x20000u);
}

}  // namespace
