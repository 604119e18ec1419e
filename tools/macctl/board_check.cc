// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/board_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"

namespace macctl {

namespace {

constexpr u32 kKolbeCrcMax = 22;

std::string pool_words(const Copy& copy) {
    return fmt::format("instance 0x{:x} type {} {}", copy.inst, copy.type, area_name(copy.area));
}

class Checker {
public:
    explicit Checker(const host::BoardFile& file) : file_(file), layout_(read_layout(file)) {}

    std::vector<Finding> run() {
        for (const LayoutProblem& problem : layout_.problems) {
            add(problem.error ? Severity::kError : Severity::kWarning, problem.code.c_str(),
                problem.line, problem.text, problem.advice);
        }
        for (const Copy& entry : layout_.entries) check_entry(entry);
        check_pairs_of_entries();
        for (const PoolLayout& pool : layout_.pools) check_pool(pool);
        if (file_.env()) check_env(*file_.env());
        check_media();
        std::stable_sort(
            findings_.begin(), findings_.end(),
            [](const Finding& left, const Finding& right) { return left.line < right.line; });
        return std::move(findings_);
    }

private:
    void add(Severity severity, const char* code, unsigned line, std::string text,
             std::string advice) {
        findings_.push_back({severity, code, line, std::move(text), std::move(advice)});
    }

    void check_entry(const Copy& entry) {
        const std::string who = pool_words(entry);
        if (!is_known_type(entry.type)) {
            add(Severity::kWarning, "unknown-type", entry.line,
                fmt::format("{}: this type is never mounted", who),
                "types are 0 to 5 and 64 to 79");
        }
        if (entry.format() == nullptr) {
            add(Severity::kError, "unknown-driver", entry.line,
                fmt::format("{}: there is no driver \"{}\"", who, entry.driver),
                "the seven drivers are in docs/record-formats.md");
            return;
        }
        check_format(entry, who);
        check_place(entry, who);
    }

    void check_format(const Copy& entry, const std::string& who) {
        const Format& format = *entry.format();
        if (entry.num == 0 || entry.num > MAC_IOCTL_LIST_MAX) {
            add(Severity::kError, "count", entry.line,
                fmt::format("{}: mac_num {} is no usable count", who, entry.num),
                fmt::format("use 1 to {}", MAC_IOCTL_LIST_MAX));
        }
        if (!format.counted && format.checked && entry.num > kKolbeCrcMax) {
            add(Severity::kError, "kolbe-count", entry.line,
                fmt::format("{}: {} addresses in a Kolbe record with CRC, whose table has room for "
                            "{}: it is written and fails its own check",
                            who, entry.num, kKolbeCrcMax),
                fmt::format("configure at most {} addresses, or another driver", kKolbeCrcMax));
        }
        if (!format.checked) {
            add(Severity::kWarning, "no-check", entry.line,
                fmt::format("{}: {} records carry no check: a cut or torn write goes unnoticed",
                            who, format.name),
                "use the variant with CRC where the format is not given");
        }
    }

    void check_place(const Copy& entry, const std::string& who) {
        switch (entry.medium()) {
            case MediumKind::kEnv:
                return check_variable(entry, who);
            case MediumKind::kFlash:
                return check_chip(entry, who, file_.flashes());
            default:
                return check_chip(entry, who, file_.eeproms());
        }
    }

    void check_variable(const Copy& entry, const std::string& who) {
        if (!file_.env()) {
            add(Severity::kError, "no-medium", entry.line,
                fmt::format("{}: the board has no <env>", who), "describe it under <platform>");
        }
        if (entry.name.empty() || entry.name.find('=') != std::string::npos) {
            add(Severity::kError, "variable-name", entry.line,
                fmt::format("{}: storage_name=\"{}\" names no variable", who, entry.name),
                "give the name of the variable that holds the address");
        }
    }

    template <typename Spec>
    void check_chip(const Copy& entry, const std::string& who, const std::vector<Spec>& media) {
        const Spec* const medium = host::find_medium(media, entry.inst, entry.chip);
        if (medium == nullptr) {
            const bool others = std::any_of(media.begin(), media.end(), [&entry](const Spec& spec) {
                return spec.chip == entry.chip;
            });
            add(Severity::kError, "no-medium", entry.line,
                fmt::format("{}: the board has no <{}> of chip number {}{}", who,
                            medium_name(entry.medium()), entry.chip,
                            others ? " that serves this instance" : ""),
                others ? "mend inst under <platform>, or chip_id"
                       : "describe it under <platform>, or mend chip_id");
        } else if (range_of(entry).end > medium->size) {
            add(Severity::kError, "past-end", entry.line,
                fmt::format("{}: the record takes bytes 0x{:x} to 0x{:x}, and {} has 0x{:x}", who,
                            range_of(entry).start, range_of(entry).end - 1,
                            chip_name(entry.medium(), entry.chip, entry.chip_inst), medium->size),
                "move the record, or lower mac_num");
        }
    }

    void check_pairs_of_entries() {
        std::unordered_map<u64, const Copy*> first[2];  // by area, of each block
        for (const Copy& entry : layout_.entries) {
            const u64 key = block_key(entry.inst, entry.type);
            const auto [found, is_new] = first[entry.area].try_emplace(key, &entry);
            if (is_new) {
                add_to_medium(entry);
            } else {
                add_duplicate(*found->second, entry);
            }
        }
        for (auto& [medium, records] : records_) {
            report_overlaps(
                &records, [](const Placed& placed) { return placed.range; },
                [this](const Placed& left, const Placed& right) {
                    add_overlap(*left.entry, *right.entry);
                });
        }
    }

    void add_duplicate(const Copy& first, const Copy& second) {
        add(Severity::kError, "duplicate", second.line,
            fmt::format("{} is configured in line {} already; the system uses that one",
                        pool_words(second), first.line),
            "remove one of the two");
    }

    void add_to_medium(const Copy& entry) {
        const MediumKind kind = entry.medium();
        if (kind == MediumKind::kEnv) return check_variable_use(entry);
        if (kind == MediumKind::kNone) return;
        records_[{kind, entry.chip, entry.chip_inst}].push_back({range_of(entry), &entry});
    }

    void check_variable_use(const Copy& entry) {
        const auto [of_address, address_is_new] = variables_.try_emplace(entry.name, &entry);
        const auto [of_count, count_is_new] = variables_.try_emplace(entry.name + "_num", &entry);
        if (address_is_new && count_is_new) return;
        const Copy& other = *(address_is_new ? of_count : of_address)->second;
        add(Severity::kError, "overlap", entry.line,
            fmt::format("{} and {} (line {}) use the same variable", pool_words(entry),
                        pool_words(other), other.line),
            "give each copy a variable of its own; NAME_num is taken by NAME");
    }

    // The later one of the layout is told to move.
    void add_overlap(const Copy& one, const Copy& other) {
        const Copy& first = std::min(&one, &other)[0];
        const Copy& second = std::max(&one, &other)[0];
        add(Severity::kError, "overlap", second.line,
            fmt::format("{}, {}, takes bytes 0x{:x} to 0x{:x}, which overlap {} (line {}) at "
                        "0x{:x} to 0x{:x}",
                        pool_words(second), second.place(), range_of(second).start,
                        range_of(second).end - 1, pool_words(first), first.line,
                        range_of(first).start, range_of(first).end - 1),
            "move one of them");
    }

    void check_pool(const PoolLayout& pool) {
        if (!pool.copies[0]) {
            add(Severity::kError, "no-main", pool.copies[1]->line,
                fmt::format("{} has no main copy: nothing is handed out",
                            pool_words(*pool.copies[1])),
                "add an entry under <mac_storage_main>");
            return;
        }
        const Copy& main = *pool.copies[0];
        if (!pool.copies[1]) {
            add(Severity::kWarning, "no-spare", main.line,
                fmt::format("{} has no spare: what is damaged stays lost", pool_words(main)),
                "add an entry under <mac_storage_spare>");
            return;
        }
        check_two_copies(main, *pool.copies[1]);
    }

    void check_two_copies(const Copy& main, const Copy& spare) {
        if (main.format() == nullptr || spare.format() == nullptr) return;
        const auto erase = erase_of(main);
        const std::string who = fmt::format("instance 0x{:x} type {}", main.inst, main.type);
        if (same_medium(main, spare)) {
            if (erase && main.offset / *erase == spare.offset / *erase) {
                add(Severity::kError, "same-block", spare.line,
                    fmt::format(
                        "{}: main (line {}) and spare lie in one erase block: a cut while it "
                        "is rewritten takes both",
                        who, main.line),
                    fmt::format("move one of them to another block of 0x{:x} bytes", *erase));
            } else {
                add(Severity::kWarning, "same-chip", spare.line,
                    fmt::format("{}: main (line {}) and spare are on one medium", who, main.line),
                    "a chip that fails takes both; use another one where there is one");
            }
        }
        const bool constant = !main.format()->crc_check && !spare.format()->crc_check &&
                              main.format()->counted == spare.format()->counted;
        if (main.format() != spare.format() && !constant) {
            add(Severity::kWarning, "rewrite", spare.line,
                fmt::format(
                    "{}: the check values of {} and {} records can never agree: every access "
                    "writes the spare again",
                    who, main.format()->name, spare.format()->name),
                "use two drivers of one format");
        }
    }

    // The erase block of the medium of a copy, where it has some.
    std::optional<u32> erase_of(const Copy& copy) const {
        if (copy.medium() != MediumKind::kFlash) return std::nullopt;
        const host::FlashSpec* const flash =
            host::find_medium(file_.flashes(), copy.inst, copy.chip);
        return flash == nullptr ? std::nullopt : std::optional(flash->erase);
    }

    void check_env(const host::EnvSpec& env) {
        if (!env.redundant) {
            add(Severity::kWarning, "env-single", env.line,
                "the environment has one copy: a cut while it is saved takes all variables",
                "use redundant=\"1\" where the boot loader has it");
        }
        std::optional<u32> erase = env.erase;
        for (const host::FlashSpec& flash : file_.flashes()) {
            if (flash.mtd.empty() || flash.mtd != env.mtd) continue;
            erase = flash.erase;
            check_env_against_records(env, flash);
        }
        if (!erase) return;
        const bool aligned = env.offset % *erase == 0 && env.redundant_offset % *erase == 0;
        if (env.redundant && env.offset / *erase == env.redundant_offset / *erase) {
            add(Severity::kError, "same-block", env.line,
                "both copies of the environment lie in one erase block",
                fmt::format("set redundant_offset to another block of 0x{:x} bytes", *erase));
        } else if (env.offset % *erase != 0 || (env.redundant && !aligned)) {
            add(Severity::kError, "env-alignment", env.line,
                fmt::format("a copy of the environment does not begin at an erase block of 0x{:x} "
                            "bytes",
                            *erase),
                "boot loaders erase whole blocks: begin at one");
        }
        if (env.size % *erase != 0) {
            add(Severity::kNote, "env-size", env.line,
                fmt::format("a copy of 0x{:x} bytes does not fill its erase block of 0x{:x}",
                            env.size, *erase),
                "keep the rest of the block free: boot loaders may erase it");
        }
    }

    void check_env_against_records(const host::EnvSpec& env, const host::FlashSpec& flash) {
        for (const Copy& entry : layout_.entries) {
            if (!lies_on(entry, MediumKind::kFlash, flash)) continue;
            for (const u32 start : {env.offset, env.redundant_offset}) {
                if (!range_of(entry).overlaps({start, u64{start} + env.size})) continue;
                add(Severity::kError, "overlap", entry.line,
                    fmt::format("{} at {} lies inside the environment (line {})", pool_words(entry),
                                entry.place(), env.line),
                    "move the record");
                break;
            }
        }
    }

    void check_media() {
        for (const host::FlashSpec& flash : file_.flashes()) {
            check_use(MediumKind::kFlash, flash);
            if (flash.mtd.empty()) note_kernel_name(flash.line, "mtd");
        }
        for (const host::EepromSpec& eeprom : file_.eeproms()) {
            check_use(MediumKind::kEeprom, eeprom);
            if (eeprom.nvmem.empty()) note_kernel_name(eeprom.line, "nvmem");
        }
        if (file_.env() && file_.env()->mtd.empty()) note_kernel_name(file_.env()->line, "mtd");
    }

    template <typename Spec>
    void check_use(MediumKind kind, const Spec& spec) {
        if (records_.count({kind, spec.chip, spec.inst}) != 0) return;
        add(Severity::kNote, "unused", spec.line,
            fmt::format("no entry uses {}", chip_name(kind, spec.chip, spec.inst)),
            "remove it, or use it");
    }

    void note_kernel_name(unsigned line, const char* attribute) {
        add(Severity::kNote, "kernel-name", line,
            fmt::format("without {}=\"...\" a kernel does not find this medium", attribute),
            "add it before the board goes to a device");
    }

    struct Placed {
        Range range;
        const Copy* entry;
    };

    const host::BoardFile& file_;
    Layout layout_;
    std::map<std::tuple<MediumKind, u32, std::optional<u32>>, std::vector<Placed>>
        records_;                                             // of each chip
    std::unordered_map<std::string, const Copy*> variables_;  // who uses which
    std::vector<Finding> findings_;
};

// Codes of warnings that speak of a slip as an error does: what is written is not what counts.
constexpr std::string_view kSlips[] = {"bad-number", "unknown-attribute", "unknown-node",
                                       "unknown-type"};

bool is_mistake(const Finding& finding) {
    return finding.severity == Severity::kError ||
           std::find(std::begin(kSlips), std::end(kSlips), finding.code) != std::end(kSlips);
}

struct GoodBlock {
    Range addresses;
    const PoolReport* report;
};

std::string block_name(const PoolReport& report) {
    return fmt::format("instance 0x{:x} type {}", report.inst, report.type);
}

Finding address_overlap(const GoodBlock& left, const GoodBlock& right) {
    // In the order of the reports.
    const auto [first, second] = std::minmax(left.report, right.report);
    return {Severity::kError, "address-overlap", second->copies[0]->copy.line,
            fmt::format("{}: its block and that of {} have addresses in common",
                        block_name(*second), block_name(*first)),
            "two interfaces would get one address: program one of them anew"};
}

// The block as a range of 48-bit numbers.
Range addresses_of(const Record& record) {
    u64 base = 0;
    for (const u8 byte : record.base) base = base << 8 | byte;
    return {base, base + record.num};
}

}  // namespace

const char* severity_name(Severity severity) {
    switch (severity) {
        case Severity::kError:
            return "error";
        case Severity::kWarning:
            return "warning";
        default:
            return "note";
    }
}

bool same_medium(const Copy& left, const Copy& right) {
    if (left.medium() != right.medium() || left.medium() == MediumKind::kNone) return false;
    return left.medium() == MediumKind::kEnv ||
           (left.chip == right.chip && left.chip_inst == right.chip_inst);
}

Range range_of(const Copy& copy) { return {copy.offset, u64{copy.offset} + copy.size()}; }

std::vector<Finding> check_layout(const host::BoardFile& file) { return Checker(file).run(); }

std::vector<Finding> mistakes_of(const host::BoardFile& file) {
    std::vector<Finding> findings = check_layout(file);
    std::erase_if(findings, [](const Finding& finding) { return !is_mistake(finding); });
    return findings;
}

std::vector<Finding> check_blocks(const std::vector<PoolReport>& reports) {
    std::vector<Finding> findings;
    std::vector<GoodBlock> good;
    for (const PoolReport& report : reports) {
        const Record* const winner = report.status == MAC_OK ? report.winner() : nullptr;
        if (winner == nullptr) continue;
        good.push_back({addresses_of(*winner), &report});
        if (!leaves_oui(winner->base, winner->num)) continue;
        findings.push_back(
            {Severity::kWarning, "carry", report.copies[0]->copy.line,
             fmt::format("{}: the block {} count {} carries out of its first three "
                         "bytes",
                         block_name(report), format_address(winner->base.data()), winner->num),
             "readers do not agree on such addresses: choose another base"});
    }
    report_overlaps(
        &good, [](const GoodBlock& block) { return block.addresses; },
        [&findings](const GoodBlock& left, const GoodBlock& right) {
            findings.push_back(address_overlap(left, right));
        });
    return findings;
}

}  // namespace macctl
