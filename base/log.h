// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Log lines of the module: level 1 for errors, 2 for notices, 3 for data dumps.
// Macros, so that the compiler checks each format against its arguments.
//
// Five texts have a full-width colon: the two bytes A3 BA of the GBK code page,
// written as escapes. A literal that goes on with a hexadecimal digit is split
// behind them.
#ifndef BASE_LOG_H
#define BASE_LOG_H

#include "base/vocabulary.h"
#include "platform/log.h"

#define mac_log_error(...) drv_log_record(mac::kLogModule, PLATFORM_LOG_ERROR, 0, __VA_ARGS__)
#define mac_log_notice(...) drv_log_record(mac::kLogModule, PLATFORM_LOG_NOTICE, 0, __VA_ARGS__)
#define mac_log_dump(...) drv_log_record(mac::kLogModule, PLATFORM_LOG_DUMP, 0, __VA_ARGS__)

#endif
