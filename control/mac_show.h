// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The status listings: text for the show commands. Each returns the number of
// characters written, its terminator not counted and always below `size`; what
// does not fit is cut. May sleep (the listing mutex).
#ifndef CONTROL_MAC_SHOW_H
#define CONTROL_MAC_SHOW_H

#include "config/mac_listing.h"

// All configuration records, or "no cfg\n"; all MAC type records, or
// "no mac type\n". size is 1 or more.
u32 drv_mac_show_cfg(char* buffer, u32 size);
u32 drv_mac_show_mac_type(char* buffer, u32 size);

// One record, ending with an empty line.
u32 drv_mac_show_inst_cfg(const mac_cfg_entry* record, char* buffer, u32 size);
u32 drv_mac_show_one_mac_type(const mac_type_status* record, char* buffer, u32 size);

// Six bytes as two lower-case digits each, joined by '-'. Returns the length, or
// -1 when size is below 18.
int drv_mac_addr_to_str(const u8* mac, char* buffer, u32 size);

#endif
