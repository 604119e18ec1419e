// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Changing a block: what is there is looked at first, and a good block is replaced
// only by somebody who says so.
#include <fmt/format.h>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "platform/host/board_error.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

struct Block {
    MacAddress base;
    u32 num;

    bool operator==(const Block&) const = default;
};

struct Change {
    std::optional<Block> before;
    std::optional<Block> after;  // none when half of it is not known
};

// The block as its media have it; none when no copy is good.
std::optional<Block> block_before(Context& context) {
    const Pool pool = context.options.pool();
    const auto reports = context.target().inspect({pool.inst, pool.type});
    if (reports.empty()) {
        throw Failure(kExitNotFound,
                      fmt::format("set, type {}, {}: {}", pool.type, instance_name(pool.inst),
                                  describe_status(static_cast<u32>(MAC_NOT_SUPPORTED))),
                      static_cast<u32>(MAC_NOT_SUPPORTED));
    }
    const Record* const winner = reports[0].winner();
    if (winner == nullptr || reports[0].status != MAC_OK) return std::nullopt;
    return Block{winner->base, winner->num};
}

// A platform of the device's own need not tell where the records lie: then the
// system is asked.
std::optional<Block> block_of_device(Context& context) {
    Block block{};
    const Client& client = context.target().client();
    if (client.get_addr(context.options.pool(), &block.base) != 0) return std::nullopt;
    if (client.get_num(context.options.pool(), &block.num) != 0) return std::nullopt;
    return block;
}

std::optional<Block> look(Context& context) {
    try {
        return block_before(context);
    } catch (const TargetError&) {
        if (!context.options.board.empty() || context.options.dry_run) throw;
        return block_of_device(context);
    }
}

// What the system would refuse, for a rehearsal that does not ask it.
void check_values(const Block& block) {
    const auto all = [&block](u8 byte) {
        return block.base == MacAddress{byte, byte, byte, byte, byte, byte};
    };
    if (!all(0x00) && !all(0xff) && block.num <= MAC_IOCTL_LIST_MAX) return;
    throw Failure(kExitRefused,
                  fmt::format("{}: {}", block_words(block.base, block.num),
                              describe_status(static_cast<u32>(MAC_INVALID_VALUE))),
                  static_cast<u32>(MAC_INVALID_VALUE));
}

void ask(const Context& context, const Change& change) {
    if (!change.before || change.before == change.after || context.options.yes) return;
    const Pool pool = context.options.pool();
    const std::string holds =
        fmt::format("{} holds the good block {}", pool_name(pool.inst, pool.type),
                    block_words(change.before->base, change.before->num));
    bool asked = false;
    if (confirm(holds + ". Replace it?", &asked)) return;
    throw Failure(kExitNotWritten,
                  asked ? "nothing was written" : holds + "; replacing it needs --yes");
}

std::string words_of(const std::optional<Block>& block, const char* otherwise) {
    return block ? block_words(block->base, block->num) : otherwise;
}

Value value_of(const std::optional<Block>& block) {
    return block ? block_value(block->base, block->num) : Value();
}

template <typename Write>
Result change_block(Context& context, const char* verb, const Change& change, Write write) {
    if (change.after && leaves_oui(change.after->base, change.after->num)) {
        const MacAddress last = nth_address(change.after->base, change.after->num - 1);
        fmt::print(stderr,
                   "macctl: warning: the block ends at {}, outside the addresses of its "
                   "first three bytes\n",
                   format_address(last.data()));
    }
    if (context.options.dry_run) {
        if (change.after) check_values(*change.after);
    } else {
        ask(context, change);
        must(context, fmt::format("{}, type {}", verb, context.options.pool().type),
             write(context.target().client()));
    }
    Result result;
    result.text =
        fmt::format("before  {}\nafter   {}{}\n", words_of(change.before, "no good block"),
                    words_of(change.after, "not known in whole"),
                    context.options.dry_run ? "  (not written)" : "");
    result.data["before"] = value_of(change.before);
    result.data["after"] = value_of(change.after);
    result.data["written"] = !context.options.dry_run;
    return result;
}

}  // namespace

Result set_addr(Context& context) {
    Change change{look(context), {}};
    if (change.before) change.after = Block{context.options.address, change.before->num};
    return change_block(context, "set addr", change, [&context](const Client& client) {
        return client.set_addr(context.options.pool(), context.options.address);
    });
}

Result set_num(Context& context) {
    Change change{look(context), {}};
    if (change.before) change.after = Block{change.before->base, *context.options.num};
    return change_block(context, "set num", change, [&context](const Client& client) {
        return client.set_num(context.options.pool(), *context.options.num);
    });
}

Result set_block(Context& context) {
    const Change change{look(context), Block{context.options.address, *context.options.num}};
    const auto set = change.before ? &Client::replace_block : &Client::set_block;
    return change_block(context, "set block", change, [&context, set](const Client& client) {
        return (client.*set)(context.options.pool(), context.options.address, *context.options.num);
    });
}

}  // namespace macctl
