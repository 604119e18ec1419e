// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Runs single tests with single faults, each fault in a child of its own, so that a
// fault costs a run and not a start of the program.
#ifndef TESTS_MUTANTS_SERVER_H
#define TESTS_MUTANTS_SERVER_H

#include <string>

namespace planted {

// How a child ends that was not killed by a signal.
inline constexpr int kPassed = 0;
inline constexpr int kFailed = 61;
inline constexpr int kTimedOut = 62;
inline constexpr int kSanitizer = 63;  // ASAN_OPTIONS and UBSAN_OPTIONS say so

// Counters from 0 again, and where they end.
void begin_test(unsigned long most_rounds, unsigned long most_calls);

// Whether a loop only ended because of its counter.
bool loop_was_ended();

// Reads jobs from standard input until its end; see server.cc. The tests' temporary files
// lie in the folder `scratch`, which is emptied after each job.
int serve(const std::string& scratch);

}  // namespace planted

#endif
