// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Targets for hostile input: each takes any bytes and ends the process when the code
// under test does what it must not. A fuzzer drives them (main.cc), and the unit tests
// run them over the committed seeds.
#ifndef TESTS_FUZZ_FUZZ_H
#define TESTS_FUZZ_FUZZ_H

#include <array>
#include <span>
#include <vector>

#include "platform/types.h"

namespace fuzz {

using Input = std::span<const u8>;

// Decoders of the five formats, at every buffer length, against a model.
void formats(Input input);
// The control device with any commands over a caller's memory that ends early.
void device(Input input);
// The reader of compiled boards, against libfdt.
void board_tree(Input input);
// The reader of boot environments, against libubootenv.
void env_image(Input input);
// Board files as people write them: check, map, compile, and back.
void board_file(Input input);
// Dumps searched for records.
void identify(Input input);

// What the decoder makes of the whole record in an input of "formats".
struct FormatsReach {
    size_t format;  // qolt, router-crc, router, kolbe-crc, kolbe
    size_t length;
    u32 status;
    std::array<u8, 6> mac;  // nines where the decoder left it alone
    u32 num;                // 0x2222 where a decoder of a counted format left it alone
};
FormatsReach formats_reach(Input input);

struct Target {
    const char* name;
    void (*run)(Input);
};

inline constexpr Target kTargets[] = {
    {"formats", formats},     {"device", device},         {"board_tree", board_tree},
    {"env_image", env_image}, {"board_file", board_file}, {"identify", identify},
};

// Ends the process with the text unless the condition holds.
void must(bool condition, const char* text);

// Takes numbers from the front of an input; zeros behind its end.
class Reader {
public:
    explicit Reader(Input input) : rest_(input) {}

    bool empty() const { return rest_.empty(); }
    Input rest() const { return rest_; }
    u8 byte();
    u32 word();
    Input bytes(size_t count);

private:
    Input rest_;
};

}  // namespace fuzz

#endif
