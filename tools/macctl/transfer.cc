// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// All blocks of a board as one JSON file, out and in again.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"
#include "platform/host/files.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/json.h"
#include "tools/macctl/output.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

constexpr char kFormatName[] = "mac_mng-blocks";
constexpr u32 kFormatVersion = 1;

struct Item {
    u32 inst;
    u32 type;
    MacAddress base;
    u32 num;
};

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
    throw Failure(kExitNotWritten, fmt::format("{}: {}; nothing was written", file, reason));
}

// Nothing where the member is not there.
const Value& member_of(const Value& value, const char* name) {
    static const Value kNothing;
    const Value* const member = value.find(name);
    return member == nullptr ? kNothing : *member;
}

std::string text_of(const Value& value, const char* name) {
    const std::string* const text = member_of(value, name).text();
    return text == nullptr ? "" : *text;
}

std::optional<u32> number_of(const Value& value) {
    const auto* const number = std::get_if<std::uint64_t>(&value.content());
    if (number == nullptr || *number > 0xffffffffu) return std::nullopt;
    return static_cast<u32>(*number);
}

std::string read_text(const std::string& file) {
    try {
        if (file == "-") return host::read_stream(STDIN_FILENO, "standard input", host::kTextMax);
        return host::read_file(file, host::Source::kStream, host::kTextMax);
    } catch (const host::ReadError& error) {
        throw Failure(kExitNotWritten, fmt::format("{}; nothing was written", error.what()));
    }
}

Value read_json(const std::string& file) {
    const std::string text = read_text(file);
    if (const char* const problem = host::encoding_problem(text)) refuse(file, problem);
    std::istringstream stream(text);
    const std::optional<Value> value = parse_json(stream);
    if (!value) refuse(file, "is no JSON");
    if (text_of(*value, "format") != kFormatName) {
        refuse(file, fmt::format("has no \"format\": \"{}\"", kFormatName));
    }
    const Value& version = member_of(*value, "version");
    if (number_of(version) != kFormatVersion) {
        refuse(file,
               fmt::format("has version {}, expected {}", json_line(version), kFormatVersion));
    }
    if (!member_of(*value, "blocks").is_array()) refuse(file, "has no array \"blocks\"");
    return *value;
}

u32 read_number(const std::string& file, const std::string& where, const Value& value) {
    if (const auto number = number_of(value)) return *number;
    if (value.text() != nullptr) {
        if (const auto number = host::parse_u32(value.text()->c_str())) return *number;
    }
    refuse(file, fmt::format("{}: {} is no number from 0 to 0xffffffff", where, json_line(value)));
}

Item read_item(const std::string& file, size_t index, const Value& entry) {
    const std::string where = fmt::format("block {}", index);
    if (!entry.is_object()) refuse(file, where + " is no object");
    for (const char* key : {"instance", "type", "base", "count"}) {
        if (entry.find(key) == nullptr) refuse(file, fmt::format("{} lacks \"{}\"", where, key));
    }
    Item item{};
    item.inst = read_number(file, where + " instance", *entry.find("instance"));
    item.type = read_number(file, where + " type", *entry.find("type"));
    item.num = read_number(file, where + " count", *entry.find("count"));
    std::string error = "\"base\" is no text";
    const std::string* const text = entry.find("base")->text();
    const auto base = text == nullptr ? std::nullopt : parse_address(*text, &error);
    if (!base) refuse(file, fmt::format("{}: {}", where, error));
    item.base = *base;
    return item;
}

bool is_extreme(const MacAddress& base) {
    return base == MacAddress{} || base == MacAddress{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
}

// Why a block would not be taken, or not read back; empty when it fits.
std::string misfit(const Item& item, const PoolReport& pool) {
    if (is_extreme(item.base)) return "the address is all zeros or all ones";
    if (item.num > MAC_IOCTL_LIST_MAX)
        return fmt::format("the count is above {}", MAC_IOCTL_LIST_MAX);
    for (const auto& copy : pool.copies) {
        if (!copy || copy->copy.format() == nullptr) continue;
        const Format& format = *copy->copy.format();
        if (!format.counted && item.num != copy->copy.num) {
            return fmt::format(
                "count {}: a {} record carries no count, the board is configured for {}", item.num,
                format.name, copy->copy.num);
        }
        if (record_size(format, item.num) > copy->copy.size()) {
            return fmt::format("count {}: the record at {} has room for {} addresses", item.num,
                               copy->copy.place(), copy->copy.num);
        }
    }
    return "";
}

// A block of the file, and what the board holds in its place.
struct Planned {
    Item item;
    PoolReport now;

    bool changes() const {
        const Record* const winner = now.winner();
        return winner == nullptr || now.status != MAC_OK || winner->base != item.base ||
               winner->num != item.num;
    }
    bool replaces() const { return changes() && now.winner() != nullptr && now.status == MAC_OK; }
};

std::vector<Planned> plan(Context& context, const Value& blocks) {
    const std::string& file = context.options.file;
    const auto reports = context.target().inspect({});
    std::set<std::pair<u32, u32>> seen;
    std::vector<Planned> planned;
    for (const Value& entry : blocks.elements()) {
        const Item item = read_item(file, planned.size(), entry);
        const std::string where = pool_name(item.inst, item.type);
        const auto pool = std::find_if(reports.begin(), reports.end(), [&item](const auto& report) {
            return report.inst == item.inst && report.type == item.type;
        });
        if (pool == reports.end()) refuse(file, where + " is not configured on this board");
        if (!seen.insert({item.inst, item.type}).second) refuse(file, where + " is in it twice");
        const std::string problem = misfit(item, *pool);
        if (!problem.empty()) refuse(file, fmt::format("{}: {}", where, problem));
        planned.push_back({item, *pool});
    }
    return planned;
}

std::string planned_text(const Planned& planned, const char* what) {
    const Record* const winner = planned.now.status == MAC_OK ? planned.now.winner() : nullptr;
    return fmt::format("{}: {} -> {}{}\n", pool_name(planned.item.inst, planned.item.type),
                       winner ? block_words(winner->base, winner->num) : "no good block",
                       block_words(planned.item.base, planned.item.num), what);
}

void ask(const Context& context, const std::vector<Planned>& changes) {
    const auto replaced = std::count_if(changes.begin(), changes.end(),
                                        [](const Planned& one) { return one.replaces(); });
    if (replaced == 0 || context.options.yes) return;
    const std::string what =
        fmt::format("{} would be replaced", counted(static_cast<size_t>(replaced), "good block"));
    bool asked = false;
    if (confirm(what + ". Go on?", &asked)) return;
    throw Failure(kExitNotWritten,
                  asked ? "nothing was written" : what + "; that needs --yes. Nothing was written");
}

// Writes one after the other; the first that fails ends it and is told apart from
// those that were written.
void write(Context& context, const std::vector<Planned>& changes, Result* result) {
    Progress progress("importing", changes.size());
    size_t done = 0;
    for (const Planned& change : changes) {
        const Item& item = change.item;
        const Client& client = context.target().client();
        const u32 status = with_mounted(client, item.inst, [&] {
            const auto set = change.replaces() ? &Client::replace_block : &Client::set_block;
            return (client.*set)({item.inst, item.type}, item.base, item.num);
        });
        if (status != MAC_OK) {
            throw Failure(kExitNotWritten,
                          fmt::format("{}: {}; {} of {} blocks were written before it",
                                      pool_name(item.inst, item.type), describe_status(status),
                                      done, changes.size()),
                          status);
        }
        result->text += planned_text(change, "");
        progress.step(++done);
    }
}

void leave_out(const PoolReport& pool, Result* result) {
    const bool blank = pool.health == Health::kBlank;
    put_err(fmt::format("macctl: warning: {} {} and is left out\n", pool_name(pool.inst, pool.type),
                        blank ? "is blank" : "has no good block"));
    if (!blank) result->exit = kExitLost;
    if (blank && result->exit == kExitDone) result->exit = kExitBlank;
}

}  // namespace

Result export_blocks(Context& context) {
    const std::vector<PoolReport> reports = context.target().inspect(context.options.filter());
    if (reports.empty()) refuse_absent(context, "export");
    Value blocks = Value::array();
    Result result;
    for (const PoolReport& pool : reports) {
        const Record* const winner = pool.winner();
        if (winner == nullptr || pool.status != MAC_OK) {
            leave_out(pool, &result);
            continue;
        }
        Value block = {{"instance", fmt::format("0x{:x}", pool.inst)}, {"type", pool.type}};
        block.append(block_value(winner->base, winner->num));
        blocks.push_back(block);
    }
    const std::string& file = context.options.file;
    const bool to_file = !file.empty() && file != "-";
    if (blocks.empty()) {
        throw Failure(static_cast<Exit>(result.exit),
                      "there is no good block to export" +
                          (to_file ? fmt::format("; {} was not written", file) : ""));
    }
    result.data = {{"format", kFormatName}, {"version", kFormatVersion}, {"blocks", blocks}};
    const std::string text = json_pages(result.data) + "\n";
    if (to_file) {
        host::replace_file(file, text);
    } else {
        result.text = text;
    }
    return result;
}

Result import_blocks(Context& context) {
    const Value file = read_json(context.options.file);
    const std::vector<Planned> planned = plan(context, member_of(file, "blocks"));
    std::vector<Planned> changes;
    std::copy_if(planned.begin(), planned.end(), std::back_inserter(changes),
                 [](const Planned& one) { return one.changes(); });
    Result result;
    if (context.options.dry_run) {
        for (const Planned& change : changes)
            result.text += planned_text(change, "  (not written)");
    } else {
        ask(context, changes);
        write(context, changes, &result);
    }
    result.text +=
        fmt::format("{} in the file, {} {}\n", counted(planned.size(), "block"), changes.size(),
                    context.options.dry_run ? "would change" : "written");
    result.data["blocks"] = planned.size();
    result.data["changed"] = changes.size();
    result.data["written"] = !context.options.dry_run;
    return result;
}

}  // namespace macctl
