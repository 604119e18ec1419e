// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Which format and medium each storage driver pairs. A new driver is one row.
#ifndef STORAGE_DRIVER_MAC_DRIVER_TABLE_H
#define STORAGE_DRIVER_MAC_DRIVER_TABLE_H

#include "base/text.h"
#include "base/vocabulary.h"
#include "platform/driver_manager.h"
#include "storage/formats/mac_kolbe.h"
#include "storage/formats/mac_qolt.h"
#include "storage/formats/mac_router.h"
#include "storage/media/mac_media.h"

namespace mac {

struct DriverRow {
    u32 medium;
    const char* name;
    MacDriverOps ops;
};

// In the order in which the drivers are created and deleted.
inline constexpr DriverRow kDriverTable[] = {
    {0,
     kDriverFlash,
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_flash_write,
      mac_flash_read}},
    {1,
     kDriverEeprom,
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {3,
     kDriverEnv,
     {{},
      mac_qolt_get_flag,
      mac_qolt_get_size,
      mac_qolt_set_format,
      mac_qolt_get_format,
      mac_env_write,
      mac_env_read}},
    {4,
     kDriverKolbeNoCrc,
     {{},
      mac_kolbe_nocrc_get_flag,
      mac_kolbe_nocrc_get_size,
      mac_kolbe_nocrc_set_format,
      mac_kolbe_nocrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {5,
     kDriverRouterNoCrc,
     {{},
      mac_router_nocrc_get_flag,
      mac_router_nocrc_get_size,
      mac_router_nocrc_set_format,
      mac_router_nocrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {6,
     kDriverKolbeInCrc,
     {{},
      mac_kolbe_incrc_get_flag,
      mac_kolbe_incrc_get_size,
      mac_kolbe_incrc_set_format,
      mac_kolbe_incrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
    {7,
     kDriverRouterInCrc,
     {{},
      mac_router_incrc_get_flag,
      mac_router_incrc_get_size,
      mac_router_incrc_set_format,
      mac_router_incrc_get_format,
      mac_eeprom_write,
      mac_eeprom_read}},
};

// The row of a medium, or null.
constexpr const DriverRow* find_driver_row(u32 medium) {
    for (const DriverRow& row : kDriverTable) {
        if (row.medium == medium) return &row;
    }
    return nullptr;
}

// No duplicate medium or name, and every name fits a configuration entry. (Whether
// a function's address is null is no constant where the compiler keeps null
// checks, as kernels have it.)
constexpr bool driver_table_is_sound() {
    for (const DriverRow& row : kDriverTable) {
        if (find_driver_row(row.medium) != &row) return false;
        if (text_length(row.name) >= kNameUsr) return false;
        for (const DriverRow& other : kDriverTable) {
            if (&other != &row && text_equal(other.name, row.name)) return false;
        }
    }
    return true;
}
static_assert(driver_table_is_sound());

}  // namespace mac

#endif
