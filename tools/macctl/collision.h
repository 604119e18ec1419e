// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Whose bytes a write would take besides those of its own copy.
#ifndef TOOLS_MACCTL_COLLISION_H
#define TOOLS_MACCTL_COLLISION_H

#include "tools/macctl/board_check.h"
#include "tools/macctl/client.h"

namespace macctl {

// Whether writing one of two copies changes bytes of the other, or a variable of it.
bool collide(const Copy& left, const Copy& right);

// Which copies of a block (one, or both where none is given) lie where the copies of another
// block, its own other copy, or the environment's image lie: a sentence each.
std::vector<std::string> collisions(const host::BoardFile& file, const Pool& block,
                                    std::optional<unsigned> area = std::nullopt);

// The same for bytes of a medium that are none of the layout's own: what would be hit by
// writing them to that image. A copy that is exactly there is not hit, it is meant.
std::vector<std::string> collisions(const host::BoardFile& file, const std::filesystem::path& image,
                                    const Range& bytes);

}  // namespace macctl

#endif
