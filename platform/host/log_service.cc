// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/log_service.h"

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "platform/host/checker.h"
#include "platform/host/journal.h"
#include "platform/log.h"

namespace {

constexpr u32 kUnregisteredBytes = 8192;

struct Ring {
    std::string name;
    u32 capacity = kUnregisteredBytes;
    u32 bytes = 0;
    std::deque<host::LogLine> lines;

    // A line costs its text, a line end and a level byte.
    static u32 cost(const host::LogLine& line) { return static_cast<u32>(line.text.size()) + 2; }

    void append(host::LogLine line) {
        bytes += cost(line);
        lines.push_back(std::move(line));
        trim();
    }

    void trim() {
        while (bytes > capacity && lines.size() > 1) {
            bytes -= cost(lines.front());
            lines.pop_front();
        }
    }
};

struct Log {
    std::mutex lock;
    std::map<u32, Ring> rings;
    u32 level = PLATFORM_LOG_DUMP;
    host::LogSink sink;
};

Log& log() {
    static Log instance;
    return instance;
}

std::string format_line(const char* format, va_list arguments) {
    char text[512];
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(text, sizeof(text), format, arguments);
    std::string line(text);
    if (length >= static_cast<int>(sizeof(text))) {
        line.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(line.data(), line.size(), format, again);
        line.pop_back();
    }
    va_end(again);
    return line;
}

}  // namespace

namespace host {

std::vector<LogLine> log_lines(u32 module) {
    const std::lock_guard guard(log().lock);
    const Ring& ring = log().rings[module];
    return {ring.lines.begin(), ring.lines.end()};
}

void log_for_each(u32 module, const std::function<void(const LogLine&)>& visit) {
    const std::lock_guard guard(log().lock);
    for (const LogLine& line : log().rings[module].lines) visit(line);
}

u32 log_set_level(u32 level) { return std::exchange(log().level, level); }

void log_set_sink(LogSink sink) {
    const std::lock_guard guard(log().lock);
    log().sink = std::move(sink);
}

void log_clear() {
    const std::lock_guard guard(log().lock);
    log().rings.clear();
}

}  // namespace host

u32 drv_log_register(u32 module, const char* name, u32 bytes) {
    host_journal("drv_log_register %u %s %u", module, name, bytes);
    host::might_sleep("drv_log_register");
    u32 code = 0;
    if (host::faults().hit(host::Call::kLogRegister, &code)) return code;
    const std::lock_guard guard(log().lock);
    Ring& ring = log().rings[module];
    ring.name = name;
    ring.capacity = bytes;
    ring.trim();
    return 0;
}

void drv_log_record(u32 module, u32 level, u32 reserved, const char* format, ...) {
    if (reserved != 0) host::violation("drv_log_record: the reserved argument is %u", reserved);
    if (level > log().level) return;
    va_list arguments;
    va_start(arguments, format);
    host::LogLine line{module, level, format_line(format, arguments)};
    va_end(arguments);
    const std::lock_guard guard(log().lock);
    if (log().sink) log().sink(line);
    log().rings[module].append(std::move(line));
}
