// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/mutants/planted.h"

#include <unistd.h>

#include <climits>

#include "tests/mutants/server.h"

namespace planted {

unsigned fault = 0;
bool recording = false;
unsigned long rounds = 0;
unsigned long rounds_max = ULONG_MAX;
unsigned long calls = 0;
unsigned long calls_max = ULONG_MAX;

namespace {

// More endless loops than this in one test, and it is given up.
constexpr unsigned kLoopsEnded = 8;
unsigned loops_ended = 0;

}  // namespace

void begin_test(unsigned long most_rounds, unsigned long most_calls) {
    rounds = 0;
    rounds_max = most_rounds;
    calls = 0;
    calls_max = most_calls;
    loops_ended = 0;
}

bool too_many_rounds() {
    if (++loops_ended > kLoopsEnded) _exit(kTimedOut);
    rounds -= rounds_max / 16;
    return true;
}

bool loop_was_ended() { return loops_ended != 0; }

void too_many_calls() { _exit(kTimedOut); }

}  // namespace planted
