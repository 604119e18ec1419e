// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <fmt/format.h>

#include <algorithm>

#include "base/vocabulary.h"
#include "mac_mng/mac_status.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "platform/host/log_service.h"
#include "platform/log.h"
#include "tools/macctl/target.h"

namespace macctl {

namespace {

constexpr size_t kAttributeBytes = 4096;  // a page, as in sysfs

void print_log(const host::LogLine& line) {
    const char* const kind = line.level == PLATFORM_LOG_ERROR ? "warning" : "note";
    fmt::print(stderr, "{}: {}\n", kind, printable_log(line.text));
}

// The log's sink has to be there before the session starts the module.
class BoardLog {
protected:
    BoardLog(const std::filesystem::path& board_file, bool verbose) {
        const u32 level =
            verbose ? PLATFORM_LOG_DUMP : host::BoardFile::read(board_file).log_level();
        host::log_set_level(std::max(level, PLATFORM_LOG_NOTICE));
        host::log_set_sink([level](const host::LogLine& line) {
            if (line.level <= level) print_log(line);
        });
    }
};

class BoardTarget : private BoardLog, public Target {
public:
    BoardTarget(const std::filesystem::path& board_file, bool verbose)
        : BoardLog(board_file, verbose),
          Target([](u32 command, void* record) {
              return static_cast<u32>(host::device_ioctl(command, record));
          }),
          session_(board_file) {
        const host::Module& module = session_.module();
        if (module.status() != MAC_OK) {
            throw StartUpError("the module does not start: " + describe_status(module.status()));
        }
        if (module.listing_status() != MAC_OK) {
            fmt::print(stderr, "macctl: {}: <mac> is loaded in part only: {}\n",
                       board_file.string(), describe_status(module.listing_status()));
        }
    }

    std::vector<LogEntry> log() const override {
        std::vector<LogEntry> entries;
        for (const host::LogLine& line : host::log_lines(mac::kLogModule)) {
            entries.push_back({line.level, line.text});
        }
        return entries;
    }

    std::optional<std::string> attribute(const std::string& name) const override {
        for (host::DiagObject* object : host::diag_objects()) {
            if (object->group == nullptr) continue;
            for (platform_attribute** entry = object->group->attributes; *entry != nullptr;
                 ++entry) {
                if ((*entry)->name == name) return content(object, *entry);
            }
        }
        return std::nullopt;
    }

private:
    static std::string content(host::DiagObject* object, const platform_attribute* entry) {
        std::vector<char> page(kAttributeBytes);
        const s64 length = entry->show(object, entry, page.data());
        return {page.data(), length > 0 ? static_cast<size_t>(length) : 0};
    }

    host::Session session_;
};

}  // namespace

std::unique_ptr<Target> open_board(const std::filesystem::path& board_file, bool verbose) {
    return std::make_unique<BoardTarget>(board_file, verbose);
}

}  // namespace macctl
