// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/loader.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

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

Session::Session(const std::filesystem::path& board_file)
    : state_path_(state_path(board_file)) {
    BoardFile file = BoardFile::read(board_file);
    lock_ = std::make_unique<BoardLock>(file, Access::kReadWrite);
    board_ = Board::open(std::move(file));
    StoredState state = stored_state(board_file);
    mounted_ = std::move(state.mounted);
    for (const LogLine& line : state.log) log_restore(line);
    module_ = std::make_unique<Module>(*board_);
    if (module_->status() == MAC_OK) restore();
}

Session::~Session() {
    if (module_->status() == MAC_OK) remember();
}

// Lines "mounted ID" and "log LEVEL TEXT".
StoredState stored_state(const std::filesystem::path& board_file) {
    StoredState state;
    std::ifstream stream(state_path(board_file));
    if (!stream) state.mounted = {MAC_DEFAULT_INSTANCE};
    std::string line;
    while (std::getline(stream, line)) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key == "mounted") {
            std::string id;
            words >> id;
            if (const auto inst = parse_u32(id.c_str())) state.mounted.push_back(*inst);
        } else if (key == "log") {
            u32 level = 0;
            std::string text;
            words >> level;
            words.ignore(1);
            std::getline(words, text);
            state.log.push_back({mac::kLogModule, level, text});
        }
    }
    return state;
}

void Session::restore() {
    const bool default_mounted =
        std::find(mounted_.begin(), mounted_.end(), MAC_DEFAULT_INSTANCE) != mounted_.end();
    if (!default_mounted) run(MAC_IOCTL_DEINIT, MAC_DEFAULT_INSTANCE);
    for (const u32 inst : mounted_) {
        if (inst != MAC_DEFAULT_INSTANCE) run(MAC_IOCTL_INIT, inst);
    }
}

void Session::remember() const {
    std::ostringstream state;
    g_mac_config.config_list.for_each([&state](const mac_inst_config* config) {
        state << "mounted " << config->inst_id << "\n";
    });
    for (const LogLine& line : log_lines(mac::kLogModule)) {
        state << "log " << line.level << " " << line.text << "\n";
    }
    // Written beside and renamed, so that a cut leaves the old or the new one.
    const std::filesystem::path fresh = state_path_.string() + ".new";
    std::ofstream(fresh) << state.str();
    std::error_code ignored;
    std::filesystem::rename(fresh, state_path_, ignored);
}

}  // namespace host
