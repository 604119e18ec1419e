// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Data sets: for each (instance, MAC type) the two in-memory areas, main and
// spare, that mirror the stored records.
//
// The registry's spinlock guards the list only; lookups hand out pointers after
// it is released. A data set is found until its instance is unmounted, and its memory
// stays until every call that was inside then has left (mac::CallGuard). Area
// contents are not locked, except while one area is copied into the other
// (mac_mutex): callers serialise operations on a block. Unless said otherwise
// functions may sleep.
#ifndef CORE_MAC_DATA_H
#define CORE_MAC_DATA_H

#include "base/lookup.h"
#include "base/registry.h"
#include "base/vocabulary.h"
#include "platform/reclaim.h"

struct mac_area {
    u32 support;   // 1: configured, buffer allocated; 0: all fields zero
    u32 chip_id;   // third argument of the driver's read and write
    u32 channel;   // fourth argument of the driver's read and write
    u64 cfg_flag;  // the format's flag at configuration; for reference
    u64 flag;      // flag of the stored record; 1 after configuration
    u8 mac[mac::kMacLength];
    char name[mac::kNameKer];  // storage name
    u32 mac_num;               // number of addresses
    u32 crc;                   // check value of the stored record; 1 after configuration
    u32 cfg_num;               // configured number of addresses; for reference
    u8* buf;                   // the record as the medium stores it; owned
    u32 len;                   // its length in bytes
};

struct mac_inst_mng {
    mac_link list;
    platform_mutex mac_mutex;  // held while one area is copied into the other
    u32 inst_id;
    u32 mac_type;
    mac_area area[mac::kAreaCount];  // main, spare
    mac_inst_mng* same_hash;         // of the registry's table
    platform_reclaim reclaim;
};

// All data sets of all instances, in the order of their creation.
struct mac_data_registry : mac::Registry<mac_inst_mng> {
    mac::LookupTable<mac_inst_mng, 256> table;  // by instance and type; the lock guards it too
};
extern mac_data_registry g_mac_func;

namespace mac {

// Room behind `len` in every record buffer: the environment medium fills 16 bytes
// whatever the length is, and an empty Kolbe record is read 6 bytes past its end.
inline constexpr u32 kRecordSlack = 16;

}  // namespace mac

// Creates, configures and inserts a data set. An area that cannot be configured
// stays unsupported.
// Returns 0, or -1 (logged): it exists, or no memory.
[[nodiscard]] int mac_data_create(u32 inst, u32 type);

// Appends to the list; null is ignored. Any context.
void mac_data_insert(mac_inst_mng* mng);

// The data set, or null. Any context.
mac_inst_mng* mac_data_find_by_instid(u32 inst, u32 type);

// The same; that there is none is logged as an error. Any context.
mac_inst_mng* mac_data_find_or_log(u32 inst, u32 type);

// Unlinks one data set and frees it, once nobody is inside; its record buffers are
// deliberately left allocated. Any context.
void mac_data_remove(mac_inst_mng* mng);

// The same for all data sets, with their record buffers.
void mac_data_delete();

// *support: whether the area is supported (1 or 0). An unknown data set is
// logged and gives 0; an area above 1 gives 0. Any context.
void mac_area_support(u32 inst, u32 type, u32 area, u32* support);

// *support: whether at least one of the two areas is supported (1 or 0).
void mac_type_support(u32 inst, u32 type, u32* support);

// Take and release the data set's mutex; nothing without a data set. For an instance that is
// not unmounted meanwhile.
void mac_data_lock(u32 inst, u32 type);
void mac_data_unlock(u32 inst, u32 type);

#endif
