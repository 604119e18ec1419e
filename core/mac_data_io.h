// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The area pipeline: one area from its medium into its fields, and back.
//
// A read is the medium's read, then the format's get_format; a write is
// set_format, then the medium's write. Nothing is retried, the first failure ends
// the operation. Raw records are logged as hexadecimal lines and parsed fields as
// a summary, both at level 3. No lock is taken; media may sleep.
//
// All return 0; MAC_FAIL for an area above 1; MAC_NOT_SUPPORTED without an entry,
// a bound driver or a record buffer; MAC_OPERATION_MISSING when the driver lacks
// the operation; else the driver's code.
#ifndef CORE_MAC_DATA_IO_H
#define CORE_MAC_DATA_IO_H

#include "core/mac_data.h"

// The area record; null for an area above 1; for an unsupported area or a missing
// data set the value MAC_NOT_SUPPORTED in place of a pointer. Callers of the
// record's fields ask mac_area_present() first.
mac_area* mac_get_data(u32 inst, u32 type, u32 area);

// Whether the result of mac_get_data() is a record.
bool mac_area_present(const mac_area* area);

[[nodiscard]] u32 mac_get_device(u32 inst, u32 type, u32 area);  // the medium's read
[[nodiscard]] u32 mac_set_device(u32 inst, u32 type, u32 area);  // the medium's write
[[nodiscard]] u32 mac_get_format(u32 inst, u32 type, u32 area);  // parse buf into the fields
[[nodiscard]] u32 mac_set_format(u32 inst, u32 type, u32 area);  // build buf from the fields

[[nodiscard]] u32 mac_data_read(u32 inst, u32 type, u32 area);
[[nodiscard]] u32 mac_data_write(u32 inst, u32 type, u32 area);

// Log the record as hexadecimal lines, or the fields in one line; rw is 0 for a
// read, 1 for a write.
void mac_data_mesg(u32 inst, u32 type, u32 area, u32 rw);
void mac_data_dump(u32 inst, u32 type, u32 area, u32 rw);

#endif
