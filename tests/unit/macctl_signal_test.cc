// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl ended by a signal at each of its calls that change a file: what stands there is the
// old file or the new one, and nothing stays beside it.
#include <algorithm>
#include <csignal>
#include <map>
#include <set>
#include <sstream>
#include <utility>

#include "tests/support/macctl_fixture.h"

namespace {

struct Writer {
    const char* arguments;
    const char* file;
};

const Writer kWriters[] = {
    {"export -t 0 -i 0xffffffff b.json", "b.json"},
    {"board map --svg m.svg", "m.svg"},
    {"board compile o.dtb", "o.dtb"},
    {"board install --firmware fw", "fw/mac_mng/board.dtb"},
    {"list -t 0 --format link --interfaces lan0 --directory .", "70-mac_mng-lan0.link"},
    {"record encode d.bin --format qolt --base 02:00:00:00:00:01 --count 4 --yes", "d.bin"},
    {"mount -i 3", "demo.xml.state"},
};

// A call of the kernel, and how many of that name there were up to it.
struct Call {
    std::string name;
    size_t number;
};

class MacctlSignal : public test::MacctlTest {
protected:
    MacctlSignal() {
        rehearsed = false;
        change("set block -t 0 00:11:22:33:44:00 16");
        EXPECT_EQ(sh("mkdir -p fw/mac_mng").status, 0);
    }

    // The calls of a command that lock, write or replace a file, in their order; of equal calls
    // on one file, a log written line by line above all, the first and the last.
    std::vector<Call> calls_of(const std::string& arguments) const {
        EXPECT_EQ(trace(arguments, " -y"), 0) << arguments;
        std::istringstream lines(folder.read("calls"));
        std::map<std::string, size_t> numbers;
        std::map<std::string, std::pair<size_t, size_t>> ends;  // the first and last line of a kind
        std::vector<Call> all;
        for (std::string line; std::getline(lines, line);) {
            const std::string name = line.substr(0, line.find('('));
            const std::string kind = line.substr(0, line.find('>'));
            ends.try_emplace(kind, all.size(), 0).first->second.second = all.size();
            all.push_back({name, ++numbers[name]});
        }
        std::set<size_t> chosen;
        for (const auto& [kind, lines_of_it] : ends) {
            chosen.insert({lines_of_it.first, lines_of_it.second});
        }
        std::vector<Call> calls;
        for (const size_t index : chosen) calls.push_back(all[index]);
        EXPECT_GT(calls.size(), 5u) << arguments;
        return calls;
    }

    // Runs a command and sends the signal as the call begins. How it ended, as the shell tells.
    int end_at(const std::string& arguments, int signal, const Call& call) const {
        return trace(arguments, " -e inject=" + call.name + ":signal=" + std::to_string(signal) +
                                    ":when=" + std::to_string(call.number));
    }

    std::string left_beside() const { return sh("find . -name '*.mac_mng-new' | sort").out; }

    // The file before and after a run that nothing disturbs.
    void prepare(const Writer& writer, std::string* before, std::string* after) {
        const bool is_state = std::string(writer.file) == "demo.xml.state";
        if (!is_state) folder.write(writer.file, std::string(64, '\xff'));
        *before = folder.read(writer.file);
        EXPECT_EQ(macctl(writer.arguments).status, 0);
        *after = folder.read(writer.file);
        EXPECT_NE(*before, *after) << writer.arguments;
        folder.write(writer.file, *before);
        state_ = folder.read("demo.xml.state");
    }

    // As prepare() left it: the log that is kept decides how often it is written.
    void start_over(const Writer& writer, const std::string& before) const {
        folder.write("demo.xml.state", state_);
        folder.write(writer.file, before);
    }

private:
    std::string state_;

    static constexpr const char* kCalls = "/^(flock|write|fchown|fchmod|fsync|rename(at2?)?)$";

    // The leaks' checker of a sanitized build cannot work beside another tracer, and a shell's
    // background jobs ignore SIGINT.
    int trace(const std::string& arguments, const std::string& more) const {
        (void)sh(
            "env --default-signal=INT ASAN_OPTIONS=detect_leaks=0 GCOV_PREFIX=/dev/null strace -qq "
            "-o calls -e trace='" +
            std::string(kCalls) + "'" + more + " " MACCTL_PROGRAM " -b demo.xml " + arguments +
            " >/dev/null; echo $? >status");
        return std::stoi(folder.read("status"));
    }
};

TEST_F(MacctlSignal, CtrlC_AtAnyCall_LeavesTheOldFileOrTheNewOne) {
    for (const Writer& writer : kWriters) {
        std::string before;
        std::string after;
        prepare(writer, &before, &after);
        const std::vector<Call> calls = calls_of(writer.arguments);
        size_t old = 0;
        for (const Call& call : calls) {
            start_over(writer, before);
            EXPECT_EQ(end_at(writer.arguments, SIGINT, call), 128 + SIGINT)
                << writer.arguments << " " << call.name << call.number;
            const std::string now = folder.read(writer.file);
            EXPECT_TRUE(now == before || now == after)
                << writer.arguments << " " << call.name << call.number;
            old += now == before ? 1 : 0;
            EXPECT_EQ(left_beside(), "") << writer.arguments << " " << call.name << call.number;
        }
        EXPECT_GT(old, 0u) << writer.arguments;
        EXPECT_LT(old, calls.size()) << writer.arguments;
    }
}

TEST_F(MacctlSignal, TheOthers_AsCtrlC) {
    std::string before;
    std::string after;
    prepare(kWriters[0], &before, &after);
    const std::vector<Call> calls = calls_of(kWriters[0].arguments);
    for (const int signal : {SIGTERM, SIGHUP}) {
        for (const Call& call : calls) {
            start_over(kWriters[0], before);
            EXPECT_EQ(end_at(kWriters[0].arguments, signal, call), 128 + signal)
                << call.name << call.number;
            const std::string now = folder.read(kWriters[0].file);
            EXPECT_TRUE(now == before || now == after) << call.name << call.number;
            EXPECT_EQ(left_beside(), "") << call.name << call.number;
        }
    }
}

TEST_F(MacctlSignal, Killed_LeavesOneFileAtMost_ThatTheNextRunRemoves) {
    size_t left = 0;
    for (const Writer& writer : kWriters) {
        std::string before;
        std::string after;
        prepare(writer, &before, &after);
        for (const Call& call : calls_of(writer.arguments)) {
            start_over(writer, before);
            EXPECT_EQ(end_at(writer.arguments, SIGKILL, call), 128 + SIGKILL)
                << writer.arguments << " " << call.name << call.number;
            const std::string now = folder.read(writer.file);
            EXPECT_TRUE(now == before || now == after)
                << writer.arguments << " " << call.name << call.number;
            const std::string beside = left_beside();
            EXPECT_LE(std::count(beside.begin(), beside.end(), '\n'), 1) << beside;
            if (beside.empty()) continue;
            ++left;
            folder.write(writer.file, before);
            EXPECT_EQ(macctl(writer.arguments).status, 0) << writer.arguments;
            EXPECT_EQ(left_beside(), "") << writer.arguments << " " << call.name << call.number;
        }
    }
    EXPECT_GT(left, std::size(kWriters)) << "some were killed in the middle";
}

TEST_F(MacctlSignal, KilledAtFirstUse_LeavesWholeImages) {
    const char* const first = "rm -f *.bin .*mac_mng-new demo.xml.state";
    ASSERT_EQ(sh(first).status, 0);
    for (const Call& call : calls_of("board init")) {
        ASSERT_EQ(sh(first).status, 0);
        EXPECT_EQ(end_at("board init", SIGKILL, call), 128 + SIGKILL) << call.name << call.number;
        const std::string sizes = sh("stat -c %s *.bin 2>/dev/null | sort -un").out;
        EXPECT_EQ(sizes.find_first_not_of("0123456789\n"), std::string::npos);
        const std::string beside = left_beside();
        EXPECT_LE(std::count(beside.begin(), beside.end(), '\n'), 1) << beside;
        const auto next = macctl("board init");
        EXPECT_EQ(next.status, 0) << next.err;
        EXPECT_EQ(next.out.find("cut short"), std::string::npos) << next.out;
        EXPECT_EQ(left_beside(), "") << call.name << call.number;
    }
}

}  // namespace
