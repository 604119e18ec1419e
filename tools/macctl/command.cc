// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/command.h"

#include <fmt/format.h>

#include "mac_mng/mac_status.h"
#include "platform/common/service_status.h"
#include "tools/macctl/output.h"

namespace macctl {

// Of docs/macctl.schema.json.
constexpr u32 kSchemaVersion = 2;

namespace {

LogLines wanted_lines(const Options& options) {
    if (options.quiet) return LogLines::kNone;
    return options.verbose ? LogLines::kAll : LogLines::kUpToTheBoardsLevel;
}

}  // namespace

Target& Context::target() {
    if (target_) return *target_;
    if (!options.board.empty()) {
        target_ = open_board(options.board, use());
    } else if (!options.device.empty()) {
        target_ = open_device(options.device);
    } else if (std::filesystem::exists(kDevicePath)) {
        target_ = open_device(kDevicePath);
    } else {
        throw TargetError(fmt::format(
            "there is no {}: load mac_mng, or name a board file with --board", kDevicePath));
    }
    return *target_;
}

const std::string& Context::board() const {
    if (options.board.empty()) throw TargetError("name the board file with --board");
    return options.board;
}

host::BoardFile Context::board_file() const {
    host::BoardFile file = host::BoardFile::read(board());
    if (tell_mistakes_) tell_mistakes(file);
    return file;
}

BoardUse Context::use() const { return {wanted_lines(options), tell_mistakes_, lock_wait()}; }

host::LockWait Context::lock_wait() const {
    return {options.wait,
            [](const std::string& text) { put_err(fmt::format("macctl: {}\n", text)); }};
}

void Context::finish() {
    if (target_ == nullptr) return;
    for (const std::string& reason : target_->reasons()) {
        put_err(fmt::format("macctl: warning: {}\n", reason));
    }
    target_->finish();
    target_.reset();
}

std::string Context::reasons() const {
    std::string text;
    if (target_ == nullptr) return text;
    for (const std::string& reason : target_->reasons()) text += "; " + reason;
    return text;
}

Exit exit_for(u32 status) {
    switch (status) {
        case MAC_NOT_SUPPORTED:
            return kExitNotFound;
        case MAC_CHECK_MISMATCH:
            return kExitLost;
        case SERVICE_IO_ERROR:
        case SERVICE_VERIFY_FAILED:
        case SERVICE_WORN_OUT:
        case SERVICE_ENV_FULL:
            return kExitNotWritten;
        default:
            return kExitRefused;
    }
}

namespace {

// Why the block that the options name is not handed out; empty where the layout, which would
// say so, is not known.
std::string missing_block(Context& context) {
    const Pool wanted = context.options.pool();
    Layout layout;
    try {
        layout = read_layout(context.target().board_file());
    } catch (const TargetError&) {
        return "";
    }
    bool instance_there = false;
    for (const PoolLayout& pool : layout.pools) {
        if (pool.inst != wanted.inst) continue;
        instance_there = true;
        if (pool.type != wanted.type) continue;
        const bool usable = pool.copies[0] && pool.copies[0]->format() != nullptr;
        return usable ? "the block is on the board, and its instance is not mounted"
                      : "the board names no driver for its main copy";
    }
    if (!instance_there) return fmt::format("{} is not on the board", instance_name(wanted.inst));
    return fmt::format("the board configures no type {} for {}", wanted.type,
                       instance_name(wanted.inst));
}

}  // namespace

std::string describe_refusal(Context& context, u32 status) {
    const std::string reason = status == MAC_NOT_SUPPORTED ? missing_block(context) : "";
    if (reason.empty()) return describe_status(status);
    return fmt::format("{} (0x{:08x}): {}", status_name(status), status, reason);
}

void must(Context& context, const std::string& what, u32 status) {
    if (status == MAC_OK) return;
    throw Failure(exit_for(status),
                  fmt::format("{}, {}: {}", what, instance_name(context.options.instance()),
                              describe_refusal(context, status)),
                  status);
}

Value answer(const std::string& command, int exit, const char* kind, Value content) {
    return {{"schema", kSchemaVersion},
            {"command", command},
            {"exit", exit},
            {kind, std::move(content)}};
}

void refuse_absent(Context& context, const std::string& what) {
    const Options& options = context.options;
    if (!options.type && !options.inst) {
        throw Failure(kExitNotFound, fmt::format("{}: the board has no blocks", what));
    }
    const std::string type = options.type ? fmt::format(", type {}", *options.type) : "";
    const std::string inst = options.inst ? ", " + instance_name(*options.inst) : "";
    const u32 status = static_cast<u32>(MAC_NOT_SUPPORTED);
    throw Failure(exit_for(status),
                  fmt::format("{}{}{}: {} (0x{:08x}): the board configures no such block", what,
                              type, inst, status_name(status), status),
                  status);
}

std::string instance_name(u32 inst) { return fmt::format("instance 0x{:x}", inst); }

std::string pool_name(u32 inst, u32 type) {
    return fmt::format("{} type {}", instance_name(inst), type);
}

std::string block_words(const MacAddress& base, u32 num) {
    return fmt::format("{} count {}", format_address(base.data()), num);
}

Value block_value(const MacAddress& base, u32 num) {
    return {{"base", format_address(base.data())}, {"count", num}};
}

}  // namespace macctl
