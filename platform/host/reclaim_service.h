// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What the loader and the tests see of calls that are inside.
#ifndef PLATFORM_HOST_RECLAIM_SERVICE_H
#define PLATFORM_HOST_RECLAIM_SERVICE_H

namespace host {

// How many calls are inside, and how many records wait for them to leave.
unsigned calls_inside();
unsigned records_waiting();

}  // namespace host

#endif
