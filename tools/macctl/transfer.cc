// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// All blocks of a board as one JSON file, out and in again.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "mac_mng/mac_status.h"
#include "platform/host/files.h"
#include "tools/macctl/collision.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/json.h"
#include "tools/macctl/output.h"
#include "tools/macctl/terminal.h"
#include "tools/macctl/write_checks.h"

namespace macctl {

namespace {

constexpr char kFormatName[] = "mac_mng-blocks";
constexpr u32 kFormatVersion = 1;

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

OwnedBlock read_item(const std::string& file, size_t index, const Value& entry) {
    const std::string where = fmt::format("block {}", index);
    if (!entry.is_object()) refuse(file, where + " is no object");
    for (const char* key : {"instance", "type", "base", "count"}) {
        if (entry.find(key) == nullptr) refuse(file, fmt::format("{} lacks \"{}\"", where, key));
    }
    OwnedBlock item{};
    item.owner.inst = read_number(file, where + " instance", *entry.find("instance"));
    item.owner.type = read_number(file, where + " type", *entry.find("type"));
    item.block.num = read_number(file, where + " count", *entry.find("count"));
    std::string error = "\"base\" is no text";
    const std::string* const text = entry.find("base")->text();
    const auto base = text == nullptr ? std::nullopt : parse_address(*text, &error);
    if (!base) refuse(file, fmt::format("{}: {}", where, error));
    item.block.base = *base;
    return item;
}

// A block of the file, and what the board holds in its place.
struct Planned {
    OwnedBlock item;
    PoolReport now;

    std::string name() const { return pool_name(item.owner.inst, item.owner.type); }
    bool changes() const { return good_block(now) != item.block; }
    bool replaces() const { return changes() && good_block(now); }
};

// A block that nothing speaks against but a good one in its place.
Planned plan_one(const Context& context, const OwnedBlock& item,
                 const std::vector<PoolReport>& reports) {
    const std::string& file = context.options.file;
    const std::string where = pool_name(item.owner.inst, item.owner.type);
    const auto pool = std::find_if(reports.begin(), reports.end(), [&item](const auto& report) {
        return report.inst == item.owner.inst && report.type == item.owner.type;
    });
    if (pool == reports.end()) refuse(file, where + " is not configured on this board");
    if (const auto found = misfit(item.block, &*pool)) {
        refuse(file, fmt::format("{}: {}", where, found->text));
    }
    return {item, *pool};
}

std::vector<Planned> plan(Context& context, const Value& blocks,
                          const std::vector<PoolReport>& reports) {
    const std::string& file = context.options.file;
    const host::BoardFile board = context.target().board_file();
    std::set<std::pair<u32, u32>> seen;
    std::vector<Planned> planned;
    for (const Value& entry : blocks.elements()) {
        const OwnedBlock item = read_item(file, planned.size(), entry);
        planned.push_back(plan_one(context, item, reports));
        const std::string where = planned.back().name();
        if (!seen.insert({item.owner.inst, item.owner.type}).second) {
            refuse(file, where + " is in it twice");
        }
        const auto hits = collisions(board, item.owner);
        if (planned.back().changes() && !hits.empty()) {
            refuse(file, fmt::format("{}: {}", where, fmt::join(hits, "; ")));
        }
    }
    return planned;
}

// All good blocks as they will be after the import.
std::vector<OwnedBlock> blocks_after(const std::vector<PoolReport>& reports,
                                     const std::vector<Planned>& planned) {
    std::map<std::pair<u32, u32>, Block> after;
    for (const PoolReport& report : reports) {
        if (const auto block = good_block(report)) after[{report.inst, report.type}] = *block;
    }
    for (const Planned& one : planned) {
        after[{one.item.owner.inst, one.item.owner.type}] = one.item.block;
    }
    std::vector<OwnedBlock> blocks;
    blocks.reserve(after.size());
    for (const auto& [owner, block] : after) {
        blocks.push_back({{owner.first, owner.second}, block});
    }
    return blocks;
}

std::string planned_text(const Planned& planned, const char* what) {
    const auto now = good_block(planned.now);
    return fmt::format("{}: {} -> {}{}\n", planned.name(),
                       now ? block_words(now->base, now->num) : "no good block",
                       block_words(planned.item.block.base, planned.item.block.num), what);
}

// Lists every block that somebody should look at before it is written, and asks once.
void ask(const Context& context, const std::vector<Planned>& changes,
         const std::vector<OwnedBlock>& after) {
    if (context.options.yes) return;
    size_t replaced = 0;
    size_t doubtful = 0;
    for (const Planned& change : changes) {
        const std::vector<std::string> reasons = doubts(change.item, after);
        replaced += change.replaces() ? 1 : 0;
        doubtful += reasons.empty() ? 0 : 1;
        for (const std::string& reason : reasons) {
            put_err(fmt::format("macctl: warning: {}, {}: {}\n", change.name(),
                                block_words(change.item.block.base, change.item.block.num),
                                reason));
        }
    }
    std::vector<std::string> reasons;
    if (replaced != 0) {
        reasons.push_back(fmt::format("{} would be replaced", counted(replaced, "good block")));
    }
    if (doubtful != 0) {
        reasons.push_back(
            fmt::format("{} would be written that warnings are about", counted(doubtful, "block")));
    }
    if (reasons.empty()) return;
    ask_first(context, fmt::format("{}", fmt::join(reasons, ", ")), "Go on?",
              "that needs --yes. Nothing was written");
}

// Writes one after the other; the first that fails ends it and is told apart from
// those that were written.
void write(Context& context, const std::vector<Planned>& changes, Result* result) {
    Progress progress("importing", changes.size());
    size_t done = 0;
    for (const Planned& change : changes) {
        const Pool& owner = change.item.owner;
        const Block& block = change.item.block;
        const Client& client = context.target().client();
        const u32 status = with_mounted(client, owner.inst, [&] {
            const auto set = change.replaces() ? &Client::replace_block : &Client::set_block;
            return (client.*set)(owner, block.base, block.num);
        });
        if (status != MAC_OK) {
            throw Failure(kExitNotWritten,
                          fmt::format("{}: {}; {} of {} blocks were written before it",
                                      change.name(), describe_status(status), done, changes.size()),
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
        result.text = fmt::format("{}: {}\n", file, counted(blocks.elements().size(), "block"));
        result.acknowledges = true;
    } else {
        result.text = text;
    }
    return result;
}

Result import_blocks(Context& context) {
    const Value file = read_json(context.options.file);
    const std::vector<PoolReport> reports = context.target().inspect({});
    const std::vector<Planned> planned = plan(context, member_of(file, "blocks"), reports);
    std::vector<Planned> changes;
    std::copy_if(planned.begin(), planned.end(), std::back_inserter(changes),
                 [](const Planned& one) { return one.changes(); });
    ask(context, changes, blocks_after(reports, planned));
    const bool written = !context.options.dry_run;
    const char* const mark = written ? "" : "  (not written)";
    Result result;
    if (written) {
        write(context, changes, &result);
    } else {
        if (!changes.empty()) context.target().rehearse();
        for (const Planned& change : changes) result.text += planned_text(change, mark);
    }
    result.text += fmt::format("{} in the file, {} changed{}\n", counted(planned.size(), "block"),
                               changes.size(), mark);
    result.acknowledges = true;
    result.data["blocks"] = planned.size();
    result.data["changed"] = changes.size();
    result.data["written"] = written;
    return result;
}

}  // namespace macctl
