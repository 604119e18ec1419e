// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What a board file configures: the copies of each block and where they lie, as
// the system itself would take them from the file.
#ifndef TOOLS_MACCTL_LAYOUT_H
#define TOOLS_MACCTL_LAYOUT_H

#include <optional>

#include "platform/host/board_file.h"
#include "tools/macctl/record.h"

namespace macctl {

enum class MediumKind { kFlash, kEeprom, kEnv, kNone };

// The medium that a storage driver works on; kNone for an unknown driver.
MediumKind medium_of_driver(const std::string& driver);
const char* medium_name(MediumKind kind);

// One storage entry.
struct Copy {
    u32 inst = 0;
    u32 type = 0;
    unsigned area = 0;  // 0 main, 1 spare
    std::string driver;
    u32 chip = 0;
    std::optional<u32> chip_inst;  // the instance that the chip serves alone; none: all
    u32 offset = 0;
    u32 num = 1;
    std::string name;
    unsigned line = 0;

    MediumKind medium() const { return medium_of_driver(driver); }
    const Format* format() const { return format_of_driver(driver); }
    // Bytes of the record on its medium.
    u64 size() const { return format() == nullptr ? 0 : record_size(*format(), num); }
    // "flash 45 at 0x4c0", "variable ethaddr_pool".
    std::string place() const;
};

// Whether an entry lies on a chip of the board file.
template <typename Spec>
bool lies_on(const Copy& entry, MediumKind kind, const Spec& spec) {
    return entry.medium() == kind && entry.chip == spec.chip && entry.chip_inst == spec.inst;
}

// "flash 45", "eeprom 8 of instance 0x3".
std::string chip_name(MediumKind kind, u32 chip, std::optional<u32> inst);

const char* area_name(unsigned area);

// What tells blocks, copies and media apart, as one number.
inline u64 block_key(u32 inst, u32 type) { return u64{inst} << 32 | type; }

// The block of one instance and MAC type.
struct PoolLayout {
    u32 inst;
    u32 type;
    std::optional<Copy> copies[2];
};

// Something in the file that the system would not take as it stands.
struct LayoutProblem {
    std::string code;
    unsigned line;
    std::string text;
    std::string advice;
    bool error;
};

struct Layout {
    std::vector<Copy> entries;  // all that the system reads, also what it cannot use
    std::vector<PoolLayout> pools;
    std::vector<LayoutProblem> problems;
};

Layout read_layout(const host::BoardFile& file);

// The 22 MAC types: 0 to 5 and 64 to 79.
bool is_known_type(u32 type);

}  // namespace macctl

#endif
