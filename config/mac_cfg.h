// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The storage configuration per MAC type, as the configuration listing shows
// it: readers of the current and the legacy XML layout, and the built-in storage
// positions.
//
// All functions may sleep. cfg_list is appended to without a lock: not to be run
// while a listing may run. Nothing is logged; results are codes.
#ifndef CONFIG_MAC_CFG_H
#define CONFIG_MAC_CFG_H

#include "config/mac_listing.h"

// Path of an entry element: top node, node below it, entry below that.
struct mac_xml_path {
    const char* top;
    const char* node;
    const char* entry;
};

// A numeric key: where its value goes and what stands for a missing one.
struct mac_u32_map {
    bool required;
    const char* key;
    u32* field;
    const char* default_text;  // null: the field is left as it was
};

// A text key.
struct mac_str_map {
    bool required;
    const char* key;
    char* field;
    u32 capacity;              // room at field, terminator included
    const char* default_text;  // null: the field is left as it was
};

// An entry of the legacy layout.
struct mac_old_cfg_entry {
    u32 found;  // spare only: 1 when it was read
    u32 id;
    u32 chip_id;
    u32 channel;
    u32 mac_num;
    char drv_name[mac::kNameUsr];
    char storage_name[mac::kNameUsr];
};

// Read the rows of a table in order.
// Returns 0, the XML service's code of the first required key that is missing,
// or (texts) MAC_FORMAT_FAILED when a default cannot be written.
[[nodiscard]] u32 drv_mac_get_u32_cfg_by_map(u32 inst, const mac_xml_path& path, u32 count,
                                             const mac_u32_map* map);
[[nodiscard]] u32 drv_mac_get_str_cfg_by_map(u32 inst, const mac_xml_path& path, u32 count,
                                             const mac_str_map* map);

// 1 when the node exists under the module's top node, else 0.
u32 drv_mac_node_exist(u32 inst, const char* node);

// Formats "entry%u" into a name of 40 characters.
// Returns 0, or MAC_FORMAT_FAILED.
[[nodiscard]] u32 mac_cfg_entry_name(u32 index, char (&name)[mac::kNameUsr]);

// Current layout: appends a record for each entry under the node "mac". Records
// appended before a failure stay.
// Returns 0; the XML service's code; MAC_FORMAT_FAILED; a code of
// drv_mac_set_default_cfg(); MAC_NO_MEMORY; MAC_COPY_FAILED.
[[nodiscard]] u32 drv_mac_create_new_cfg(u32 inst);

// Current layout: reads one entry and completes its positions.
[[nodiscard]] u32 drv_mac_get_new_cfg_entry(u32 inst, const char* entry_name,
                                            mac_cfg_entry* record);

// Legacy layout: appends a record for each entry under the main storage node,
// joined with the spare node's entry of the same name.
// Returns 0; the XML service's code; MAC_FORMAT_FAILED; MAC_XML_NODE_MISSING;
// MAC_NO_MEMORY.
[[nodiscard]] u32 drv_mac_create_old_cfg(u32 inst);

// Legacy layout: reads one entry; area 0 is main, any other spare.
// Returns 0, MAC_XML_NODE_MISSING, or a code of the map readers.
[[nodiscard]] u32 drv_mac_get_old_cfg_entry(u32 inst, u32 area, const char* entry_name,
                                            mac_old_cfg_entry* entry);

// Legacy layout: joins a main and a spare entry into a record. The texts serve
// as formats: "%%" becomes "%", an integer conversion prints 0, %s prints "(null)", and
// %c a terminator, which ends the text there. Any other conversion is refused.
// Returns 0, or MAC_FORMAT_FAILED.
[[nodiscard]] u32 drv_mac_old_cfg_to_new(u32 inst, const mac_old_cfg_entry* main,
                                         const mac_old_cfg_entry* spare, mac_cfg_entry* record);

// Completes a record whose main section is not given (0xffffffff) with the
// built-in position of its driver; environment records need none.
// Returns 0, or a code of the two functions below.
[[nodiscard]] u32 drv_mac_set_default_cfg(mac_cfg_entry* record);

// Returns 0, MAC_MTD_MISSING or MAC_NO_FLASH_DEFAULT.
[[nodiscard]] u32 drv_mac_set_flash_default(mac_cfg_entry* record);

// Returns 0, MAC_EEPROM_PARTITION_INVALID (record unchanged) or
// MAC_NO_EEPROM_DEFAULT (sections already set).
[[nodiscard]] u32 drv_mac_set_eeprom_default(mac_cfg_entry* record);

// The low 32 bits of a flash partition's size.
// Returns 0, or MAC_MTD_MISSING.
[[nodiscard]] u32 drv_mac_get_mtd_size(const char* partition, u32* size);

// Frees all records of cfg_list. For the loader of the module, which fills the
// list after start-up and empties it after shutdown.
void mac_cfg_release();

#endif
