// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A picture of a board: each medium to scale, and what lies where.
#ifndef TOOLS_MACCTL_BOARD_MAP_H
#define TOOLS_MACCTL_BOARD_MAP_H

#include "tools/macctl/board_check.h"

namespace macctl {

// Something on a medium.
struct Place {
    Range range;
    std::string label;  // "type 0 main", "environment copy 1"
    std::string driver;
    unsigned area;  // 0 main, 1 spare, 2 environment
    unsigned line;
    bool overlaps = false;  // or runs past the end
};

struct MediumMap {
    std::string name;  // "flash 45"
    std::string image;
    u64 size;
    u32 step;               // erase block or page
    const char* step_name;  // "erase block", "page"
    std::vector<Place> places;
    std::vector<std::string> variables;  // of an environment: who keeps what in it
};

std::vector<MediumMap> map_board(const host::BoardFile& file);

// For a terminal.
std::string map_text(const std::vector<MediumMap>& media);
// For a file.
std::string map_svg(const std::string& board, const std::vector<MediumMap>& media);

}  // namespace macctl

#endif
