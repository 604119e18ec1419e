// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The control device from a caller's side: one function a command, each fills in
// the command's record, issues it and gives back the status.
#ifndef TOOLS_MACCTL_CLIENT_H
#define TOOLS_MACCTL_CLIENT_H

#include <functional>
#include <string>
#include <vector>

#include "tools/macctl/text.h"

namespace macctl {

// Issues one command on its record; the result is the 32-bit status.
using Ioctl = std::function<u32(u32 command, void* record)>;

// One block.
struct Pool {
    u32 inst;
    u32 type;
};

class Client {
public:
    explicit Client(Ioctl ioctl) : ioctl_(std::move(ioctl)) {}

    u32 init(u32 inst) const;
    u32 deinit(u32 inst) const;
    u32 get_addr(const Pool& pool, MacAddress* address) const;
    u32 get_num(const Pool& pool, u32* num) const;
    u32 get_list(const Pool& pool, u32 num, std::vector<MacAddress>* addresses) const;
    u32 set_addr(const Pool& pool, const MacAddress& address) const;
    u32 set_num(const Pool& pool, u32 num) const;
    u32 set_block(const Pool& pool, const MacAddress& address, u32 num) const;
    // set_block() over a block of which a copy is good. The command writes the main copy
    // without a look at the spare, so a read mends the spare first: else a power cut could
    // take the last good copy.
    u32 replace_block(const Pool& pool, const MacAddress& address, u32 num) const;
    u32 show_cfg(std::string* text) const;
    u32 show_types(std::string* text) const;

private:
    u32 show(u32 command, std::string* text) const;

    Ioctl ioctl_;
};

}  // namespace macctl

#endif
