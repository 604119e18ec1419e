// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/journal.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace host {

namespace {

Journal kept_journal;

}  // namespace

bool g_journal_kept = false;

void keep_journal(Journal journal) {
    kept_journal = std::move(journal);
    g_journal_kept = static_cast<bool>(kept_journal);
}

void write_journal(const char* format, ...) {
    char call[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(call, sizeof(call), format, arguments);
    va_end(arguments);
    kept_journal(call);
}

}  // namespace host
