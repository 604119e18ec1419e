// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Looks at both copies of blocks on their media, and says what the system's next
// access would do. Nothing is ever written.
#ifndef TOOLS_MACCTL_INSPECT_H
#define TOOLS_MACCTL_INSPECT_H

#include "platform/host/board.h"
#include "tools/macctl/layout.h"

namespace macctl {

struct CopyReport {
    Copy copy;
    Record record;
    bool different = false;  // good, yet it holds another block than the copy that wins

    std::string state() const;
};

enum class Next { kNothing, kRewriteSpare, kRewriteMain, kRefuse };
enum class Health { kGood, kDegraded, kBlank, kLost };
// "good", "degraded", ...
const char* health_name(Health health);

struct PoolReport {
    u32 inst = 0;
    u32 type = 0;
    std::optional<CopyReport> copies[2];
    Next next = Next::kNothing;
    u32 status = 0;    // what a read of the block gives
    std::string note;  // what a person should know besides
    Health health = Health::kGood;

    // The copy whose block is handed out; null when none is. Of a block that is refused for
    // its values too, unless they are no more than erased bytes.
    const Record* winner() const;
    // What the next access does, in words.
    std::string next_words() const;
    // The copy that the system takes, whatever it holds; null when it takes none.
    const Record* chosen() const;
};

// Which blocks; none given means all.
struct PoolFilter {
    std::optional<u32> inst;
    std::optional<u32> type;

    bool matches(u32 of_inst, u32 of_type) const {
        return (!inst || *inst == of_inst) && (!type || *type == of_type);
    }
};

// Reads the copies from an open board.
std::vector<PoolReport> inspect(host::Board* board, const PoolFilter& filter);

// The verdict on what was read; a part of its own, so that it can be tested.
void judge(PoolReport* report);

}  // namespace macctl

#endif
