// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The power of an emulated board, and what else can happen to a step of its media. A
// step is the erase of a block or the programming of a run of bytes or of a page.
#ifndef TESTS_SCENARIO_POWER_H
#define TESTS_SCENARIO_POWER_H

#include <memory>
#include <string>
#include <vector>

#include "platform/host/store.h"

namespace scenario {

enum class Fault { kNone, kCut, kWriteError, kDrop, kReadError };

// One thing that goes wrong: at the `step`-th write (or read) from now on. A cut
// leaves the first `keep` bytes of the step's write on the medium.
struct Plan {
    Fault fault = Fault::kNone;
    unsigned step = 0;
    size_t keep = 0;

    bool operator==(const Plan&) const = default;
};

// "cut@3+8", "read@1"; the empty text for none.
std::string plan_text(const Plan& plan);
bool parse_plan(const std::string& text, Plan* plan);

// Shared by all media of a board.
class Power {
public:
    void arm(const Plan& plan) {
        plan_ = plan;
        on_ = true;
        reads_ = 0;
        written_.clear();
    }
    // Whether a cut has happened.
    bool on() const { return on_; }
    unsigned reads() const { return reads_; }
    // The length of each write so far.
    const std::vector<size_t>& written() const { return written_; }

private:
    friend class PoweredStore;
    Plan plan_;
    bool on_ = true;
    unsigned reads_ = 0;
    std::vector<size_t> written_;
};

// A medium's bytes under that power: without it nothing is read or written.
class PoweredStore : public host::Store {
public:
    PoweredStore(std::unique_ptr<host::Store> store, Power* power)
        : store_(std::move(store)), power_(power) {}
    u32 size() const override { return store_->size(); }
    bool read(u32 offset, host::Bytes bytes) override;
    bool write(u32 offset, host::ConstBytes bytes) override;

private:
    std::unique_ptr<host::Store> store_;
    Power* power_;
};

}  // namespace scenario

#endif
