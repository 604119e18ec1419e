// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A real flash device, reached through its MTD character device.
#ifndef PLATFORM_HOST_MTD_DEVICE_H
#define PLATFORM_HOST_MTD_DEVICE_H

#include <memory>
#include <string>

#include "platform/host/medium.h"

namespace host {

struct MtdGeometry {
    u64 size;
    u32 erase_size;
    bool writable;
    bool nor;  // programming may clear further bits of a written word
};

// Opens an MTD character device, to look only unless `writing`; *geometry is filled
// in. Null with a reason in *error when it cannot be used.
std::unique_ptr<NorDevice> open_mtd(const std::string& path, bool writing, MtdGeometry* geometry,
                                    std::string* error);

}  // namespace host

#endif
