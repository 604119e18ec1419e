// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <fmt/format.h>

#include <algorithm>
#include <csignal>

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

// Ctrl-C waits until the command that runs has ended: both copies are written, or
// the next access mends them.
class Uninterrupted {
public:
    Uninterrupted() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGHUP);
        sigprocmask(SIG_BLOCK, &signals, &before_);
    }
    ~Uninterrupted() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;

private:
    sigset_t before_{};
};

void print_log(const host::LogLine& line) {
    const char* const kind = line.level == PLATFORM_LOG_ERROR ? "warning" : "note";
    fmt::print(stderr, "{}: {}\n", kind, printable_log(line.text));
}

std::string content_of(host::DiagObject* object, const platform_attribute* entry) {
    std::vector<char> page(kAttributeBytes);
    const s64 length = entry->show(object, entry, page.data());
    return {page.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

class BoardTarget : public Target {
public:
    BoardTarget(std::filesystem::path board_file, LogLines wanted)
        : path_(std::move(board_file)), wanted_(wanted), client_([](u32 command, void* record) {
              const Uninterrupted whole;
              return static_cast<u32>(host::device_ioctl(command, record));
          }) {}

    const Client& client() override {
        load();
        return client_;
    }

    bool is_mounted(u32 inst) override {
        const std::vector<u32> mounted = host::stored_state(path_).mounted;
        return std::find(mounted.begin(), mounted.end(), inst) != mounted.end();
    }

    // What the sessions so far left: reading the log adds nothing to it.
    std::vector<LogEntry> log() override {
        const host::BoardFile file = host::BoardFile::read(path_);
        const host::BoardLock lock(file, host::Access::kReadOnly);
        std::vector<LogEntry> entries;
        for (const host::LogLine& line : host::parse_log(host::stored_state(path_).log)) {
            entries.push_back({line.level, line.text});
        }
        return entries;
    }

    std::optional<std::string> attribute(const std::string& name) override {
        load();
        for (host::DiagObject* object : host::diag_objects()) {
            if (object->group == nullptr) continue;
            for (platform_attribute** entry = object->group->attributes; *entry != nullptr;
                 ++entry) {
                if ((*entry)->name == name) return content_of(object, *entry);
            }
        }
        return std::nullopt;
    }

    host::BoardFile board_file() override { return host::BoardFile::read(path_); }

    std::vector<PoolReport> inspect(const PoolFilter& filter) override {
        host::BoardFile file = host::BoardFile::read(path_);
        std::unique_ptr<host::BoardLock> lock;
        if (!session_) lock = std::make_unique<host::BoardLock>(file, host::Access::kReadOnly);
        const auto board = host::Board::open(std::move(file), host::Access::kReadOnly);
        return macctl::inspect(board.get(), filter);
    }

private:
    u32 level_of(const host::BoardFile& file) const {
        switch (wanted_) {
            case LogLines::kNone:
                return 0;
            case LogLines::kUpToTheBoardsLevel:
                return file.log_level();
            case LogLines::kAll:
                return PLATFORM_LOG_DUMP;
        }
        return 0;
    }

    void load() {
        if (session_) return;
        host::BoardFile file = host::BoardFile::read(path_);
        const u32 level = level_of(file);
        host::log_set_level(std::max(level, PLATFORM_LOG_NOTICE));
        host::log_set_sink([level](const host::LogLine& line) {
            if (line.level <= level) print_log(line);
        });
        session_ = std::make_unique<host::Session>(std::move(file));
        const host::Module& module = session_->module();
        if (module.status() != MAC_OK) {
            throw StartUpError("the module does not start: " + describe_status(module.status()));
        }
        if (module.listing_status() != MAC_OK) {
            fmt::print(stderr, "macctl: {}: <mac> is loaded in part only: {}\n", path_.string(),
                       describe_status(module.listing_status()));
        }
    }

    std::filesystem::path path_;
    LogLines wanted_;
    Client client_;
    std::unique_ptr<host::Session> session_;
};

}  // namespace

std::unique_ptr<Target> open_board(const std::filesystem::path& board_file, LogLines wanted) {
    return std::make_unique<BoardTarget>(board_file, wanted);
}

}  // namespace macctl
