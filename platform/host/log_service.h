// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The log: one ring of lines per module number, and a sink that sees every line.
#ifndef PLATFORM_HOST_LOG_SERVICE_H
#define PLATFORM_HOST_LOG_SERVICE_H

#include <functional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace host {

struct LogLine {
    u32 module;
    u32 level;
    std::string text;

    bool operator==(const LogLine&) const = default;
};

using LogSink = std::function<void(const LogLine&)>;

// The lines of a module's ring, oldest first.
std::vector<LogLine> log_lines(u32 module);

// The same, one by one, without a copy.
void log_for_each(u32 module, const std::function<void(const LogLine&)>& visit);

// Lines above this level are dropped before they are formatted; 3 keeps all, 0 none.
// Returns the level before.
u32 log_set_level(u32 level);

// Called for every line that is kept; an empty one ends it.
void log_set_sink(LogSink sink);

// Empties and forgets all rings.
void log_clear();

}  // namespace host

#endif
