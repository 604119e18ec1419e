// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The media: adapters between an area and the platform's flash, EEPROM and
// environment services.
//
// All functions move len bytes between buf and the medium, may sleep, take no
// lock, log a failure at level 2 and return 0 or the service's code unchanged.
#ifndef STORAGE_MEDIA_MAC_MEDIA_H
#define STORAGE_MEDIA_MAC_MEDIA_H

#include "platform/types.h"

// Flash and EEPROM: chip and offset address the record; name is not used and may
// be null.
[[nodiscard]] u32 mac_flash_read(u32 inst, const char* name, u32 chip, u32 offset, u8* buf,
                                 u32 len);
[[nodiscard]] u32 mac_flash_write(u32 inst, const char* name, u32 chip, u32 offset, u8* buf,
                                  u32 len);
[[nodiscard]] u32 mac_eeprom_read(u32 inst, const char* name, u32 chip, u32 offset, u8* buf,
                                  u32 len);
[[nodiscard]] u32 mac_eeprom_write(u32 inst, const char* name, u32 chip, u32 offset, u8* buf,
                                   u32 len);

// Environment: the variable `name` holds the base address as text, `name`_num the
// count as eight hexadecimal digits; chip and offset are not used. buf is a Qolt
// record, taken apart on writing and rebuilt, with a fresh check value, on
// reading.

// Room for a variable's name or value, terminator included.
inline constexpr u32 kMacEnvText = 64;

// Also returns MAC_FAIL when buf is null, len is above 64 or the count variable's
// name cannot be formed. A failing count variable leaves the address variable
// alone; a success has saved the environment twice.
[[nodiscard]] u32 mac_env_write(u32 inst, const char* name, u32 chip, u32 offset, u8* buf, u32 len);

// Always fills 16 bytes of buf, whatever len is. Also returns MAC_FAIL when buf is
// null or the count variable's name cannot be formed. A missing count means 16
// addresses. The address text is not checked.
[[nodiscard]] u32 mac_env_read(u32 inst, const char* name, u32 chip, u32 offset, u8* buf, u32 len);

// Fetches both texts; the three buffers hold kMacEnvText bytes each. Returns 0,
// -1, or the service's code for the address variable.
[[nodiscard]] int mac_env_read_inf(const char* name, u32* count_missing, char* count_text,
                                   char* mac_text, char* count_name);

#endif
