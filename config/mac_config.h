// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The configuration registry: per instance one record, under it the storage
// entries that say where each block is kept. It also owns the two mutexes of the
// control device and the lists that the status listings walk.
//
// Locks: the registry's spinlock guards config_list, each instance's spinlock
// its entries; the only nesting is registry, then instance. Lookups hand out
// pointers after the lock is released: records are found until their instance is
// unmounted, and their memory stays until every call that was inside then has left
// (mac::CallGuard). Callers serialise mounting and unmounting of one instance.
#ifndef CONFIG_MAC_CONFIG_H
#define CONFIG_MAC_CONFIG_H

#include "base/list.h"
#include "base/lookup.h"
#include "base/vocabulary.h"
#include "config/mac_listing.h"
#include "platform/driver_manager.h"
#include "platform/lock.h"
#include "platform/reclaim.h"

// Where one copy of one block is kept.
struct mac_entry {
    mac_link list;
    u32 storage_code;  // mac::kMainStorage or mac::kSpareStorage
    u32 inst_id;
    u32 id;  // MAC type
    u32 chip_id;
    u32 channel;  // offset on the chip in bytes
    u32 mac_num;  // number of addresses
    char storage_name[mac::kNameUsr];
    char drv_name[mac::kNameUsr];
    MacDriverOps* driver;  // bound when the instance is mounted; null before
    platform_reclaim reclaim;
};

// The driver may be asked for while it is bound: a call that began before an instance was
// unmounted meets the entries of the next mount.
inline MacDriverOps* mac_entry_driver(const mac_entry& entry) {
    return __atomic_load_n(&entry.driver, __ATOMIC_ACQUIRE);
}
inline void mac_entry_bind(mac_entry& entry, MacDriverOps* driver) {
    __atomic_store_n(&entry.driver, driver, __ATOMIC_RELEASE);
}

// One mounted instance.
struct mac_inst_config {
    mac_link list;
    u32 inst_id;
    char name[mac::kNameUsr];
    u32 entry_num;
    platform_spinlock lock;           // guards entry_list and entry_num
    mac::List<mac_entry> entry_list;  // in insertion order
    mac_inst_config* same_hash;       // of the registry's table
    platform_reclaim reclaim;
};

struct mac_config_registry {
    mac::List<mac_inst_config> config_list;
    u32 module_id;
    char name[mac::kNameUsr];
    u32 max_num;                                  // 16; nothing reads it
    mac::LookupTable<mac_inst_config, 64> table;  // by instance
    platform_spinlock lock;                       // guards config_list and table
    platform_mutex dev_mutex;                     // held around every control command
    mac::List<mac_cfg_entry> cfg_list;            // configuration listing
    mac::List<mac_type_status> type_list;         // MAC type listing
    platform_mutex show_mutex;                    // held while a listing walks
};

extern mac_config_registry g_mac_config;

// Sets the registry up; first call of all, at start-up.
// Returns 0, or -14 (logged) when the clear or the name's copy is refused.
[[nodiscard]] int mac_config_init(u32 module_id, const char* name);

// mac_delete_config(); last call, at shutdown.
void mac_config_exit();

// Creates the record of an instance. May sleep.
// Returns 0, or -1 (logged): it exists, no memory, or a name of 40 or more
// characters.
[[nodiscard]] int mac_create_config(u32 inst, const char* name);

// Appends a record; null is ignored.
void mac_insert_config(mac_inst_config* config);

// Unlinks a record, not its entries, and frees it once nobody is inside; null is
// ignored.
void mac_remove_config(mac_inst_config* config);

// The same for every record, with all its entries.
void mac_delete_config();

// The record of an instance, or null.
mac_inst_config* mac_config_find_by_instid(u32 inst);

// Creates a storage entry as a copy of a template, unbound, at the tail of its
// instance. May sleep. Without a record of the instance the entry is made, is
// not reachable, and 0 is returned.
// Returns 0, or -1: a null template, no memory (logged), or a name of 40 or more
// characters (logged).
[[nodiscard]] int mac_create_entry(const mac_entry* entry);

// Appends an entry to its instance; ignored when null or without a record.
void mac_insert_entry(mac_entry* entry);

// Unlinks an entry and frees it once nobody is inside; ignored when null or without a
// record.
void mac_remove_entry(mac_entry* entry);

// The same for all entries of a record; null is ignored.
void mac_delete_entry(mac_inst_config* config);

// The first entry of an instance with this MAC type and storage code, or null. Walks the
// entries without their lock: a call that meets an unmount may find none.
mac_entry* mac_entery_find_by_device(u32 inst, u32 id, u32 storage_code);

// Take and release the command mutex. May sleep, and is not taken by a caller that is killed
// while it waits: 0, or the negative error number of platform_mutex_lock_killable().
int mac_mutex_lock();
void mac_mutex_unlock();

// Take and release the listing mutex; inside the command mutex. May sleep.
void drv_mac_lock();
void drv_mac_unlock();

#endif
