// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A board whose power goes and comes back: its images last, the module does not.
#ifndef TESTS_SCENARIO_WORLD_H
#define TESTS_SCENARIO_WORLD_H

#include <array>
#include <map>
#include <optional>

#include "platform/host/loader.h"
#include "tests/scenario/power.h"

namespace scenario {

using Mac = std::array<u8, 6>;
using Images = std::map<std::string, std::vector<u8>>;

// What a block holds.
struct Block {
    Mac base;
    u32 num;

    bool operator==(const Block&) const = default;
};

// What a read of a block gave: a block, or a status.
struct Reading {
    u32 status = 0;
    Block block{};
};

// The module, running on a board between power-on and power-off.
class World {
public:
    // Powers on over these images. With `fault`, that happens to a step from now on.
    World(const std::string& board, const Images& images, const Plan& fault = {});
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    u32 set_block(u32 type, const Block& block) const;
    u32 set_addr(u32 type, const Mac& base) const;
    u32 set_num(u32 type, u32 num) const;
    Reading read(u32 type) const;

    bool powered() const { return power_.on(); }
    const Power& power() const { return power_; }

    // The media as they are now.
    Images images() const;

private:
    Power power_;
    std::unique_ptr<host::Board> board_;
    std::optional<host::Module> module_;
};

// The images of a board that has never been written.
Images blank(const std::string& board);

}  // namespace scenario

#endif
