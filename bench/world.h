// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What is measured: the module over media in memory.
#ifndef BENCH_WORLD_H
#define BENCH_WORLD_H

#include <memory>

#include "platform/host/loader.h"
#include "platform/types.h"

namespace bench {

inline constexpr u8 kBase[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x50};
inline constexpr u32 kLongest = 65534;

// The default instance and more, each with some pools, in two copies on two chips; lines
// of data dumps are filtered out, and the pools of type 0 of the default instance and of
// the last one hold the longest block.
class World {
public:
    // Of that many instances all are mounted but the last `unmounted`.
    explicit World(u32 instances, u32 unmounted = 0, u32 pools = 1);

    u32 last() const { return last_; }

private:
    std::unique_ptr<host::Board> board_;
    host::Module module_;
    u32 last_;
};

}  // namespace bench

#endif
