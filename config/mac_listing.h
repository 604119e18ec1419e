// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The records that the status listings show.
#ifndef CONFIG_MAC_LISTING_H
#define CONFIG_MAC_LISTING_H

#include "base/vocabulary.h"
#include "platform/types.h"

// The storage configuration of one MAC type, from either XML layout.
struct mac_cfg_entry {
    mac_link list;
    u32 inst_id;
    u32 mac_type;
    u32 mac_num;
    char drv_name[mac::kNameUsr];
    u32 eeprom_partition_type;
    u32 section_id;  // 0xffffffff: not given
    u32 offset;
    char main_env_name[mac::kNameUsr];
    u32 spare_exist;
    u32 spare_section_id;
    u32 spare_offset;
    char spare_env_name[mac::kNameUsr];
};

// What is known of one copy of a block.
struct mac_type_area {
    u8 mac[mac::kMacLength];
    u32 mac_num;
    u32 valid;
};

// The state of one MAC type. Nothing in the module adds such records; the list
// is there for whoever does.
struct mac_type_status {
    mac_link list;
    u32 inst_id;
    u32 mac_type;
    mac_type_area main;
    mac_type_area spare;
};

#endif
