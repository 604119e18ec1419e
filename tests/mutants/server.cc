// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Standard output begins with "tests N" and the names of all tests, one a line. Then one
// answer for each job, a line each:
//
//   record TEST MAX-FAULT
//     -> VERDICT MICROSECONDS ROUNDS CALLS NUMBER... of the faults that the test reaches
//   run FAULT TEST:ROUNDS:CALLS:SECONDS ...
//     -> VERDICT TEST DETAIL: the tests in this order, with the limits of each, until one
//        notices the fault
//
// TEST is a number, from 0. VERDICT is passed, failed (an expectation), sanitizer, checker
// (the platform of the tests ended the process) or timeout.
#include "tests/mutants/server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/mutants/planted.h"

namespace planted {

namespace {

constexpr size_t kFaultsMax = 1 << 18;

// A child that is found asleep so many times waits for ever.
constexpr int kLookEvery = 5;  // seconds
constexpr int kLooksAsleep = 4;

// What a child tells, also after its end.
struct Shared {
    size_t at;  // of the job's tests
    unsigned long rounds;
    unsigned long calls;
    long microseconds;
    char detail[400];
    unsigned char reached[kFaultsMax];
};
Shared* shared = nullptr;

struct Run {
    size_t test;
    unsigned long rounds;
    unsigned long calls;
    unsigned seconds;
};

std::vector<std::string> test_names() {
    std::vector<std::string> names;
    const ::testing::UnitTest& all = *::testing::UnitTest::GetInstance();
    for (int suite = 0; suite < all.total_test_suite_count(); ++suite) {
        const ::testing::TestSuite& tests = *all.GetTestSuite(suite);
        for (int test = 0; test < tests.total_test_count(); ++test) {
            names.push_back(std::string(tests.name()) + "." + tests.GetTestInfo(test)->name());
        }
    }
    return names;
}

// The first failed expectation ends the child.
class FirstFailure : public ::testing::EmptyTestEventListener {
    void OnTestPartResult(const ::testing::TestPartResult& result) override {
        if (!result.failed()) return;
        std::string summary = result.summary();
        for (char& character : summary) character = character == '\n' ? ' ' : character;
        std::snprintf(shared->detail, sizeof(shared->detail), "%s:%d: %s",
                      result.file_name() == nullptr ? "" : result.file_name(), result.line_number(),
                      summary.c_str());
        _exit(kFailed);
    }
};

// Of the processor: what else the machine does makes no test slower.
long microseconds_used() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return (used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1000000 + used.ru_utime.tv_usec +
           used.ru_stime.tv_usec;
}

void limit_time(unsigned seconds) {
    const rlim_t until = static_cast<rlim_t>(microseconds_used() / 1000000) + seconds;
    const rlimit limit{until, RLIM_INFINITY};
    setrlimit(RLIMIT_CPU, &limit);
}

[[noreturn]] void child(const std::vector<std::string>& names, const std::vector<Run>& runs,
                        int output) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    for (size_t at = 0; at < runs.size(); ++at) {
        const Run& run = runs[at];
        shared->at = at;
        limit_time(run.seconds);
        begin_test(run.rounds, run.calls);
        GTEST_FLAG_SET(filter, names[run.test]);
        const long start = microseconds_used();
        if (RUN_ALL_TESTS() != 0) _exit(kFailed);
        shared->microseconds = microseconds_used() - start;
        // It would not have ended.
        if (loop_was_ended()) _exit(kTimedOut);
        shared->rounds = rounds;
        shared->calls = calls;
    }
    _exit(kPassed);
}

// The line of what a child wrote that says why it ended.
std::string reason(int output) {
    std::string text(1 << 16, '\0');
    const ssize_t got = pread(output, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    std::istringstream lines(text);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("violation: ") != std::string::npos ||
            line.find("ERROR: ") != std::string::npos ||
            line.find("runtime error: ") != std::string::npos) {
            return line;
        }
        if (!line.empty()) last = line;
    }
    return last;
}

// Whether a process sleeps, as one does that waits for a lock.
bool sleeps(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string number;
    std::string name;
    std::string state;
    stat >> number >> name >> state;
    return state == "S";
}

// The child's end; one that only waits is killed.
int wait_for(pid_t pid) {
    pollfd end{static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
    for (int asleep = 0; poll(&end, 1, kLookEvery * 1000) == 0;) {
        asleep = sleeps(pid) ? asleep + 1 : 0;
        if (asleep == kLooksAsleep) kill(-pid, SIGKILL);
    }
    close(end.fd);
    int status = 0;
    waitpid(pid, &status, 0);
    kill(-pid, SIGKILL);  // what it may have started
    return status;
}

std::string verdict(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGXCPU || signal == SIGKILL ? "timeout" : "checker";
    }
    switch (WEXITSTATUS(status)) {
        case kPassed:
            return "passed";
        case kTimedOut:
            return "timeout";
        case kSanitizer:
            return "sanitizer";
        default:
            return "failed";
    }
}

std::string run_child(const std::vector<std::string>& names, const std::vector<Run>& runs,
                      std::string* detail) {
    const int output = memfd_create("output", MFD_CLOEXEC);
    shared->at = 0;
    shared->detail[0] = '\0';
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) child(names, runs, output);
    const std::string result = verdict(wait_for(pid));
    *detail = shared->detail;
    if (detail->empty() && result != "passed") *detail = reason(output);
    close(output);
    return result;
}

// A child that ended early leaves its scratch folders.
void sweep(const std::string& scratch) {
    std::error_code ignored;
    for (const auto& left : std::filesystem::directory_iterator(scratch, ignored)) {
        std::filesystem::remove_all(left.path(), ignored);
    }
}

void record(std::istream& job, const std::vector<std::string>& names) {
    size_t test = 0;
    size_t last = 0;
    job >> test >> last;
    std::fill_n(shared->reached, kFaultsMax, 0);
    recording = true;
    std::string detail;
    const std::string result = run_child(names, {{test, ~0ul, ~0ul, 600}}, &detail);
    recording = false;
    std::cout << result << ' ' << shared->microseconds << ' ' << shared->rounds << ' '
              << shared->calls;
    for (size_t number = 1; number <= last; ++number) {
        if (shared->reached[number] != 0) std::cout << ' ' << number;
    }
    if (result != "passed") std::cout << ' ' << detail;
    std::cout << std::endl;
}

void run(std::istream& job, const std::vector<std::string>& names) {
    unsigned number = 0;
    job >> number;
    std::vector<Run> runs;
    char colon = 0;
    for (Run run{};
         job >> run.test >> colon >> run.rounds >> colon >> run.calls >> colon >> run.seconds;) {
        runs.push_back(run);
    }
    fault = number;
    std::string detail;
    const std::string result = run_child(names, runs, &detail);
    fault = 0;
    const size_t test = runs.empty() ? 0 : runs[shared->at].test;
    std::cout << result << ' ' << test << ' ' << detail << std::endl;
}

}  // namespace

void note(unsigned number) {
    if (shared != nullptr && number < kFaultsMax) shared->reached[number] = 1;
}

int serve(const std::string& scratch) {
    setenv("TMPDIR", scratch.c_str(), 1);
    // As a test program that somebody starts at a terminal.
    for (const int each : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) signal(each, SIG_DFL);
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared = static_cast<Shared*>(memory);
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new FirstFailure);
    const std::vector<std::string> names = test_names();
    std::cout << "tests " << names.size() << '\n';
    for (const std::string& name : names) std::cout << name << '\n';
    std::cout.flush();
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream job(line);
        std::string kind;
        job >> kind;
        if (kind == "record") record(job, names);
        if (kind == "run") run(job, names);
        sweep(scratch);
    }
    return 0;
}

}  // namespace planted
