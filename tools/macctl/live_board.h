// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The board that a loaded kernel module works on: its compiled board file, with the
// images replaced by the devices of this system.
#ifndef TOOLS_MACCTL_LIVE_BOARD_H
#define TOOLS_MACCTL_LIVE_BOARD_H

#include "platform/host/board_file.h"

namespace macctl {

// A compiled board as XML; empty when it is none.
std::string decompile_board(const std::vector<u8>& blob);

// The file of the chip that a board names in its nvmem attribute, to be read in whole; one
// that cannot be opened when there is none.
std::string chip_file(const std::string& name, const std::filesystem::path& buses = "/sys/bus");

// Throws TargetError when the compiled board cannot be read.
host::BoardFile live_board();

}  // namespace macctl

#endif
