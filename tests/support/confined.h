// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Programs that some calls of the kernel are kept from, or get an answer of our own.
#ifndef TESTS_SUPPORT_CONFINED_H
#define TESTS_SUPPORT_CONFINED_H

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>

#include <cstddef>
#include <span>

#include "tests/support/folder.h"

namespace test {

// The lower half of an argument, on either byte order that we run on.
constexpr unsigned kFirstArgument = offsetof(seccomp_data, args);
constexpr unsigned argument_at(unsigned index) { return kFirstArgument + 8 * index; }

// From here on, in this process and in those that it starts. False where the kernel refuses.
bool confine(std::span<const sock_filter> filter);

// run() under a filter, of one command without redirections; the status of a program that a
// signal ended is that signal's number and 128.
Outcome run_confined(const Folder& folder, const std::string& command,
                     std::span<const sock_filter> filter);

}  // namespace test

#endif
