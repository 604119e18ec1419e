// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The commands, by the words that call them.
#ifndef TOOLS_MACCTL_COMMANDS_H
#define TOOLS_MACCTL_COMMANDS_H

#include "tools/macctl/command.h"

namespace macctl {

// everyday.cc
Result status(Context& context);
Result get_addr(Context& context);
Result get_num(Context& context);
Result get_block(Context& context);
Result mount(Context& context);
Result unmount(Context& context);
Result show_cfg(Context& context);
Result show_types(Context& context);
Result diag_devlist(Context& context);
Result diag_drvlist(Context& context);
Result log(Context& context);

// list.cc
Result list(Context& context);

// set.cc
Result set_addr(Context& context);
Result set_num(Context& context);
Result set_block(Context& context);

// care.cc
Result check(Context& context);
Result repair(Context& context);

// transfer.cc
Result export_blocks(Context& context);
Result import_blocks(Context& context);

// record_commands.cc
Result record_decode(Context& context);
Result record_encode(Context& context);
Result record_verify(Context& context);
Result record_identify(Context& context);

// board_commands.cc
Result board_check(Context& context);
Result board_init(Context& context);
Result board_map(Context& context);
Result board_compile(Context& context);
Result board_install(Context& context);

}  // namespace macctl

#endif
