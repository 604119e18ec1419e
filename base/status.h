// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Results inside the system: u32 values of mac_mng/mac_status.h, through which
// codes of the platform's services pass unchanged, and the two results of the
// set-up functions that return int.
#ifndef BASE_STATUS_H
#define BASE_STATUS_H

#include "mac_mng/mac_status.h"
#include "platform/types.h"

namespace mac {

inline constexpr int kFail = -1;
inline constexpr int kFault = -14;

static_assert(static_cast<u32>(kFail) == MAC_FAIL);
static_assert(static_cast<u32>(kFault) == MAC_FAULT);

}  // namespace mac

#endif
