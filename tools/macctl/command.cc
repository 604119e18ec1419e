// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/command.h"

#include <fmt/format.h>

#include "mac_mng/mac_status.h"
#include "platform/common/service_status.h"
#include "tools/macctl/output.h"

namespace macctl {

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

BoardUse Context::use() const { return {options.verbose, tell_mistakes_, lock_wait()}; }

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

void must(const Context& context, const std::string& what, u32 status) {
    if (status == MAC_OK) return;
    throw Failure(exit_for(status),
                  fmt::format("{}, {}: {}", what, instance_name(context.options.instance()),
                              describe_status(status)),
                  status);
}

void refuse_absent(const Context& context, const std::string& what) {
    const Options& options = context.options;
    if (!options.type && !options.inst) {
        throw Failure(kExitNotFound, fmt::format("{}: the board has no blocks", what));
    }
    const std::string type = options.type ? fmt::format(", type {}", *options.type) : "";
    const std::string inst = options.inst ? ", " + instance_name(*options.inst) : "";
    const u32 status = static_cast<u32>(MAC_NOT_SUPPORTED);
    throw Failure(exit_for(status),
                  fmt::format("{}{}{}: {}", what, type, inst, describe_status(status)), status);
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
