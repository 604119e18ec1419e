// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What stands against writing a block, for every command that writes one. A rehearsal asks
// the same questions as the real run.
#ifndef TOOLS_MACCTL_WRITE_CHECKS_H
#define TOOLS_MACCTL_WRITE_CHECKS_H

#include "tools/macctl/command.h"

namespace macctl {

// A base address and a count.
struct Block {
    MacAddress base;
    u32 num;

    bool operator==(const Block&) const = default;
};

// A block and whose it is.
struct OwnedBlock {
    Pool owner;
    Block block;
};

// Why the system would not take a block, or would not read it back, and the status that it
// gives. Nothing overrides that.
struct Misfit {
    std::string text;
    u32 status;
};
// Without a report only what the values themselves say.
std::optional<Misfit> misfit(const Block& block, const PoolReport* report);

// The good block that is there; none where no copy is good.
std::optional<Block> good_block(const PoolReport& report);

// Why a person should say yes first: a multicast address, a count of 0, addresses that a
// block of somebody else has as well.
std::vector<std::string> doubts(const OwnedBlock& written, const std::vector<OwnedBlock>& others);

// Asks, or throws Failure where nobody can be asked: `reasons` as one sentence, `needs` what
// "--yes" is needed for. A rehearsal never asks.
void ask_first(const Context& context, const std::string& reasons, const std::string& question,
               const std::string& needs);

}  // namespace macctl

#endif
