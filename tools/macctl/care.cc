// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Looking after copies: "check" says what is there and writes nothing; "repair" has
// the system do what it would do at the next access.
#include <fmt/format.h>

#include <algorithm>

#include "mac_mng/mac_status.h"
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

// What became of a block that wanted repair.
struct Repair {
    PoolReport before;
    PoolReport after;
    u32 status;

    bool done() const {
        const unsigned area = before.next == Next::kRewriteMain ? 0 : 1;
        const auto& copy = after.copies[area];
        return copy && copy->record.state == CopyState::kGood && !copy->different;
    }
};

std::string repair_text(const Repair& repair) {
    const PoolReport& before = repair.before;
    const unsigned area = before.next == Next::kRewriteMain ? 0 : 1;
    const CopyReport& copy = *before.copies[area];
    std::string text = fmt::format("{}: {} copy, {}, {}", pool_name(before.inst, before.type),
                                   area_name(area), copy.copy.place(), copy.state());
    if (!repair.done()) {
        return text + fmt::format(": not repaired: {}\n", describe_status(repair.status));
    }
    const Record& now = repair.after.copies[area]->record;
    return text + fmt::format(": rewritten with {}\n", block_words(now.base, now.num));
}

Value repair_value(const Repair& repair) {
    const unsigned area = repair.before.next == Next::kRewriteMain ? 0 : 1;
    return {{"instance", fmt::format("0x{:x}", repair.before.inst)},
            {"type", repair.before.type},
            {"copy", area_name(area)},
            {"before", copy_value(*repair.before.copies[area])},
            {"after", copy_value(*repair.after.copies[area])},
            {"repaired", repair.done()}};
}

std::string beyond_repair_text(const PoolReport& pool) {
    const std::string name = pool_name(pool.inst, pool.type);
    if (pool.health == Health::kBlank) return name + ": blank, nothing was ever written: set it\n";
    return fmt::format("{}: {}, and no access repairs that: set it again\n", name,
                       health_name(pool.health));
}

std::vector<Repair> repair_all(Context& context, const Reports& wanting) {
    std::vector<Repair> repairs;
    Progress progress("repairing", wanting.size());
    for (const PoolReport& pool : wanting) {
        const u32 status = access(context.target().client(), pool);
        const Reports after = context.target().inspect({pool.inst, pool.type});
        repairs.push_back({pool, after.at(0), status});
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
    if (context.options.dry_run) {
        for (const PoolReport& pool : wanting) {
            result.text +=
                fmt::format("{}: {}\n", pool_name(pool.inst, pool.type), pool.next_words());
            result.data["repairs"].push_back(pool_value(pool));
        }
        return result;
    }
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
    result.data["blank"] = count(reports, Health::kBlank);
    if (wanting.empty() && result.text.empty()) result.text = "nothing to repair\n";
    if (count(reports, Health::kBlank) != 0) result.exit = kExitBlank;
    if (!wanting.empty()) result.exit = kExitRepaired;
    if (failed != 0) result.exit = kExitNotWritten;
    if (count(reports, Health::kLost) != 0) result.exit = kExitLost;
    return result;
}

}  // namespace macctl
