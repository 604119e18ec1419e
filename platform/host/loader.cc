// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/loader.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>

#include "base/vocabulary.h"
#include "config/mac_config.h"
#include "control/mac_module.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/checker.h"
#include "platform/host/device_service.h"
#include "platform/host/driver_manager.h"
#include "platform/host/log_service.h"
#include "platform/host/memory_service.h"
#include "platform/host/reclaim_service.h"

namespace host {

namespace {

constexpr std::string_view kMounted = "mounted ";
constexpr std::string_view kLog = "log ";
constexpr size_t kLogBytes = 8192;  // about what the module's ring holds
constexpr std::chrono::milliseconds kLockPause{2};
constexpr std::chrono::milliseconds kLongLockPause{50};
constexpr std::chrono::seconds kLockPatience{1};  // then it is told

// What would dangle in a kernel once the module's image is gone.
void reclaim() {
    if (calls_inside() != 0) violation("unloaded while a call is inside");
    device_reclaim();
    diag_reclaim();
    driver_drop_all();
    heap_release_all();
}

bool run(u32 command, u32 inst) {
    mac_ioctl_instance record = {inst};
    return device_ioctl(command, &record) == 0;
}

// The text up to a character, which is taken from the front of the rest with it.
std::string_view cut(std::string_view* rest, char end) {
    const size_t at = std::min(rest->find(end), rest->size());
    const std::string_view front = rest->substr(0, at);
    rest->remove_prefix(std::min(at + 1, rest->size()));
    return front;
}

// The last whole lines that are not longer together.
std::string_view newest(std::string_view lines, size_t bytes) {
    if (lines.size() <= bytes) return lines;
    lines.remove_prefix(lines.size() - bytes - 1);
    (void)cut(&lines, '\n');
    return lines;
}

std::optional<u32> decimal(std::string_view text) {
    u32 value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// Lines for the mounted instances.
std::string mounted_lines() {
    std::string lines;
    g_mac_config.config_list.for_each([&lines](const mac_inst_config* config) {
        lines.append(kMounted).append(std::to_string(config->inst_id)).append("\n");
    });
    return lines;
}

std::filesystem::path state_path(const std::filesystem::path& board_file) {
    return board_file.string() + ".state";
}

}  // namespace

Module::Module(Board& board) {
    attach(&board);
    status_ = mac_module_init();
    if (status_ == MAC_OK) {
        listing_status_ = mac_module_load_listing();
    } else {
        mac_module_abandon();
        reclaim();
        attach(nullptr);
    }
}

Module::~Module() {
    if (status_ != MAC_OK) return;
    mac_module_exit();
    mac_module_release_listing();
    reclaim();
    attach(nullptr);
}

BoardLock::BoardLock(const BoardFile& file, Access access, const LockWait& wait) {
    const std::string path = file.path().string() + ".lock";
    open_file(path);
    if (problem_.empty()) {
        take(path, wait);
    } else if (access != Access::kReadOnly) {
        file.fail(1, problem_);
    }
}

// To lock a file it is enough to read it, and one that somebody else made may be no more than
// readable.
void BoardLock::open_file(const std::string& path) {
    descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor_ >= 0) return;
    const int error = errno;
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ >= 0) return;
    const bool there = errno != ENOENT;
    problem_ = "the lock file " + path + (there ? " cannot be opened: " : " cannot be made: ") +
               strerror(there ? errno : error);
}

void BoardLock::take(const std::string& path, const LockWait& wait) const {
    using Clock = std::chrono::steady_clock;
    const std::string busy = "another process works on the board (" + path + ")";
    const Clock::time_point start = Clock::now();
    bool told = false;
    // Where a file system knows no locks, nobody else has it.
    while (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        const auto waited = Clock::now() - start;
        if (wait.seconds && waited >= std::chrono::seconds(*wait.seconds)) {
            throw BoardBusy(busy + "; it was waited for " + std::to_string(*wait.seconds) + " s");
        }
        if (!told && waited >= kLockPatience) {
            if (wait.tell) wait.tell(busy + "; waiting for it");
            told = true;
        }
        std::this_thread::sleep_for(told ? kLongLockPause : kLockPause);
    }
}

BoardLock::~BoardLock() {
    if (descriptor_ >= 0) close(descriptor_);
}

Session::Session(BoardFile file, const LockWait& wait) : state_path_(state_path(file.path())) {
    lock_ = std::make_unique<BoardLock>(file, Access::kReadOnly, wait);
    before_ = stored_state(file.path());
    // Who cannot take the lock must not write behind the back of those who do.
    const Access access = lock_->problem().empty() ? Access::kWherePermitted : Access::kReadOnly;
    board_ = Board::open(std::move(file), access);
    module_ = std::make_unique<Module>(*board_);
    if (module_->status() == MAC_OK) restore();
    mounted_ = mounted_lines();
}

Session::~Session() {
    try {
        finish();
    } catch (const WriteError&) {
        // Told by those who ask finish() themselves.
    }
}

// Lines "mounted ID", then "log LEVEL TEXT".
StoredState stored_state(const std::filesystem::path& board_file) {
    StoredState state;
    const std::filesystem::path path = state_path(board_file);
    if (!std::filesystem::exists(path)) {
        state.mounted = {MAC_DEFAULT_INSTANCE};
        return state;
    }
    state.content = read_file(path, Source::kFile, kTextMax);
    std::string_view rest = state.content;
    while (rest.starts_with(kMounted)) {
        rest.remove_prefix(kMounted.size());
        if (const auto inst = decimal(cut(&rest, '\n'))) state.mounted.push_back(*inst);
    }
    state.log = rest;
    return state;
}

std::vector<LogLine> parse_log(std::string_view stored) {
    std::vector<LogLine> lines;
    while (!stored.empty()) {
        std::string_view line = cut(&stored, '\n');
        if (!line.starts_with(kLog)) continue;
        line.remove_prefix(kLog.size());
        const u32 level = decimal(cut(&line, ' ')).value_or(0);
        lines.push_back({mac::kLogModule, level, std::string(line)});
    }
    return lines;
}

void Session::restore() {
    const bool default_mounted = std::find(before_.mounted.begin(), before_.mounted.end(),
                                           MAC_DEFAULT_INSTANCE) != before_.mounted.end();
    if (!default_mounted) run(MAC_IOCTL_DEINIT, MAC_DEFAULT_INSTANCE);
    for (const u32 inst : before_.mounted) {
        if (inst != MAC_DEFAULT_INSTANCE) run(MAC_IOCTL_INIT, inst);
    }
}

std::string Session::state() const {
    std::string log = before_.log;
    log_for_each(mac::kLogModule, [&log](const LogLine& line) {
        log.append(kLog).append(std::to_string(line.level)).append(" ");
        log.append(line.text).append("\n");
    });
    return mounted_lines().append(newest(log, kLogBytes));
}

bool Session::mounts_changed() const { return mounted_lines() != mounted_; }

void Session::finish() {
    if (finished_ || module_->status() != MAC_OK) return;
    finished_ = true;
    const std::string now = state();
    if (now == before_.content) return;
    if (!lock_->problem().empty()) throw WriteError(state_path_, lock_->problem(), EACCES);
    replace_file(state_path_, now);
}

Reasons Session::refused() const {
    if (board_->refused().empty() || lock_->problem().empty()) return board_->refused();
    return {lock_->problem()};
}

}  // namespace host
