// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What is only for a terminal, on a pseudo-terminal, and that it stays away from
// everything else.
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "tools/macctl/terminal.h"

namespace {

void work_for_a_while() {
    macctl::Progress progress("importing", 4);
    progress.step(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    progress.step(2);
}

// What a child prints on its terminal.
template <typename Action>
std::string on_terminal(Action action) {
    int master = -1;
    const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
    if (child == 0) {
        action();
        fflush(nullptr);
        _exit(0);
    }
    std::string text;
    char buffer[256];
    for (ssize_t got = 0; (got = read(master, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(got));
    }
    waitpid(child, nullptr, 0);
    close(master);
    return text;
}

TEST(Terminal, Progress_AppearsAfterASecond_AndGoesAway) {
    EXPECT_EQ(on_terminal(work_for_a_while),
              "\rimporting [" + std::string(15, '#') + std::string(15, ' ') + "] 2/4\r\033[K");
}

TEST(Terminal, Progress_StaysAwayFromFiles) {
    testing::internal::CaptureStderr();
    work_for_a_while();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Terminal, Colours_AreForTerminals) {
    EXPECT_EQ(macctl::coloured("good", macctl::Colour::kGood), "good");
    setenv("TERM", "xterm", 1);
    const auto print = [] { printf("%s", macctl::coloured("bad", macctl::Colour::kBad).c_str()); };
    EXPECT_EQ(on_terminal(print), "\033[1;31mbad\033[0m");
    setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(on_terminal(print), "bad");
    unsetenv("NO_COLOR");
}

TEST(Terminal, Table_AlignsItsColumns) {
    macctl::Table table({"A", "LONG", "B"});
    table.add({"1", "2", "3"}, {});
    table.add({"wide", "x", "y"}, {macctl::Colour::kGood});
    EXPECT_EQ(table.text(), "A     LONG  B\n1     2     3\nwide  x     y\n");
}

TEST(Terminal, Confirm_WithoutATerminal_IsNoAndWasNotAsked) {
    bool asked = true;
    const int saved = dup(STDIN_FILENO);
    ASSERT_NE(freopen("/dev/null", "r", stdin), nullptr);
    EXPECT_FALSE(macctl::confirm("Replace it?", &asked));
    EXPECT_FALSE(asked);
    dup2(saved, STDIN_FILENO);
    close(saved);
}

}  // namespace
