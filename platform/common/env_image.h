// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The boot loader's environment as it lies on its medium.
//
// One copy is `size` bytes: a CRC-32 (little endian, over the data to the end of
// the copy), with redundancy one flag byte that the CRC does not cover, then the
// data: "name=value" texts, each terminated, an empty one at the end, zeros behind
// it. With redundancy there are two copies, and the flags say which is current.
//
// Pure functions over the caller's memory; any context; nothing is allocated.
#ifndef PLATFORM_COMMON_ENV_IMAGE_H
#define PLATFORM_COMMON_ENV_IMAGE_H

#include "platform/types.h"

namespace platform {

// What the flag byte of a redundant copy means.
enum class EnvFlags : u8 {
    kNone,     // a single copy has no flag
    kCounter,  // 8-bit serial number, the later one is current
    kBoolean,  // NOR flash: 1 active, 0 obsolete (programmed in place), 0xff erased
};

enum class EnvState : u8 { kValid, kErased, kDamaged };

struct EnvCopy {
    EnvState state;
    u8 flag;
};

enum class EnvResult : u8 { kOk, kNoSpace, kBadName };

inline constexpr u8 kEnvFlagActive = 1;
inline constexpr u8 kEnvFlagObsolete = 0;

// Where the data of a copy starts: 4, or 5 with a flag.
constexpr u32 env_data_offset(EnvFlags flags) { return flags == EnvFlags::kNone ? 4 : 5; }

// Where the flag of a redundant copy stands.
inline constexpr u32 kEnvFlagOffset = 4;

// The smallest copy: header, one character, two terminators.
inline constexpr u32 kEnvSizeMin = 8;

// CRC-32 as zlib computes it.
u32 env_crc32(const u8* data, size_t length);

// What a copy is.
EnvCopy env_inspect(const u8* copy, u32 size, EnvFlags flags);

// Which of two copies is current when both are valid, by their flags: 0 or 1. So a reader
// begins with that one, and needs the other only when it is not valid.
u32 env_preferred(u8 first_flag, u8 second_flag, EnvFlags flags);

// The value of a variable in the data area, or null; *length is its length.
const char* env_find(const u8* data, u32 size, const char* name, u32* length);

// Sets a variable: an existing one keeps its place, a new one is the last, an
// empty value removes it. The other variables keep their bytes and order, what is
// behind the end is zeroed. Nothing is changed unless kOk is returned.
EnvResult env_set(u8* data, u32 size, const char* name, const char* value);

// Completes a copy whose data is final: CRC and flag.
void env_seal(u8* copy, u32 size, EnvFlags flags, u8 flag);

// The flag of the copy that replaces one with the flag `current`.
u8 env_next_flag(EnvFlags flags, u8 current);

}  // namespace platform

#endif
