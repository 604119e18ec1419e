// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The diagnostic attributes "devlist" and "drvlist": registered with the
// platform's diagnostic service; reading them is empty, writing has no effect.
// Set up at start-up, torn down at shutdown, on one thread; may sleep.
#ifndef CONTROL_MAC_DIAG_H
#define CONTROL_MAC_DIAG_H

#include "base/vocabulary.h"
#include "platform/diag.h"

namespace mac {
inline constexpr u32 kDiagSlots = 10;
}  // namespace mac

using mac_diag_show_op = decltype(platform_attribute::show);
using mac_diag_store_op = decltype(platform_attribute::store);

struct mac_diag_state {
    u32 module_id;
    char name[mac::kNameUsr];
    u32 max_attr;
    u32 attr_count;
    void* kobject;
    platform_attribute_group group;
    char* attr_name[mac::kDiagSlots];  // mac::kNameKer characters each
    platform_attribute attr[mac::kDiagSlots];
    platform_attribute* attr_list[mac::kDiagSlots];  // null-terminated
    diag_file file_list[mac::kDiagSlots];            // ends with an all-zero entry
};

extern mac_diag_state g_mac_diag;

// Returns 0; MAC_FAULT (logged) when the clear or the name's copy is refused; the
// code of the group's registration.
[[nodiscard]] u32 mac_diag_init(u32 module_id, const char* name);

// The name buffers are deliberately left allocated.
void mac_diag_exit();

// Adds both attributes and registers the group. Returns 0 or the group's code
// (logged).
[[nodiscard]] u32 mac_diag_create_attr();

// Adds one attribute of mode 0400. At most eight are admitted: two of the ten
// slots are kept free. A refusal is logged.
void mac_diag_add_attr(const char* attr_name, u8 kind, mac_diag_show_op show,
                       mac_diag_store_op store);

void mac_diag_delete_attr();

// The directory object, or null (logged).
void* mac_diag_get_kobject();

// Both return 0.
long mac_diag_show(void* kobject, const platform_attribute* attribute, char* page);
long mac_diag_store(void* kobject, const platform_attribute* attribute, const char* text,
                    size_t length);

#endif
