// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Storage entries from XML, read once when an instance is mounted. The spelling
// "entery" is part of the names.
#ifndef CONFIG_MAC_ENTERY_XML_H
#define CONFIG_MAC_ENTERY_XML_H

#include "config/mac_config.h"

// Reads one entry element into a template; 0, or -1.
using mac_entery_reader = int (*)(u32 inst, const char* node, const void* element,
                                  mac_entry* entry);

// Creates the record of an instance under `name` and loads the entries of both
// storage nodes. Failures of entries are logged and do not reach the caller: an
// instance may end up with none. May sleep.
// Returns 0, or -1 of mac_create_config().
[[nodiscard]] int mac_config_xml_init(u32 inst, const char* name);

// Deletes the entries and the record of an instance; nothing without a record.
void mac_config_xml_exit(u32 inst);

// Loads all entries of one storage node. The first element that cannot be read
// ends the node; an entry that cannot be created is skipped. May sleep.
void mac_entery_xml_init(u32 inst, const char* node);

// Reads one element by the node's reader.
// Returns 0, -1 when the node has no reader, or the reader's result; logged.
[[nodiscard]] int mac_entery_xml_read(u32 inst, const char* node, const void* element,
                                      mac_entry* entry);

// The reader of a node, or null (logged). Names match exactly.
mac_entery_reader mac_entery_xml_func(const char* node);

// The storage code of a node, or 0 (logged).
u32 mac_entery_xml_ioctl(const char* node);

// The reader of both storage nodes: attributes "id", "drv_name", "chip_id" and
// "channel" are required, "mac_num" is 1 and "storage_name" empty when absent.
// Returns 0, or -1 when a pointer is null or a required attribute is missing.
[[nodiscard]] int mac_entery_xml_status(u32 inst, const char* node, const void* element,
                                        mac_entry* entry);

#endif
