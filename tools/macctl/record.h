// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Records as bytes: what a copy holds and, when it is no good, what was expected
// and what was found. The system's own formats decide; this says why.
#ifndef TOOLS_MACCTL_RECORD_H
#define TOOLS_MACCTL_RECORD_H

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/common/crc16.h"
#include "platform/driver_manager.h"
#include "tools/macctl/text.h"

namespace macctl {

using ConstBytes = std::span<const u8>;

// A record format, under the name by which people give it.
struct Format {
    const char* name;    // "qolt"
    const char* driver;  // a storage driver that uses it
    u64 flag;            // value of its tag, 0 when it has none
    u32 tag_at;
    u32 tag_bytes;
    u32 list_at;     // where the addresses begin
    bool checked;    // damage is seen
    bool counted;    // the record says how many addresses it has
    bool crc_check;  // the check value covers the bytes (not the same for all records)
};

std::span<const Format> formats();
// Null when there is none.
const Format* find_format(const std::string& name);
const Format* format_of_driver(const std::string& driver);

enum class CopyState {
    kGood,
    kErased,
    kWrongTag,
    kWrongLength,
    kCheckMismatch,
    kNotMade,  // no image of the board is there: the first use makes them
    kUnreadable,
};

// "good", "erased", "wrong tag", ...
const char* state_name(CopyState state);

struct Record {
    u32 status = 0;  // what the system gives for these bytes
    CopyState state = CopyState::kUnreadable;
    MacAddress base{};
    u32 num = 0;
    u32 check = 0;       // as two copies are compared by
    bool blank = false;  // nothing was ever written: erased in every byte, or not made yet
    std::string detail;  // expected and found; empty when good
};

// Decodes a record at the start of the bytes. `num` is how many addresses a format
// without a count is expected to hold. Wants a CrcChoice or an open board.
Record decode_record(const Format& format, ConstBytes bytes, u32 num);

// The bytes of a record; those that a format leaves alone are 0xff. The status of
// the system in *status.
std::vector<u8> encode_record(const Format& format, const MacAddress& base, u32 num, u32* status);

// Bytes of a record of so many addresses, 64 bits so that nothing wraps.
u64 record_size(const Format& format, u32 num);

// The base address plus `index`, carried through all six bytes.
MacAddress nth_address(const MacAddress& base, u32 index);
// Whether the block leaves the addresses of its first three bytes.
bool leaves_oui(const MacAddress& base, u32 num);

// Makes a CRC-16 variant the one that records are built and checked with.
class CrcChoice {
public:
    explicit CrcChoice(const platform::Crc16Variant& variant);
    ~CrcChoice();
    CrcChoice(const CrcChoice&) = delete;
    CrcChoice& operator=(const CrcChoice&) = delete;

private:
    struct Scratch;
    std::unique_ptr<Scratch> scratch_;
};

}  // namespace macctl

#endif
