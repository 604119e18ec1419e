// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/scenario/runner.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include "platform/env.h"
#include "tools/macctl/layout.h"

namespace scenario {

namespace {

constexpr char kForeign[] = "serial=4711";
constexpr size_t kForeignAt[] = {0x700, 0x2700};  // in the erase blocks of the copies
constexpr char kVariable[] = "bootcmd";
constexpr char kVariableText[] = "run a; run b";

// How many bytes of a step's write reach the medium before the power goes: of short
// ones every number, of others none, one, half, all but one, all.
std::vector<size_t> keeps_of(size_t length) {
    std::set<size_t> keeps = {0, 1, length / 2, length - 1, length};
    for (size_t i = 0; length <= 16 && i <= length; ++i) keeps.insert(i);
    return {keeps.begin(), keeps.end()};
}

Images start_of(const Setting& setting, const Action& action) {
    Images images = blank(setting.board);
    for (const size_t at : kForeignAt) {
        std::copy_n(kForeign, sizeof(kForeign), images["flash"].begin() + static_cast<long>(at));
    }
    {
        const World world(setting.board, images);
        (void)drv_env_set(kVariable, kVariableText);
        (void)drv_env_save();
        if (!action.blank) (void)world.set_block(0, {kOldBlock.base, setting.num});
        (void)world.set_block(1, {kNeighbourBlock.base, setting.num});
        images = world.images();
    }
    action.prepare(&images, setting);
    return images;
}

bool foreign_kept(const Images& images) {
    for (const size_t at : kForeignAt) {
        if (!std::equal(kForeign, kForeign + sizeof(kForeign),
                        images.at("flash").begin() + static_cast<long>(at))) {
            return false;
        }
    }
    return true;
}

bool variable_kept() {
    char text[64] = "";
    return drv_env_get(kVariable, text, sizeof(text)) == 0 && std::string(text) == kVariableText;
}

std::string block_text(const Block& block) {
    const u8* const base = block.base.data();
    return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x} count {}", base[0], base[1],
                       base[2], base[3], base[4], base[5], block.num);
}

}  // namespace

Place place_of(const Setting& setting, unsigned area) {
    const host::BoardFile file = host::BoardFile::parse(setting.board, "scenario");
    const macctl::Copy copy = *macctl::read_layout(file).pools.at(0).copies[area];
    Place place;
    if (copy.medium() == macctl::MediumKind::kEnv) {
        place.variable = copy.name;
        return place;
    }
    place.image = copy.medium() == macctl::MediumKind::kFlash ? "flash"
                  : copy.chip == 1                            ? "one"
                                                              : "two";
    place.offset = copy.offset;
    place.bytes = copy.size();
    place.base_at = copy.format()->list_at;
    if (!copy.format()->counted) {
        place.filler_from = 4 + 2 * size_t{copy.num};
        place.filler_to = 48;
    }
    return place;
}

void Tally::add(const Tally& other) {
    runs += other.runs;
    old_block += other.old_block;
    new_block += other.new_block;
    lost += other.lost;
    invented += other.invented;
    neighbours_lost += other.neighbours_lost;
    foreign_lost += other.foreign_lost;
    out_of_step += other.out_of_step;
}

Runner::Runner(const Setting& setting, const Action& action)
    : setting_(setting), action_(action), start_(start_of(setting, action)) {}

Runner::After Runner::perform(const Plan& plan) const {
    const World world(setting_.board, start_, plan);
    After after;
    after.status = action_.act(world, setting_);
    after.images = world.images();
    after.written = world.power().written();
    after.reads = world.power().reads();
    if (trace_) {
        std::printf("action %s: status 0x%08x, %zu writes%s\n", action_.name.c_str(), after.status,
                    after.written.size(), world.powered() ? "" : ", then the power went");
    }
    return after;
}

Runner::After Runner::access(const Images& images, const Plan& plan) const {
    const World world(setting_.board, images, plan);
    After after;
    after.status = world.read(0).status;
    after.images = world.images();
    after.written = world.power().written();
    return after;
}

void Runner::complain(const Plans& plans, const std::string& what) {
    std::string id = fmt::format("{}:{}", setting_.name, action_.name);
    for (const Plan& plan : plans) id += fmt::format("/{}", plan_text(plan));
    violations_.push_back(fmt::format("{}  {}", id, what));
}

Block Runner::new_block() const {
    return {kNewBlock.base, action_.recounts ? setting_.new_num : setting_.num};
}

// Powers on for good: the first access mends, the second finds everything in step.
Tally Runner::judge(const Images& images, const Plans& plans, u32 status) {
    Tally tally;
    tally.runs = 1;
    const World world(setting_.board, images);
    const Reading reading = world.read(0);
    const Block old_block = {kOldBlock.base, setting_.num};
    Outcome outcome = Outcome::kInvented;
    if (reading.status != 0) {
        outcome = action_.blank ? Outcome::kOld : Outcome::kLost;
    } else if (reading.block == old_block && !action_.blank) {
        outcome = Outcome::kOld;
    } else if (reading.block == new_block() && action_.changes) {
        outcome = Outcome::kNew;
    }
    tally.old_block = outcome == Outcome::kOld;
    tally.new_block = outcome == Outcome::kNew;
    tally.lost = outcome == Outcome::kLost;
    tally.invented = outcome == Outcome::kInvented;
    const Reading neighbour = world.read(1);
    tally.neighbours_lost =
        neighbour.status != 0 || !(neighbour.block == Block{kNeighbourBlock.base, setting_.num});
    const bool variable = variable_kept();
    tally.foreign_lost = !foreign_kept(world.images()) || !variable;
    const size_t settled = world.power().written().size();
    (void)world.read(0);
    (void)world.read(1);
    tally.out_of_step = world.power().written().size() != settled;
    if (trace_) {
        std::printf("first access: status 0x%08x, %s; %zu writes\nneighbour: status 0x%08x, %s\n",
                    reading.status, block_text(reading.block).c_str(), settled, neighbour.status,
                    block_text(neighbour.block).c_str());
        std::printf("foreign bytes and variables: %s; second access: %s\n",
                    tally.foreign_lost ? "changed" : "kept",
                    tally.out_of_step ? "writes again" : "writes nothing");
    }
    if (setting_.sound) {
        if (tally.lost) complain(plans, "the block is lost");
        const bool mixed = setting_.saves_twice && action_.recounts &&
                           reading.block == Block{kOldBlock.base, setting_.new_num};
        if (tally.invented && !mixed)
            complain(plans, fmt::format("a third block: {}", block_text(reading.block)));
        if (tally.neighbours_lost) complain(plans, "the neighbour is lost");
        if (tally.out_of_step) complain(plans, "a second access writes again");
        if (!variable && setting_.keeps_foreign) complain(plans, "a variable is lost");
    }
    if (setting_.keeps_foreign && tally.foreign_lost) complain(plans, "foreign bytes are lost");
    const bool claimed = plans.empty() || plans[0].fault != Fault::kCut;
    if (claimed && status == 0 && action_.changes && setting_.sound && outcome != Outcome::kNew) {
        complain(plans, "success was reported and the new block is not there");
    }
    return tally;
}

Tally Runner::cut_everywhere(const std::vector<size_t>& written,
                             const std::function<Tally(const Plan&)>& run) const {
    Tally tally;
    for (unsigned step = 1; step <= written.size(); ++step) {
        for (const size_t keep : keeps_of(written[step - 1])) {
            tally.add(run({Fault::kCut, step, keep}));
        }
    }
    return tally;
}

Tally Runner::cuts(unsigned depth) {
    const std::vector<size_t> written = perform({}).written;
    return cut_everywhere(written, [&](const Plan& first) {
        const After after = perform(first);
        Tally tally = judge(after.images, {first}, after.status);
        if (depth < 2) return tally;
        tally.add(cut_everywhere(access(after.images, {}).written, [&](const Plan& second) {
            const After again = access(after.images, second);
            return judge(again.images, {first, second}, again.status);
        }));
        return tally;
    });
}

Tally Runner::errors() {
    const After whole = perform({});
    Tally tally = judge(whole.images, {}, whole.status);
    for (unsigned step = 1; step <= whole.written.size(); ++step) {
        for (const Fault fault : {Fault::kWriteError, Fault::kDrop}) {
            const After after = perform({fault, step, 0});
            tally.add(judge(after.images, {{fault, step, 0}}, after.status));
        }
    }
    for (unsigned step = 1; step <= whole.reads; ++step) {
        const Plan plan = {Fault::kReadError, step, 0};
        const After after = perform(plan);
        tally.add(judge(after.images, {plan}, after.status));
    }
    return tally;
}

Tally Runner::replay(const Plans& plans, bool trace) {
    trace_ = trace;
    After after = perform(plans.empty() ? Plan{} : plans[0]);
    if (plans.size() > 1) after = access(after.images, plans[1]);
    return judge(after.images, plans, after.status);
}

Tally flip_every_bit(const Setting& setting, std::vector<std::string>* violations) {
    Tally tally;
    const Images good = start_of(setting, actions()[1]);
    for (unsigned area = 0; area < 2; ++area) {
        const Place place = place_of(setting, area);
        if (!place.variable.empty()) continue;
        for (size_t bit = 0; bit < 8 * place.bytes; ++bit) {
            Images images = good;
            images[place.image][place.offset + bit / 8] ^= static_cast<u8>(1 << bit % 8);
            const World world(setting.board, images);
            const Reading reading = world.read(0);
            const bool old =
                reading.status == 0 && reading.block == Block{kOldBlock.base, setting.num};
            ++tally.runs;
            tally.old_block += old;
            tally.lost += reading.status != 0;
            tally.invented += reading.status == 0 && !old;
            const size_t byte = bit / 8;
            const bool filler = byte >= place.filler_from && byte < place.filler_to;
            if (setting.sound && (!old || (!filler && world.images() != good))) {
                violations->push_back(fmt::format("{}: bit {} of the {} copy is not repaired",
                                                  setting.name, bit, macctl::area_name(area)));
            }
        }
    }
    return tally;
}

}  // namespace scenario
