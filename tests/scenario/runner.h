// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Scenarios: something is done to a block while something goes wrong, the power comes
// back, and the result is held against what a person would expect: the old block or
// the new one, never a third; the neighbours as they were; a second access that finds
// everything in step.
#ifndef TESTS_SCENARIO_RUNNER_H
#define TESTS_SCENARIO_RUNNER_H

#include <functional>

#include "tests/scenario/world.h"

namespace scenario {

inline constexpr Block kOldBlock = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x00}, 8};
inline constexpr Block kNewBlock = {{0x02, 0xaa, 0xbb, 0xcc, 0xdd, 0xf0}, 5};
inline constexpr Block kNeighbourBlock = {{0x06, 0x00, 0x00, 0x00, 0x01, 0x00}, 8};

// A pair of storage drivers on a board of its own. Type 0 is worked on, type 1 is its
// neighbour on the same media.
struct Setting {
    std::string name;
    std::string board;
    u32 num;  // addresses of a block, and of the new one
    u32 new_num;
    bool sound;          // survives every single cut
    std::string remark;  // why not, or what else to know
    bool keeps_foreign;  // bytes that are nobody's, beside the records, survive as well
    // The count is saved before the address: a cut between leaves the new count with the
    // old address.
    bool saves_twice = false;
};

const std::vector<Setting>& settings();
// Records of thousands of addresses: each run takes milliseconds, and there are thousands.
const std::vector<Setting>& large_settings();

// Where a copy of type 0 lies.
struct Place {
    std::string image;
    size_t offset = 0;
    size_t bytes = 0;
    size_t base_at = 0;      // of the base address in the record
    size_t filler_from = 0;  // bytes that carry nothing: no check covers them
    size_t filler_to = 0;
    std::string variable;  // instead of the others, where the copy is one
};
Place place_of(const Setting& setting, unsigned area);

// What is done while something goes wrong.
struct Action {
    std::string name;
    std::function<void(Images*, const Setting&)> prepare;  // before the power comes on
    std::function<u32(const World&, const Setting&)> act;
    bool changes;   // the block becomes the new one
    bool recounts;  // its count too
    bool blank;     // it begins with no block at all
};

const std::vector<Action>& actions();

enum class Outcome { kOld, kNew, kLost, kInvented };

struct Tally {
    unsigned runs = 0;
    unsigned old_block = 0;
    unsigned new_block = 0;
    unsigned lost = 0;
    unsigned invented = 0;
    unsigned neighbours_lost = 0;
    unsigned foreign_lost = 0;
    unsigned out_of_step = 0;

    void add(const Tally& other);
};

// A run's plans: the first during the action, the second during the repair after it.
using Plans = std::vector<Plan>;

class Runner {
public:
    Runner(const Setting& setting, const Action& action);

    // With a cut before, inside and after every step; `depth` 2 cuts the repair that
    // follows each as well.
    Tally cuts(unsigned depth);
    // With an error or a silent drop at every write, and an error at every read.
    Tally errors();
    // One run; `trace` prints what happens.
    Tally replay(const Plans& plans, bool trace);

    // What went against a promise, one replay id a line.
    const std::vector<std::string>& violations() const { return violations_; }

private:
    struct After {
        Images images;
        std::vector<size_t> written;
        unsigned reads = 0;
        u32 status = 0;
    };

    After perform(const Plan& plan) const;
    After access(const Images& images, const Plan& plan) const;
    Tally judge(const Images& images, const Plans& plans, u32 status);
    Tally cut_everywhere(const std::vector<size_t>& written,
                         const std::function<Tally(const Plan&)>& run) const;
    Block new_block() const;
    void complain(const Plans& plans, const std::string& what);

    const Setting& setting_;
    const Action& action_;
    Images start_;
    bool trace_ = false;
    std::vector<std::string> violations_;
};

// All bits of both copies of a block, one at a time: each is seen and repaired.
Tally flip_every_bit(const Setting& setting, std::vector<std::string>* violations);

}  // namespace scenario

#endif
