// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Numbers and sizes that every room of the system uses.
#ifndef BASE_VOCABULARY_H
#define BASE_VOCABULARY_H

#include "platform/types.h"

namespace mac {

// The module's log number and its name everywhere: log, registries, control
// device, instance names, top node of the XML tree.
inline constexpr u32 kLogModule = 22;
inline constexpr char kModuleName[] = "mac_mng";

// The two copies of a block.
inline constexpr u32 kMainArea = 0;
inline constexpr u32 kSpareArea = 1;
inline constexpr u32 kAreaCount = 2;

// Storage codes of configuration entries, and the XML nodes they come from.
inline constexpr u32 kMainStorage = 0x4d08;
inline constexpr u32 kSpareStorage = 0x4d09;
inline constexpr char kMainStorageNode[] = "mac_storage_main";
inline constexpr char kSpareStorageNode[] = "mac_storage_spare";

// A MAC address, and what stands for "no trustworthy block" after a failed
// recovery: this count with an all-zero address.
inline constexpr u32 kMacLength = 6;
inline constexpr u32 kMacCountMax = 0xfffe;
inline constexpr u32 kMacCountInvalid = 0xffff;

// Capacities of text fields in bytes, terminator included.
inline constexpr u32 kNameUsr = 40;
inline constexpr u32 kNameKer = 32;

// The names of the storage drivers.
inline constexpr char kDriverFlash[] = "drv_mac_flash";
inline constexpr char kDriverEeprom[] = "drv_mac_eeprom";
inline constexpr char kDriverEnv[] = "drv_mac_env";
inline constexpr char kDriverKolbeNoCrc[] = "drv_mac_kolbe_no_crc";
inline constexpr char kDriverRouterNoCrc[] = "drv_mac_router_no_crc";
inline constexpr char kDriverKolbeInCrc[] = "drv_mac_kolbe_in_crc";
inline constexpr char kDriverRouterInCrc[] = "drv_mac_router_in_crc";

}  // namespace mac

#endif
