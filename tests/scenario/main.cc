// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The scenarios in full: two cuts in a row, the table of outcomes, one run again.
//
//   scenarios [--depth N]     all of them; ends with "N passed, N failed"
//   scenarios --large         single cuts in records of thousands of addresses
//   scenarios --table         the outcomes of single cuts as Markdown
//   scenarios --replay ID     one run, step by step
#include <cstdio>
#include <cstring>
#include <string>

#include "tests/scenario/runner.h"

namespace {

using scenario::Runner;
using scenario::Tally;

int run_all(const std::vector<scenario::Setting>& settings, unsigned depth) {
    unsigned passed = 0;
    unsigned failed = 0;
    unsigned runs = 0;
    for (const scenario::Setting& setting : settings) {
        for (const scenario::Action& action : scenario::actions()) {
            Runner runner(setting, action);
            runs += runner.cuts(depth).runs;
            runs += runner.errors().runs;
            for (size_t i = 0; i < runner.violations().size() && i < 5; ++i) {
                std::printf("not ok  %s\n", runner.violations()[i].c_str());
            }
            (runner.violations().empty() ? passed : failed) += 1;
        }
    }
    std::printf("%u runs at depth %u\n%u passed, %u failed\n", runs, depth, passed, failed);
    return failed == 0 ? 0 : 1;
}

int print_table() {
    std::printf(
        "| drivers | cuts | old block | new block | lost | a third block | neighbour lost | "
        "foreign bytes lost | survives every single cut |\n|---|---|---|---|---|---|---|---|"
        "---|\n");
    for (const scenario::Setting& setting : scenario::settings()) {
        Tally tally;
        for (const scenario::Action& action : scenario::actions()) {
            tally.add(Runner(setting, action).cuts(1));
        }
        std::printf("| %s | %u | %u | %u | %u | %u | %u | %u | %s%s |\n", setting.name.c_str(),
                    tally.runs, tally.old_block, tally.new_block, tally.lost, tally.invented,
                    tally.neighbours_lost, tally.foreign_lost,
                    setting.sound && !setting.saves_twice ? "yes" : "no",
                    (setting.remark.empty() ? "" : ": " + setting.remark).c_str());
    }
    return 0;
}

std::vector<scenario::Setting> all_settings() {
    std::vector<scenario::Setting> all = scenario::settings();
    const auto& large = scenario::large_settings();
    all.insert(all.end(), large.begin(), large.end());
    return all;
}

// "SETTING:ACTION/PLAN/PLAN".
int replay(const std::string& id) {
    for (const scenario::Setting& setting : all_settings()) {
        for (const scenario::Action& action : scenario::actions()) {
            const std::string head = setting.name + ":" + action.name;
            if (id.rfind(head, 0) != 0 || (id.size() > head.size() && id[head.size()] != '/')) {
                continue;
            }
            scenario::Plans plans;
            for (size_t at = head.size(); at < id.size();) {
                const size_t end = std::min(id.find('/', at + 1), id.size());
                scenario::Plan plan;
                if (!scenario::parse_plan(id.substr(at + 1, end - at - 1), &plan)) {
                    std::fprintf(stderr, "no plan: %s\n", id.substr(at + 1, end - at - 1).c_str());
                    return 2;
                }
                plans.push_back(plan);
                at = end;
            }
            Runner runner(setting, action);
            (void)runner.replay(plans, true);
            for (const std::string& violation : runner.violations()) {
                std::printf("not ok  %s\n", violation.c_str());
            }
            return runner.violations().empty() ? 0 : 1;
        }
    }
    std::fprintf(stderr, "no scenario: %s\n", id.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--table") == 0) return print_table();
    if (argc == 3 && std::strcmp(argv[1], "--replay") == 0) return replay(argv[2]);
    if (argc == 3 && std::strcmp(argv[1], "--depth") == 0) {
        return run_all(scenario::settings(), static_cast<unsigned>(std::stoul(argv[2])));
    }
    if (argc == 2 && std::strcmp(argv[1], "--large") == 0) {
        return run_all(scenario::large_settings(), 1);
    }
    return run_all(scenario::settings(), 1);
}
