// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/write_checks.h"

#include <fmt/format.h>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "tools/macctl/board_check.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

constexpr u8 kGroupBit = 0x01;  // of the first byte: the address is not one station's

bool is_all(const MacAddress& address, u8 byte) {
    return address == MacAddress{byte, byte, byte, byte, byte, byte};
}

Range numbers_of(const Block& block) {
    u64 base = 0;
    for (const u8 byte : block.base) base = base << 8 | byte;
    return {base, base + block.num};
}

std::optional<Misfit> misfit_of_copy(const Block& block, const Copy& copy) {
    if (copy.format() == nullptr) return std::nullopt;
    const Format& format = *copy.format();
    std::string text;
    if (!format.counted && block.num != copy.num) {
        text = fmt::format("count {}: a {} record carries no count, the board is configured for {}",
                           block.num, format.name, copy.num);
    } else if (record_size(format, block.num) > copy.size()) {
        text = fmt::format("count {}: the record at {} has room for {} addresses", block.num,
                           copy.place(), copy.num);
    } else {
        return std::nullopt;
    }
    return Misfit{text, MAC_INVALID_ARGUMENT};
}

bool has_group_bit(const Block& block) {
    const MacAddress last = nth_address(block.base, block.num == 0 ? 0 : block.num - 1);
    return ((block.base[0] | last[0]) & kGroupBit) != 0;
}

}  // namespace

std::optional<Misfit> misfit(const Block& block, const PoolReport* report) {
    if (is_all(block.base, 0x00) || is_all(block.base, 0xff)) {
        return Misfit{"the address is all zeros or all ones", MAC_INVALID_VALUE};
    }
    if (block.num > MAC_IOCTL_LIST_MAX) {
        return Misfit{fmt::format("the count {} is above {}", block.num, MAC_IOCTL_LIST_MAX),
                      MAC_INVALID_VALUE};
    }
    if (report == nullptr) return std::nullopt;
    for (const auto& copy : report->copies) {
        if (!copy) continue;
        if (auto found = misfit_of_copy(block, copy->copy)) return found;
    }
    return std::nullopt;
}

std::optional<Block> good_block(const PoolReport& report) {
    const Record* const winner = report.winner();
    if (winner == nullptr || report.status != MAC_OK) return std::nullopt;
    return Block{winner->base, winner->num};
}

std::vector<std::string> doubts(const OwnedBlock& written, const std::vector<OwnedBlock>& others) {
    const Block& block = written.block;
    std::vector<std::string> reasons;
    if (has_group_bit(block)) {
        reasons.push_back(fmt::format("{} is a multicast address, which no interface may have",
                                      format_address(block.base.data())));
    }
    if (block.num == 0) reasons.emplace_back("a count of 0 leaves it without any address");
    for (const OwnedBlock& other : others) {
        const Pool& owner = other.owner;
        if (owner.inst == written.owner.inst && owner.type == written.owner.type) continue;
        if (!numbers_of(block).overlaps(numbers_of(other.block))) continue;
        reasons.push_back(fmt::format("{} has addresses of it too, in its block {}",
                                      pool_name(owner.inst, owner.type),
                                      block_words(other.block.base, other.block.num)));
    }
    return reasons;
}

void ask_first(const Context& context, const std::string& reasons, const std::string& question,
               const std::string& needs) {
    if (context.options.yes) return;
    bool asked = false;
    if (!context.options.dry_run && confirm(fmt::format("{}. {}", reasons, question), &asked)) {
        return;
    }
    throw Failure(kExitNotWritten,
                  asked ? "nothing was written" : fmt::format("{}; {}", reasons, needs));
}

}  // namespace macctl
