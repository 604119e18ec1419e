// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Changing a block: what is there is looked at first, and a good block is replaced
// only by somebody who says so.
#include <fmt/format.h>

#include "mac_mng/mac_status.h"
#include "tools/macctl/collision.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/output.h"
#include "tools/macctl/terminal.h"
#include "tools/macctl/write_checks.h"

namespace macctl {

namespace {

// What is there before anything is written.
struct Situation {
    bool layout_known = true;
    std::string why_not;               // known: what the platform's description lacks
    std::optional<PoolReport> report;  // of the block, where the layout is known
    std::optional<Block> before;       // the good block, if any
    std::vector<OwnedBlock> others;    // the good blocks of others, where the layout is known
};

std::string where(const char* verb, const Context& context) {
    const Pool pool = context.options.pool();
    return fmt::format("{}, type {}, {}", verb, pool.type, instance_name(pool.inst));
}

Situation look_at_media(Context& context, const char* verb) {
    const Pool pool = context.options.pool();
    Situation situation;
    for (PoolReport& report : context.target().inspect({})) {
        const std::optional<Block> block = good_block(report);
        if (report.inst == pool.inst && report.type == pool.type) {
            situation.before = block;
            situation.report = std::move(report);
        } else if (block) {
            situation.others.push_back({{report.inst, report.type}, *block});
        }
    }
    if (!situation.report) {
        const auto status = static_cast<u32>(MAC_NOT_SUPPORTED);
        throw Failure(
            kExitNotFound,
            fmt::format("{}: {}", where(verb, context), describe_refusal(context, status)), status);
    }
    return situation;
}

// A platform of the device's own need not tell where the records lie: then the
// system is asked.
Situation ask_device(Context& context, const char* why_not) {
    Situation situation;
    situation.layout_known = false;
    situation.why_not = why_not;
    Block block{};
    const Client& client = context.target().client();
    if (client.get_addr(context.options.pool(), &block.base) == 0 &&
        client.get_num(context.options.pool(), &block.num) == 0) {
        situation.before = block;
    }
    return situation;
}

Situation situation_for(Context& context, const char* verb) {
    try {
        return look_at_media(context, verb);
    } catch (const TargetError& error) {
        if (!context.options.board.empty() || context.options.dry_run) throw;
        return ask_device(context, error.what());
    }
}

// Half a block cannot be written where the other half is not known.
const Block& whole_block(const Context& context, const char* verb, const Situation& situation) {
    if (situation.before) return *situation.before;
    throw Failure(kExitLost,
                  fmt::format("{}: no copy of the block is good, so its other half is not known; "
                              "\"set block\" writes both",
                              where(verb, context)));
}

// What nothing overrides.
void refuse_misfit(Context& context, const char* verb, const Situation& situation,
                   const Block& after) {
    if (const auto found = misfit(after, situation.report ? &*situation.report : nullptr)) {
        throw Failure(kExitRefused, fmt::format("{}: {}", where(verb, context), found->text),
                      found->status);
    }
    if (!situation.layout_known) return;
    const auto hits = collisions(context.target().board_file(), context.options.pool());
    if (hits.empty()) return;
    throw Failure(kExitNotWritten, fmt::format("{}: {}; nothing was written", where(verb, context),
                                               fmt::join(hits, "; ")));
}

void ask(const Context& context, const Situation& situation, const Block& after) {
    const Pool pool = context.options.pool();
    const std::string name = pool_name(pool.inst, pool.type);
    std::vector<std::string> reasons = doubts({pool, after}, situation.others);
    const bool only_replaces = reasons.empty() && situation.layout_known;
    if (situation.before && situation.before != after) {
        reasons.insert(reasons.begin(),
                       fmt::format("{} holds the good block {}", name,
                                   block_words(situation.before->base, situation.before->num)));
    }
    if (!situation.layout_known) {
        reasons.push_back(fmt::format("what else a write to {} touches is not known here ({})",
                                      name, situation.why_not));
        if (context.options.yes) put_err(fmt::format("macctl: warning: {}\n", reasons.back()));
    }
    if (reasons.empty()) return;
    ask_first(context, fmt::format("{}", fmt::join(reasons, "; ")),
              only_replaces ? "Replace it?" : "Write it all the same?",
              only_replaces ? "replacing it needs --yes" : "that needs --yes");
}

std::string words_of(const std::optional<Block>& block) {
    return block ? block_words(block->base, block->num) : "no good block";
}

void warn_of_carry(const Block& block) {
    if (!leaves_oui(block.base, block.num)) return;
    const MacAddress last = nth_address(block.base, block.num - 1);
    put_err(fmt::format(
        "macctl: warning: the block ends at {}, outside the addresses of its first three "
        "bytes\n",
        format_address(last.data())));
}

template <typename Write>
Result change_block(Context& context, const char* verb, const Situation& situation,
                    const Block& after, Write write) {
    refuse_misfit(context, verb, situation, after);
    warn_of_carry(after);
    ask(context, situation, after);
    const bool written = !context.options.dry_run;
    if (written) {
        must(context, fmt::format("{}, type {}", verb, context.options.pool().type),
             write(context.target().client()));
    } else {
        context.target().rehearse();
    }
    Result result;
    result.text = fmt::format("before  {}\nafter   {}{}\n", words_of(situation.before),
                              words_of(after), written ? "" : "  (not written)");
    result.data["before"] =
        situation.before ? block_value(situation.before->base, situation.before->num) : Value();
    result.data["after"] = block_value(after.base, after.num);
    result.data["written"] = written;
    result.acknowledges = true;
    result.data["layout"] = situation.layout_known ? "known" : "unknown";
    return result;
}

}  // namespace

Result set_addr(Context& context) {
    const Situation situation = situation_for(context, "set addr");
    const Block before = whole_block(context, "set addr", situation);
    const Block after{context.options.address, before.num};
    return change_block(context, "set addr", situation, after, [&](const Client& client) {
        return client.set_addr(context.options.pool(), after.base);
    });
}

Result set_num(Context& context) {
    const Situation situation = situation_for(context, "set num");
    const Block before = whole_block(context, "set num", situation);
    const Block after{before.base, *context.options.num};
    return change_block(context, "set num", situation, after, [&](const Client& client) {
        return client.set_num(context.options.pool(), after.num);
    });
}

Result set_block(Context& context) {
    const Situation situation = situation_for(context, "set block");
    const Block after{context.options.address, *context.options.num};
    const auto set = situation.before ? &Client::replace_block : &Client::set_block;
    return change_block(context, "set block", situation, after, [&](const Client& client) {
        return (client.*set)(context.options.pool(), after.base, after.num);
    });
}

}  // namespace macctl
