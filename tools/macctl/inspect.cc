// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/inspect.h"

#include <fmt/format.h>

#include <algorithm>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "platform/common/service_status.h"
#include "platform/env.h"
#include "platform/host/images.h"
#include "platform/host/log_service.h"
#include "platform/memory.h"
#include "storage/driver/mac_driver_table.h"

namespace macctl {

namespace {

// The system's own reading leaves lines in the log; looking does not.
class Looking {
public:
    explicit Looking(host::Board* board)
        : board_(host::attached_board()), level_(host::log_set_level(0)) {
        host::attach(board);
    }
    ~Looking() {
        host::attach(board_);
        host::log_set_level(level_);
    }
    Looking(const Looking&) = delete;
    Looking& operator=(const Looking&) = delete;

private:
    host::Board* board_;
    u32 level_;
};

Record unreadable(u32 status, std::string detail) {
    Record record;
    record.status = status;
    record.detail = std::move(detail);
    return record;
}

std::string image_of(const host::BoardFile& file, const Copy& copy) {
    if (copy.medium() == MediumKind::kEnv) return file.env() ? file.env()->image : "";
    const auto image = [&copy](const auto& media) {
        const auto* const spec = host::find_medium(media, copy.inst, copy.chip);
        return spec == nullptr ? "" : spec->image;
    };
    if (copy.medium() == MediumKind::kFlash) return image(file.flashes());
    return copy.medium() == MediumKind::kEeprom ? image(file.eeproms()) : "";
}

// The first use makes all images: none is made where none is there.
bool is_unused(const host::BoardFile& file) {
    const auto images = host::image_specs(file);
    return std::all_of(images.begin(), images.end(), [&file](const host::ImageSpec& spec) {
        const std::filesystem::path path = file.resolve(spec.image);
        const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
        return !std::filesystem::exists(path) && std::filesystem::exists(folder);
    });
}

// A copy whose medium gives nothing: the service's word for it, or its image is missing.
Record not_read(const host::BoardFile& file, const Copy& copy, u32 status) {
    const std::string image = image_of(file, copy);
    if (image.empty() || std::filesystem::exists(file.resolve(image))) {
        return unreadable(status, describe_status(status));
    }
    Record record = unreadable(status, fmt::format("the image {} is not there", image));
    record.blank = is_unused(file);
    if (record.blank) record.state = CopyState::kNotMade;
    return record;
}

// Of the two variables of a copy the one with the address is not set.
Record not_set(const Copy& copy, u32 status) {
    Record record = unreadable(status, "the variable is not set");
    record.state = CopyState::kErased;
    char count[16];
    record.blank =
        drv_env_get((copy.name + "_num").c_str(), count, sizeof(count)) == SERVICE_ENV_NO_VARIABLE;
    return record;
}

Record read_copy(const host::BoardFile& file, const Copy& copy) {
    for (const mac::DriverRow& row : mac::kDriverTable) {
        if (copy.driver != row.name) continue;
        if (copy.size() > PLATFORM_HEAP_MAX) {
            return unreadable(MAC_RECORD_SHORT,
                              fmt::format("a record of {} bytes is larger than the system can hold",
                                          copy.size()));
        }
        std::vector<u8> bytes(std::max<size_t>(copy.size(), 16));
        const u32 size = static_cast<u32>(copy.size());
        const u32 status =
            row.ops.read(copy.inst, copy.name.c_str(), copy.chip, copy.offset, bytes.data(), size);
        if (status == SERVICE_ENV_NO_VARIABLE) return not_set(copy, status);
        if (status != MAC_OK) return not_read(file, copy, status);
        return decode_record(*copy.format(), ConstBytes(bytes).first(size), copy.num);
    }
    return unreadable(MAC_NOT_SUPPORTED, fmt::format("there is no driver {}", copy.driver));
}

bool is_extreme(const MacAddress& base, u8 byte) {
    return std::all_of(base.begin(), base.end(), [byte](u8 found) { return found == byte; });
}

// Why the system would not hand the block out; empty when it would.
std::string value_problem(const Record& record) {
    if (is_extreme(record.base, 0x00)) return "the address is all zeros";
    if (is_extreme(record.base, 0xff)) return "the address is all ones";
    if (record.num > MAC_IOCTL_LIST_MAX) {
        return fmt::format("the count {} is above {}", record.num, MAC_IOCTL_LIST_MAX);
    }
    return "";
}

bool same_block(const Record& left, const Record& right) {
    return left.base == right.base && left.num == right.num;
}

bool usable(const std::optional<CopyReport>& copy) {
    return copy && copy->record.status == MAC_OK && copy->record.state == CopyState::kGood &&
           value_problem(copy->record).empty();
}

// Both copies are configured: the same table by which the system decides.
void judge_pair(PoolReport* report) {
    Record& main = report->copies[0]->record;
    Record& spare = report->copies[1]->record;
    if (main.status == MAC_OK && spare.status == MAC_OK) {
        const bool same = same_block(main, spare);
        report->copies[1]->different = !same && spare.state == CopyState::kGood;
        if (main.check != spare.check) {
            report->next = Next::kRewriteSpare;
            if (same) {
                report->note =
                    "the copies hold the same block in formats whose check values differ: every "
                    "access writes the spare again";
            }
        } else if (!same) {
            report->note =
                "the check values of this format do not tell the copies apart: the main "
                "copy is used and the spare stays as it is";
        }
    } else if (main.status == MAC_OK) {
        report->next = Next::kRewriteSpare;
    } else if (spare.status == MAC_OK) {
        report->next = Next::kRewriteMain;
    } else {
        report->next = Next::kRefuse;
        const bool mismatch =
            main.status == MAC_CHECK_MISMATCH && spare.status == MAC_CHECK_MISMATCH;
        report->status = static_cast<u32>(mismatch ? MAC_CHECK_MISMATCH : MAC_FAIL);
    }
}

void judge_main_alone(PoolReport* report) {
    const u32 status = report->copies[0]->record.status;
    if (status == MAC_OK) return;
    report->next = Next::kRefuse;
    report->status = static_cast<u32>(status == MAC_CHECK_MISMATCH ? MAC_CHECK_MISMATCH : MAC_FAIL);
}

bool is_blank(const std::optional<CopyReport>& copy) { return copy && copy->record.blank; }

Health health_of(const PoolReport& report) {
    const auto& [main, spare] = report.copies;
    if (!usable(main) && !usable(spare)) {
        return is_blank(main) && (!spare || is_blank(spare)) ? Health::kBlank : Health::kLost;
    }
    const bool all = usable(main) && (!spare || usable(spare));
    const bool differ = spare && spare->different;
    return all && !differ && report.status == MAC_OK ? Health::kGood : Health::kDegraded;
}

}  // namespace

const char* health_name(Health health) {
    switch (health) {
        case Health::kGood:
            return "good";
        case Health::kDegraded:
            return "degraded";
        case Health::kBlank:
            return "blank";
        case Health::kLost:
            break;
    }
    return "lost";
}

std::string CopyReport::state() const {
    return different ? "good but different" : state_name(record.state);
}

const Record* PoolReport::winner() const {
    const Record* const record = chosen();
    return record == nullptr || record->blank ? nullptr : record;
}

const Record* PoolReport::chosen() const {
    if (next == Next::kRefuse && status != MAC_INVALID_VALUE) return nullptr;
    const unsigned area = next == Next::kRewriteMain ? 1 : 0;
    return copies[area] ? &copies[area]->record : nullptr;
}

std::string PoolReport::next_words() const {
    if (status == MAC_INVALID_VALUE && health != Health::kBlank) {
        return fmt::format("is refused with {}: {}", status_name(status), note);
    }
    if (status == MAC_OK && next == Next::kNothing) return "nothing to repair";
    switch (next) {
        case Next::kRewriteSpare:
            return "rewrites the spare from the main copy";
        case Next::kRewriteMain:
            return "rewrites the main copy from the spare";
        default:
            return fmt::format(
                "is refused with {}; the copies stay as they are until the block is set",
                status_name(status));
    }
}

void judge(PoolReport* report) {
    if (report->copies[0] && report->copies[1]) {
        judge_pair(report);
    } else if (report->copies[0]) {
        judge_main_alone(report);
    } else {
        report->next = Next::kRefuse;
        report->status = static_cast<u32>(MAC_FAULT);
        report->note = "there is no main copy in the configuration";
    }
    const Record* const chosen = report->chosen();
    if (chosen != nullptr) {
        const std::string problem = value_problem(*chosen);
        if (!problem.empty()) {
            report->status = MAC_INVALID_VALUE;
            report->note = problem;
        }
    }
    report->health = health_of(*report);
    // Of erased bytes nothing is to be said.
    if (report->health == Health::kBlank) report->note.clear();
}

std::vector<PoolReport> inspect(host::Board* board, const PoolFilter& filter) {
    const Looking looking(board);
    std::vector<PoolReport> reports;
    for (const PoolLayout& pool : read_layout(board->file()).pools) {
        if (!filter.matches(pool.inst, pool.type)) continue;
        PoolReport report;
        report.inst = pool.inst;
        report.type = pool.type;
        for (unsigned area = 0; area < 2; ++area) {
            if (!pool.copies[area]) continue;
            report.copies[area] =
                CopyReport{*pool.copies[area], read_copy(board->file(), *pool.copies[area])};
        }
        judge(&report);
        reports.push_back(std::move(report));
    }
    return reports;
}

}  // namespace macctl
