// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/scenario/power.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace scenario {

namespace {

struct Name {
    Fault fault;
    const char* text;
};

constexpr Name kNames[] = {{Fault::kCut, "cut"},
                           {Fault::kWriteError, "error"},
                           {Fault::kDrop, "drop"},
                           {Fault::kReadError, "read"}};

}  // namespace

std::string plan_text(const Plan& plan) {
    for (const Name& name : kNames) {
        if (plan.fault != name.fault) continue;
        if (plan.fault == Fault::kCut) {
            return fmt::format("{}@{}+{}", name.text, plan.step, plan.keep);
        }
        return fmt::format("{}@{}", name.text, plan.step);
    }
    return "";
}

bool parse_plan(const std::string& text, Plan* plan) {
    char word[16] = "";
    *plan = {};
    if (std::sscanf(text.c_str(), "%15[a-z]@%u+%zu", word, &plan->step, &plan->keep) < 2) {
        return false;
    }
    for (const Name& name : kNames) {
        if (std::string(word) == name.text) plan->fault = name.fault;
    }
    return plan->fault != Fault::kNone && plan_text(*plan) == text;
}

bool PoweredStore::read(u32 offset, host::Bytes bytes) {
    if (!power_->on_) return false;
    ++power_->reads_;
    if (power_->plan_.fault == Fault::kReadError && power_->reads_ == power_->plan_.step) {
        return false;
    }
    return store_->read(offset, bytes);
}

bool PoweredStore::write(u32 offset, host::ConstBytes bytes) {
    if (!power_->on_) return false;
    power_->written_.push_back(bytes.size());
    const Plan& plan = power_->plan_;
    if (power_->written_.size() != plan.step || plan.fault == Fault::kReadError) {
        return store_->write(offset, bytes);
    }
    switch (plan.fault) {
        case Fault::kCut:
            store_->write(offset, bytes.first(std::min(plan.keep, bytes.size())));
            power_->on_ = false;
            return false;
        case Fault::kWriteError:
            return false;
        case Fault::kDrop:
            return true;
        default:
            return store_->write(offset, bytes);
    }
}

}  // namespace scenario
