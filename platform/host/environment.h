// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A boot environment on a medium: one copy, or two of which the flags tell the
// current one.
#ifndef PLATFORM_HOST_ENVIRONMENT_H
#define PLATFORM_HOST_ENVIRONMENT_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/common/env_image.h"
#include "platform/host/medium.h"

namespace host {

struct EnvGeometry {
    u32 size;       // bytes of one copy
    u32 offset[2];  // where the copies start on the medium
    platform::EnvFlags flags;
    bool shared;  // a live device: the boot tools' lock file is taken as well
};

class BootToolsLock;

class Environment {
public:
    Environment(std::unique_ptr<Medium> medium, const EnvGeometry& geometry);
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    // As drv_env_get(), drv_env_set() and drv_env_save(). An erased medium reads
    // as an empty environment; one without a valid copy that is not erased is
    // refused and left as it is. Each is one step for every thread.
    u32 get(const char* name, char* value, u32 size);
    u32 set(const char* name, const char* value);
    u32 save();

    const Traffic& traffic() const { return medium_->traffic(); }

private:
    struct Loaded {
        std::unique_ptr<u8[]> image;  // of the geometry's size
        int current = -1;             // which copy, -1 for none
        u8 flag = 0;
        bool changed = false;
    };
    struct Lookup {
        const char* value;  // null: no such variable
        u32 length;
    };

    bool redundant() const { return geometry_.flags != platform::EnvFlags::kNone; }
    u32 copies() const { return redundant() ? 2 : 1; }
    u32 read(u32 offset, Bytes bytes);
    u32 preferred(u32* copy);
    u32 load(Loaded* loaded);
    u32 store(Loaded& working);
    Lookup look_up(const Loaded& loaded, const char* name) const;

    std::mutex lock_;
    std::unique_ptr<Medium> medium_;
    EnvGeometry geometry_;
    std::unique_ptr<Loaded> working_;           // from set() to save()
    std::unique_ptr<BootToolsLock> held_lock_;  // as long as working_
};

}  // namespace host

#endif
