// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A board file as the flattened device tree that the kernel's platform loads.
#ifndef TOOLS_MACCTL_BOARD_COMPILE_H
#define TOOLS_MACCTL_BOARD_COMPILE_H

#include <filesystem>
#include <vector>

#include "platform/host/board_file.h"

namespace macctl {

// Where the kernel's firmware loader looks for the board of a device.
inline constexpr char kBoardFirmware[] = "mac_mng/board.dtb";

// The blob of a checked board file (platform/common/board_tree.h says how).
// Throws std::runtime_error when the tree cannot be written.
std::vector<u8> compile_board(const host::BoardFile& file);

}  // namespace macctl

#endif
