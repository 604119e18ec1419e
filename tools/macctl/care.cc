// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Looking after copies: "check" says what is there and writes nothing; "repair" has
// the system do what it would do at the next access.
#include <fmt/format.h>

#include <algorithm>

#include "mac_mng/mac_status.h"
#include "tools/macctl/collision.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

using Reports = std::vector<PoolReport>;

Colour colour_of(Health health) {
    switch (health) {
        case Health::kGood:
            return Colour::kGood;
        case Health::kDegraded:
            return Colour::kWarning;
        case Health::kBlank:
            return Colour::kBlank;
        case Health::kLost:
            break;
    }
    return Colour::kBad;
}

bool decodes(const CopyReport& copy) { return copy.record.state == CopyState::kGood; }

std::string copy_text(unsigned area, const CopyReport& copy) {
    std::string text =
        fmt::format("  {:<5}  {}: {}", area_name(area), copy.copy.place(), copy.state());
    if (decodes(copy)) text += fmt::format(", {}", block_words(copy.record.base, copy.record.num));
    if (!copy.record.detail.empty()) text += fmt::format(" ({})", copy.record.detail);
    return text + "\n";
}

Value copy_value(const CopyReport& copy) {
    Value value = {{"place", copy.copy.place()},
                   {"driver", copy.copy.driver},
                   {"state", copy.state()},
                   {"status", fmt::format("0x{:08x}", copy.record.status)}};
    value["block"] = decodes(copy) ? block_value(copy.record.base, copy.record.num) : Value();
    value["detail"] = copy.record.detail;
    return value;
}

std::string pool_text(const PoolReport& pool) {
    std::string text = fmt::format("{}: {}\n", pool_name(pool.inst, pool.type),
                                   coloured(health_name(pool.health), colour_of(pool.health)));
    for (unsigned area = 0; area < 2; ++area) {
        text += pool.copies[area] ? copy_text(area, *pool.copies[area])
                                  : fmt::format("  {:<5}  not configured\n", area_name(area));
    }
    text += fmt::format("  the next access {}\n", pool.next == Next::kNothing && pool.status == 0
                                                      ? "repairs nothing"
                                                      : pool.next_words());
    if (!pool.note.empty()) text += fmt::format("  note: {}\n", pool.note);
    return text;
}

Value pool_value(const PoolReport& pool) {
    Value value = {{"instance", fmt::format("0x{:x}", pool.inst)},
                   {"type", pool.type},
                   {"health", health_name(pool.health)}};
    for (unsigned area = 0; area < 2; ++area) {
        value[area_name(area)] = pool.copies[area] ? copy_value(*pool.copies[area]) : Value();
    }
    value["next"] = pool.next_words();
    value["note"] = pool.note;
    return value;
}

Reports look(Context& context, const char* verb) {
    Reports reports = context.target().inspect(context.options.filter());
    if (reports.empty()) refuse_absent(context, verb);
    return reports;
}

size_t count(const Reports& reports, Health health) {
    return static_cast<size_t>(
        std::count_if(reports.begin(), reports.end(),
                      [health](const PoolReport& pool) { return pool.health == health; }));
}

Value summary_value(const Reports& reports) {
    return {{"good", count(reports, Health::kGood)},
            {"degraded", count(reports, Health::kDegraded)},
            {"blank", count(reports, Health::kBlank)},
            {"lost", count(reports, Health::kLost)}};
}

std::string summary_text(const Reports& reports) {
    const size_t blank = count(reports, Health::kBlank);
    return fmt::format("{}: {} good, {} degraded, {} lost{}\n", counted(reports.size(), "block"),
                       count(reports, Health::kGood), count(reports, Health::kDegraded),
                       count(reports, Health::kLost),
                       blank == 0 ? "" : fmt::format(", {} blank", blank));
}

// Of several, what is worse for whoever wants an address.
int exit_of(const Reports& reports, bool allow_blank) {
    if (count(reports, Health::kLost) != 0) return kExitLost;
    if (count(reports, Health::kBlank) != 0 && !allow_blank) return kExitBlank;
    return count(reports, Health::kDegraded) != 0 ? kExitDegraded : kExitDone;
}

bool can_repair(const PoolReport& pool) {
    return pool.next == Next::kRewriteSpare || pool.next == Next::kRewriteMain;
}

// One access, which is what repairs.
u32 access(const Client& client, const PoolReport& pool) {
    return with_mounted(client, pool.inst, [&] {
        MacAddress base{};
        return client.get_addr({pool.inst, pool.type}, &base);
    });
}

// The copy that a repair rewrites.
unsigned area_to_repair(const PoolReport& pool) { return pool.next == Next::kRewriteMain ? 0 : 1; }

// What became of a block that wanted repair.
struct Repair {
    PoolReport before;
    std::optional<PoolReport> after;  // none where it was not tried
    u32 status = 0;
    std::string refused;  // why it was not tried
    bool rehearsed = false;

    bool done() const {
        if (!refused.empty()) return false;
        if (rehearsed) return true;
        const auto& copy = after->copies[area_to_repair(before)];
        return copy && copy->record.state == CopyState::kGood && !copy->different;
    }
    // What the copy holds after it.
    const Record& now() const {
        return rehearsed ? *before.winner() : after->copies[area_to_repair(before)]->record;
    }
};

std::string repair_text(const Repair& repair) {
    const PoolReport& before = repair.before;
    const unsigned area = area_to_repair(before);
    const CopyReport& copy = *before.copies[area];
    std::string text = fmt::format("{}: {} copy, {}, {}", pool_name(before.inst, before.type),
                                   area_name(area), copy.copy.place(), copy.state());
    if (!repair.done()) {
        return text + fmt::format(": not repaired: {}\n", repair.refused.empty()
                                                              ? describe_status(repair.status)
                                                              : repair.refused);
    }
    return text + fmt::format(": rewritten with {}{}\n",
                              block_words(repair.now().base, repair.now().num),
                              repair.rehearsed ? "  (not written)" : "");
}

Value repair_value(const Repair& repair) {
    const unsigned area = area_to_repair(repair.before);
    return {{"instance", fmt::format("0x{:x}", repair.before.inst)},
            {"type", repair.before.type},
            {"copy", area_name(area)},
            {"before", copy_value(*repair.before.copies[area])},
            {"after", repair.after ? copy_value(*repair.after->copies[area]) : Value()},
            {"repaired", repair.done() && !repair.rehearsed},
            {"reason", repair.refused}};
}

std::string beyond_repair_text(const PoolReport& pool) {
    const std::string name = pool_name(pool.inst, pool.type);
    if (pool.health == Health::kBlank) return name + ": blank, nothing was ever written: set it\n";
    return fmt::format("{}: {}, and no access repairs that: set it again\n", name,
                       health_name(pool.health));
}

// What an access would destroy, or would spread: erased bytes pass for a record where the
// format has no check. Empty when it repairs.
std::string why_not_repaired(const host::BoardFile& board, const PoolReport& pool) {
    const unsigned area = area_to_repair(pool);
    if (pool.winner() == nullptr) {
        return fmt::format(
            "an access would write the erased bytes of the {} copy there; \"set "
            "block\" writes both",
            area_name(1 - area));
    }
    const auto hits = collisions(board, {pool.inst, pool.type}, area);
    return fmt::format("{}", fmt::join(hits, "; "));
}

std::vector<Repair> repair_all(Context& context, const Reports& wanting) {
    std::vector<Repair> repairs;
    if (wanting.empty()) return repairs;
    const host::BoardFile board = context.target().board_file();
    Progress progress("repairing", wanting.size());
    for (const PoolReport& pool : wanting) {
        Repair repair;
        repair.before = pool;
        repair.refused = why_not_repaired(board, pool);
        const bool tried = repair.refused.empty();
        repair.rehearsed = context.options.dry_run && tried;
        if (repair.rehearsed) context.target().rehearse();
        if (tried && !context.options.dry_run) {
            repair.status = access(context.target().client(), pool);
            repair.after = context.target().inspect({pool.inst, pool.type}).at(0);
        }
        repairs.push_back(std::move(repair));
        progress.step(repairs.size());
    }
    return repairs;
}

}  // namespace

Result check(Context& context) {
    const Reports reports = look(context, "check");
    Result result;
    result.data["blocks"] = Value::array();
    for (const PoolReport& pool : reports) {
        result.text += pool_text(pool);
        result.data["blocks"].push_back(pool_value(pool));
    }
    result.data["summary"] = summary_value(reports);
    result.text += summary_text(reports);
    result.exit = exit_of(reports, context.options.allow_blank);
    return result;
}

Result repair(Context& context) {
    const Reports reports = look(context, "repair");
    Reports wanting;
    std::copy_if(reports.begin(), reports.end(), std::back_inserter(wanting), can_repair);
    Result result;
    result.data["repairs"] = Value::array();
    size_t failed = 0;
    for (const Repair& repair : repair_all(context, wanting)) {
        result.text += repair_text(repair);
        result.data["repairs"].push_back(repair_value(repair));
        failed += repair.done() ? 0 : 1;
    }
    for (const PoolReport& pool : reports) {
        if (can_repair(pool) || pool.health == Health::kGood) continue;
        result.text += beyond_repair_text(pool);
    }
    result.data["lost"] = count(reports, Health::kLost);
    result.acknowledges = true;
    result.data["blank"] = count(reports, Health::kBlank);
    if (wanting.empty() && result.text.empty()) result.text = "nothing to repair\n";
    if (count(reports, Health::kBlank) != 0) result.exit = kExitBlank;
    if (!wanting.empty()) result.exit = kExitRepaired;
    if (failed != 0) result.exit = kExitNotWritten;
    if (count(reports, Health::kLost) != 0) result.exit = kExitLost;
    return result;
}

}  // namespace macctl
