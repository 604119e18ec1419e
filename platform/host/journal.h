// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What the system hands to the services of its platform, call by call: the orders and the
// arguments that leave no other trace.
#ifndef PLATFORM_HOST_JOURNAL_H
#define PLATFORM_HOST_JOURNAL_H

#include <functional>
#include <string>

namespace host {

// Is told of each call when it begins: the function and its arguments, with a blank between
// them; numbers in decimal, the addresses of callers in hexadecimal. Buffers are left out.
using Journal = std::function<void(const std::string& call)>;

// Set while one thread runs; an empty one ends it.
void keep_journal(Journal journal);

// For the services: a load when no journal is kept.
extern bool g_journal_kept;
void write_journal(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace host

// A macro, so that the arguments are evaluated only when a journal is kept.
#define host_journal(...)                                           \
    do {                                                            \
        if (host::g_journal_kept) host::write_journal(__VA_ARGS__); \
    } while (false)

#endif
