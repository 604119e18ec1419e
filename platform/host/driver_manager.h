// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What the loader and the tests see of the driver manager.
#ifndef PLATFORM_HOST_DRIVER_MANAGER_H
#define PLATFORM_HOST_DRIVER_MANAGER_H

namespace host {

// How many drivers are registered, nameless ones included.
unsigned driver_count();

// Forgets the drivers of a departing module.
void driver_drop_all();

}  // namespace host

#endif
