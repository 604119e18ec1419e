// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <fmt/format.h>

#include <algorithm>

#include "base/vocabulary.h"
#include "mac_mng/mac_status.h"
#include "platform/host/device_service.h"
#include "platform/host/images.h"
#include "platform/host/loader.h"
#include "platform/host/log_service.h"
#include "platform/host/uninterrupted.h"
#include "platform/log.h"
#include "tools/macctl/board_check.h"
#include "tools/macctl/output.h"
#include "tools/macctl/target.h"

namespace macctl {

namespace {

constexpr size_t kAttributeBytes = 4096;  // a page, as in sysfs

void print_log(const host::LogLine& line) {
    const char* const kind = line.level == PLATFORM_LOG_ERROR ? "warning" : "note";
    put_err(fmt::format("{}: {}\n", kind, printable_log(line.text)));
}

std::string content_of(host::DiagObject* object, const platform_attribute* entry) {
    std::vector<char> page(kAttributeBytes);
    const s64 length = entry->show(object, entry, page.data());
    return {page.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

void warn(const std::string& text) { put_err(fmt::format("macctl: warning: {}\n", text)); }

// A board that was used before, or has other images, lost the ones that had to be made.
void tell_made(const host::Session& session) {
    const std::vector<std::string>& made = session.board().made();
    const bool all = made.size() == host::image_specs(session.board().file()).size();
    if (all && !session.is_continued()) return;
    for (const std::string& image : made) {
        warn(fmt::format("the image {} was not there and was made, erased", image));
    }
}

class BoardTarget final : public Target {
public:
    BoardTarget(std::filesystem::path board_file, const BoardUse& use)
        : path_(std::move(board_file)), use_(use), client_([](u32 command, void* record) {
              // Both copies are written, or the next access mends them.
              const host::Uninterrupted whole;
              return static_cast<u32>(host::device_ioctl(command, record));
          }) {}
    ~BoardTarget() override {
        try {
            finish();
        } catch (const host::WriteError& error) {
            warn(error.what());
        }
    }
    BoardTarget(const BoardTarget&) = delete;
    BoardTarget& operator=(const BoardTarget&) = delete;

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
        const host::BoardFile file = read();
        const host::BoardLock lock(file, host::Access::kReadOnly, use_.wait);
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
        host::BoardFile file = read();
        std::unique_ptr<host::BoardLock> lock;
        if (!session_) {
            lock = std::make_unique<host::BoardLock>(file, host::Access::kReadOnly, use_.wait);
        }
        const auto board = host::Board::open(std::move(file), host::Access::kReadOnly);
        return macctl::inspect(board.get(), filter);
    }

    void rehearse() override { (void)host::Board::open(read(), host::Access::kRehearse); }

    std::vector<std::string> reasons() const override {
        return session_ == nullptr ? std::vector<std::string>() : session_->refused();
    }

    void finish() override {
        const std::unique_ptr<host::Session> session = std::move(session_);
        if (session == nullptr) return;
        try {
            session->finish();
        } catch (const host::WriteError& error) {
            if (session->mounts_changed()) throw;
            // Who may only look leaves no lines in the log.
            if (!host::is_forbidden(error.code())) warn(error.what());
        }
    }

private:
    u32 level_of(const host::BoardFile& file) const {
        switch (use_.lines) {
            case LogLines::kNone:
                return 0;
            case LogLines::kUpToTheBoardsLevel:
                return file.log_level();
            case LogLines::kAll:
                return PLATFORM_LOG_DUMP;
        }
        return 0;
    }

    host::BoardFile read() {
        host::BoardFile file = host::BoardFile::read(path_);
        if (use_.tell_mistakes) tell_mistakes(file);
        use_.tell_mistakes = false;
        return file;
    }

    void load() {
        if (session_) return;
        host::BoardFile file = read();
        const u32 level = level_of(file);
        host::log_set_level(std::max(level, PLATFORM_LOG_NOTICE));
        host::log_set_sink([level](const host::LogLine& line) {
            if (line.level <= level) print_log(line);
        });
        session_ = std::make_unique<host::Session>(std::move(file), use_.wait);
        tell_made(*session_);
        const host::Module& module = session_->module();
        if (module.status() != MAC_OK) {
            throw StartUpError("the module does not start: " + describe_status(module.status()));
        }
        if (module.listing_status() != MAC_OK) {
            put_err(fmt::format("macctl: {}: <mac> is loaded in part only: {}\n", path_.string(),
                                describe_status(module.listing_status())));
        }
    }

    std::filesystem::path path_;
    BoardUse use_;
    Client client_;
    std::unique_ptr<host::Session> session_;
};

}  // namespace

std::unique_ptr<Target> open_board(const std::filesystem::path& board_file, const BoardUse& use) {
    return std::make_unique<BoardTarget>(board_file, use);
}

void tell_mistakes(const host::BoardFile& file) {
    const std::vector<Finding> mistakes = mistakes_of(file);
    if (mistakes.empty()) return;
    const std::string path = file.path().string();
    const std::string more =
        mistakes.size() == 1 ? "" : fmt::format(", and {} more", mistakes.size() - 1);
    warn(fmt::format("{}:{}: {}{}; \"macctl -b {} board check\" says what to do", path,
                     mistakes[0].line, mistakes[0].text, more, path));
}

}  // namespace macctl
