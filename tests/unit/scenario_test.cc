// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Power cuts, failing media and flipped bits, everywhere, one at a time.
#include <gtest/gtest.h>

#include "tests/scenario/runner.h"

namespace {

using scenario::Runner;
using scenario::Setting;
using scenario::Tally;

std::string first_of(const std::vector<std::string>& violations) {
    return violations.empty() ? "" : violations[0];
}

class Scenario : public ::testing::TestWithParam<size_t> {
protected:
    const Setting& setting() const { return scenario::settings()[GetParam()]; }
};

TEST_P(Scenario, EveryCut_LeavesTheOldOrTheNewBlock) {
    for (const scenario::Action& action : scenario::actions()) {
        Runner runner(setting(), action);
        const Tally tally = runner.cuts(1);
        EXPECT_EQ(first_of(runner.violations()), "") << runner.violations().size();
        // Damage that a format does not show is not mended: nothing is written then.
        if (setting().sound) {
            EXPECT_GT(tally.runs, 0u) << action.name;
        }
    }
}

TEST_P(Scenario, EveryFailingStep_IsReportedOrMended) {
    for (const scenario::Action& action : scenario::actions()) {
        Runner runner(setting(), action);
        (void)runner.errors();
        EXPECT_EQ(first_of(runner.violations()), "") << runner.violations().size();
    }
}

TEST_P(Scenario, EveryFlippedBit_IsRepaired) {
    std::vector<std::string> violations;
    (void)scenario::flip_every_bit(setting(), &violations);
    EXPECT_EQ(first_of(violations), "") << violations.size();
}

INSTANTIATE_TEST_SUITE_P(All, Scenario, ::testing::Range<size_t>(0, scenario::settings().size()),
                         [](const auto& tested) {
                             std::string name = scenario::settings()[tested.param].name;
                             std::replace_if(
                                 name.begin(), name.end(), [](char c) { return !isalnum(c); }, '_');
                             return name;
                         });

}  // namespace
