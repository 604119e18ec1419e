// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/loader.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <string_view>

#include "base/vocabulary.h"
#include "config/mac_config.h"
#include "control/mac_module.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/driver_manager.h"
#include "platform/host/log_service.h"
#include "platform/host/memory_service.h"

namespace host {

namespace {

constexpr std::string_view kMounted = "mounted ";
constexpr std::string_view kLog = "log ";
constexpr size_t kLogBytes = 8192;  // about what the module's ring holds

// What would dangle in a kernel once the module's image is gone.
void reclaim() {
    device_reclaim();
    diag_reclaim();
    driver_drop_all();
    heap_release_all();
}

bool run(u32 command, u32 inst) {
    mac_ioctl_instance record = {inst};
    return device_ioctl(command, &record) == 0;
}

// Streams cost more than all the rest of a short run.
bool read_file(const std::filesystem::path& path, std::string* content) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    char part[4096];
    for (ssize_t got = 0; (got = ::read(descriptor, part, sizeof(part))) > 0;) {
        content->append(part, static_cast<size_t>(got));
    }
    close(descriptor);
    return true;
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

BoardLock::BoardLock(const BoardFile& file, Access access) {
    const std::string path = file.path().string() + ".lock";
    descriptor_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor_ < 0 && access == Access::kReadOnly) return;
    if (descriptor_ < 0) {
        file.fail(1, "the lock file " + path + " cannot be made: " + strerror(errno));
    }
    flock(descriptor_, LOCK_EX);
}

BoardLock::~BoardLock() {
    if (descriptor_ >= 0) close(descriptor_);
}

Session::Session(BoardFile file) : state_path_(state_path(file.path())) {
    lock_ = std::make_unique<BoardLock>(file, Access::kReadWrite);
    before_ = stored_state(file.path());
    board_ = Board::open(std::move(file));
    module_ = std::make_unique<Module>(*board_);
    if (module_->status() == MAC_OK) restore();
}

Session::~Session() {
    if (module_->status() == MAC_OK) remember();
}

// Lines "mounted ID", then "log LEVEL TEXT".
StoredState stored_state(const std::filesystem::path& board_file) {
    StoredState state;
    std::string content;
    if (!read_file(state_path(board_file), &content)) state.mounted = {MAC_DEFAULT_INSTANCE};
    std::string_view rest = content;
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

void Session::remember() const {
    std::string log = before_.log;
    log_for_each(mac::kLogModule, [&log](const LogLine& line) {
        log.append(kLog).append(std::to_string(line.level)).append(" ");
        log.append(line.text).append("\n");
    });
    std::string state;
    g_mac_config.config_list.for_each([&state](const mac_inst_config* config) {
        state.append(kMounted).append(std::to_string(config->inst_id)).append("\n");
    });
    state += newest(log, kLogBytes);
    // Written beside and renamed, so that a cut leaves the old or the new one.
    const std::filesystem::path fresh = state_path_.string() + ".new";
    std::ofstream(fresh) << state;
    std::error_code ignored;
    std::filesystem::rename(fresh, state_path_, ignored);
}

}  // namespace host
