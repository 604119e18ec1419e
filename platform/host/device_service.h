// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The control device and the diagnostic objects, as a caller in this process
// reaches them.
#ifndef PLATFORM_HOST_DEVICE_SERVICE_H
#define PLATFORM_HOST_DEVICE_SERVICE_H

#include <string>
#include <vector>

#include "platform/device.h"
#include "platform/diag.h"

namespace host {

// The registered device, or null.
const platform_misc_device* device();

// One open-ioctl-release round on the registered device; -1 without one.
s64 device_ioctl(u32 cmd, void* record);

// Takes the device away, as unloading does.
void device_reclaim();

// A directory object with the attribute files in it.
struct DiagObject {
    std::string name;
    const platform_attribute_group* group = nullptr;
};

// The directory objects, the modules and the file lists that are registered.
const std::vector<DiagObject*>& diag_objects();
const std::vector<std::string>& diag_modules();
const std::vector<const diag_file*>& diag_filelists();

// Forgets all of them, as unloading does.
void diag_reclaim();

}  // namespace host

#endif
