// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/environment.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstring>
#include <string_view>

#include "platform/common/service_status.h"

namespace host {

namespace {

// The lock file that fw_printenv and fw_setenv take.
constexpr char kBootToolsLock[] = "/var/lock/fw_printenv.lock";

}  // namespace

// Held while a live device is read, and from the first change to its saving.
class BootToolsLock {
public:
    explicit BootToolsLock(bool wanted) {
        if (!wanted) return;
        descriptor_ = open(kBootToolsLock, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (descriptor_ >= 0) flock(descriptor_, LOCK_EX);
    }
    ~BootToolsLock() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    BootToolsLock(const BootToolsLock&) = delete;
    BootToolsLock& operator=(const BootToolsLock&) = delete;

private:
    int descriptor_ = -1;
};

Environment::Environment(std::unique_ptr<Medium> medium, const EnvGeometry& geometry)
    : medium_(std::move(medium)), geometry_(geometry) {}

Environment::~Environment() = default;

// A read that fails once is tried again: a count that cannot be read would pass for one
// that is not there, and that means 16 addresses.
u32 Environment::read(u32 offset, Bytes bytes) {
    const u32 result = medium_->read(offset, bytes);
    return result == 0 ? 0 : medium_->read(offset, bytes);
}

// The copy that is current if it is valid: the flags say so before any of the data.
u32 Environment::preferred(u32* copy) {
    u8 flag[2] = {};
    *copy = 0;
    if (!redundant()) return 0;
    for (u32 i = 0; i < copies(); ++i) {
        const u32 at = geometry_.offset[i] + platform::kEnvFlagOffset;
        const u32 result = read(at, {&flag[i], 1});
        if (result != 0) return result;
    }
    *copy = platform::env_preferred(flag[0], flag[1], geometry_.flags);
    return 0;
}

u32 Environment::load(Loaded* loaded) {
    const u32 size = geometry_.size;
    auto image = std::make_unique_for_overwrite<u8[]>(size);
    u32 first = 0;
    u32 result = preferred(&first);
    bool erased = true;
    for (u32 i = 0; i < copies() && result == 0; ++i) {
        const u32 copy = i ^ first;
        result = read(geometry_.offset[copy], {image.get(), size});
        if (result != 0) break;
        const platform::EnvCopy found = platform::env_inspect(image.get(), size, geometry_.flags);
        if (found.state == platform::EnvState::kValid) {
            *loaded = {std::move(image), static_cast<int>(copy), found.flag};
            return 0;
        }
        erased = erased && found.state == platform::EnvState::kErased;
    }
    if (result != 0) return result;
    if (!erased) return SERVICE_ENV_DAMAGED;
    std::memset(image.get(), 0, size);
    *loaded = {std::move(image), -1, 0};
    return 0;
}

u32 Environment::store(Loaded& working) {
    const u32 target = redundant() && working.current == 0 ? 1 : 0;
    const u8 flag = platform::env_next_flag(geometry_.flags, working.flag);
    platform::env_seal(working.image.get(), geometry_.size, geometry_.flags, flag);
    const u32 result =
        medium_->write(geometry_.offset[target], {working.image.get(), geometry_.size});
    if (result != 0) return result;
    if (geometry_.flags != platform::EnvFlags::kBoolean || working.current < 0) return 0;
    // Both are marked active now, and the first would win: retire the old copy.
    const u8 obsolete[] = {platform::kEnvFlagObsolete};
    const u32 flag_offset = geometry_.offset[working.current] + platform::kEnvFlagOffset;
    return medium_->write(flag_offset, obsolete);
}

Environment::Lookup Environment::look_up(const Loaded& loaded, const char* name) const {
    const u32 data = platform::env_data_offset(geometry_.flags);
    Lookup found{nullptr, 0};
    found.value =
        platform::env_find(loaded.image.get() + data, geometry_.size - data, name, &found.length);
    return found;
}

u32 Environment::get(const char* name, char* value, u32 size) {
    const std::lock_guard guard(lock_);
    Loaded fresh;
    if (working_ == nullptr) {
        const BootToolsLock lock(geometry_.shared);
        const u32 result = load(&fresh);
        if (result != 0) return result;
    }
    const Lookup found = look_up(working_ == nullptr ? fresh : *working_, name);
    if (found.value == nullptr) return SERVICE_ENV_NO_VARIABLE;
    if (found.length >= size) return SERVICE_ENV_TOO_LONG;
    std::memcpy(value, found.value, found.length);
    value[found.length] = '\0';
    return 0;
}

u32 Environment::set(const char* name, const char* value) {
    const std::lock_guard guard(lock_);
    if (working_ == nullptr) {
        auto lock = std::make_unique<BootToolsLock>(geometry_.shared);
        auto fresh = std::make_unique<Loaded>();
        const u32 result = load(fresh.get());
        if (result != 0) return result;
        working_ = std::move(fresh);
        held_lock_ = std::move(lock);
    }
    const Lookup found = look_up(*working_, name);
    if (found.value != nullptr && std::string_view(found.value, found.length) == value) return 0;
    const u32 data = platform::env_data_offset(geometry_.flags);
    switch (platform::env_set(working_->image.get() + data, geometry_.size - data, name, value)) {
        case platform::EnvResult::kNoSpace:
            return SERVICE_ENV_FULL;
        case platform::EnvResult::kBadName:
            return SERVICE_ENV_BAD_NAME;
        case platform::EnvResult::kOk:
            break;
    }
    working_->changed = true;
    return 0;
}

u32 Environment::save() {
    const std::lock_guard guard(lock_);
    const std::unique_ptr<BootToolsLock> lock = std::move(held_lock_);
    const std::unique_ptr<Loaded> working = std::move(working_);
    return working == nullptr || !working->changed ? 0 : store(*working);
}

}  // namespace host
