// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What is used every day: looking at blocks, instances, listings and the log.
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "mac_mng/mac_status.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/json.h"
#include "tools/macctl/output.h"
#include "tools/macctl/terminal.h"

namespace macctl {

namespace {

constexpr int kFollowMilliseconds = 200;

volatile std::sig_atomic_t stopped = 0;

std::string words_with_type(const char* verb, const Context& context) {
    return fmt::format("{}, type {}", verb, context.options.type.value_or(0));
}

Colour colour_of(const PoolReport& pool, const CopyReport& copy) {
    if (pool.health == Health::kBlank) return Colour::kBlank;
    if (copy.different) return Colour::kWarning;
    return copy.record.state == CopyState::kGood ? Colour::kGood : Colour::kBad;
}

std::string drivers_of(const PoolReport& pool) {
    std::string text;
    for (const auto& copy : pool.copies) {
        if (copy && text != copy->copy.driver) {
            text += (text.empty() ? "" : " + ") + copy->copy.driver;
        }
    }
    return text;
}

Value pool_status(const PoolReport& pool) {
    Value row = {{"instance", fmt::format("0x{:x}", pool.inst)},
                 {"type", pool.type},
                 {"health", health_name(pool.health)}};
    const Record* const winner = pool.winner();
    row["base"] = winner ? Value(format_address(winner->base.data())) : Value();
    row["last"] = winner && winner->num > 0
                      ? Value(format_address(nth_address(winner->base, winner->num - 1).data()))
                      : Value();
    row["count"] = winner ? Value(winner->num) : Value();
    for (unsigned area = 0; area < 2; ++area) {
        const auto& copy = pool.copies[area];
        row[area_name(area)] =
            copy ? Value{{"driver", copy->copy.driver}, {"state", copy->state()}} : Value();
    }
    return row;
}

std::string text_or_dash(const Value& value) {
    if (value.is_null()) return "-";
    return value.text() != nullptr ? *value.text() : json_line(value);
}

void add_row(const PoolReport& pool, Value& row, Table* table) {
    const bool blank = pool.health == Health::kBlank;
    std::vector<std::string> cells = {text_or_dash(row["instance"]),
                                      std::to_string(pool.type),
                                      blank ? health_name(pool.health) : text_or_dash(row["base"]),
                                      text_or_dash(row["last"]),
                                      text_or_dash(row["count"]),
                                      drivers_of(pool)};
    std::vector<Colour> colours(cells.size(), Colour::kNone);
    if (blank) colours[2] = Colour::kBlank;
    for (const auto& copy : pool.copies) {
        cells.push_back(copy ? copy->state() : "-");
        colours.push_back(copy ? colour_of(pool, *copy) : Colour::kNone);
    }
    table->add(std::move(cells), std::move(colours));
}

// The listings are lines "LABEL : VALUE", an empty line behind each entry.
Value listing_entries(const std::string& text) {
    Value entries = Value::array();
    Value entry = Value::object();
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t colon = line.find(": ");
        if (line.empty() && !entry.empty()) {
            entries.push_back(std::exchange(entry, Value::object()));
        } else if (colon != std::string::npos) {
            entry[line.substr(0, line.find_last_not_of(' ', colon - 1) + 1)] =
                line.substr(colon + 2);
        }
    }
    return entries;
}

void choose_columns(const std::string& names, Table* table) {
    for (const std::string& name : split(names)) {
        if (!table->choose(name)) {
            throw Failure(kExitUsage, fmt::format("there is no column \"{}\", only {}", name,
                                                  fmt::join(table->head(), ", ")));
        }
    }
}

Result listing(Context& context, const char* what, u32 status, const std::string& text) {
    must(context, what, status);
    Result result;
    result.text = text;
    result.data["entries"] = listing_entries(text);
    return result;
}

Result attribute(Context& context, const std::string& name) {
    const std::optional<std::string> content = context.target().attribute(name);
    if (!content) {
        throw Failure(kExitNotFound, "the module has no attribute \"" + name + "\"");
    }
    return {*content, {{"content", *content}}};
}

// How many blocks the board configures for an instance; not 0 where that is not known.
size_t blocks_of(Context& context, u32 inst) {
    try {
        const Layout layout = read_layout(context.target().board_file());
        return static_cast<size_t>(
            std::count_if(layout.pools.begin(), layout.pools.end(),
                          [inst](const PoolLayout& pool) { return pool.inst == inst; }));
    } catch (const TargetError&) {
        return 1;
    }
}

Value line_value(const LogEntry& entry) {
    return {{"level", entry.level}, {"text", printable_log(entry.text)}};
}

std::string line_text(const LogEntry& entry) {
    return fmt::format("{} {}\n", entry.level, printable_log(entry.text));
}

// How many of the old lines the new ones begin with: a ring drops its oldest.
size_t already_seen(const std::vector<LogEntry>& old, const std::vector<LogEntry>& now) {
    const auto same = [](const LogEntry& left, const LogEntry& right) {
        return left.level == right.level && left.text == right.text;
    };
    for (size_t drop = 0; drop < old.size(); ++drop) {
        const size_t kept = old.size() - drop;
        if (kept <= now.size() && std::equal(old.end() - static_cast<std::ptrdiff_t>(kept),
                                             old.end(), now.begin(), same)) {
            return kept;
        }
    }
    return 0;
}

// One line of a followed log, in the same form as every other answer.
std::string json_answer_line(const LogEntry& entry) {
    Value lines = Value::array();
    lines.push_back(line_value(entry));
    return json_line(answer("log", kExitDone, "result", {{"lines", lines}})) + "\n";
}

// Prints lines as they come, until Ctrl-C.
void follow(Context& context) {
    std::signal(SIGINT, [](int) { stopped = 1; });
    std::signal(SIGTERM, [](int) { stopped = 1; });
    std::vector<LogEntry> seen;
    while (stopped == 0) {
        const std::vector<LogEntry> now = context.target().log();
        for (size_t i = already_seen(seen, now); i < now.size(); ++i) {
            put_out(context.options.json || context.options.json_line ? json_answer_line(now[i])
                                                                      : line_text(now[i]));
        }
        flush_out();
        seen = now;
        wait_with_reader(kFollowMilliseconds);
    }
}

}  // namespace

Result status(Context& context) {
    Result result;
    result.data["blocks"] = Value::array();
    Table table({"INSTANCE", "TYPE", "BASE", "LAST", "COUNT", "DRIVER", "MAIN", "SPARE"});
    if (!context.options.columns.empty()) choose_columns(context.options.columns, &table);
    const PoolFilter filter = context.options.filter();
    const std::vector<PoolReport> reports = context.target().inspect(filter);
    if (reports.empty() && (filter.inst || filter.type)) refuse_absent(context, "status");
    for (const PoolReport& pool : reports) {
        Value row = pool_status(pool);
        add_row(pool, row, &table);
        result.data["blocks"].push_back(std::move(row));
    }
    result.text = table.text(!context.options.no_header);
    return result;
}

Result get_addr(Context& context) {
    MacAddress address{};
    must(context, words_with_type("get addr", context),
         context.target().client().get_addr(context.options.pool(), &address));
    const std::string text = format_address(address.data());
    return {text + "\n", {{"base", text}}};
}

Result get_num(Context& context) {
    u32 num = 0;
    must(context, words_with_type("get num", context),
         context.target().client().get_num(context.options.pool(), &num));
    return {fmt::format("{}\n", num), {{"count", num}}};
}

Result get_block(Context& context) {
    const Client& client = context.target().client();
    const std::string what = words_with_type("get block", context);
    MacAddress base{};
    u32 num = 0;
    must(context, what, client.get_addr(context.options.pool(), &base));
    must(context, what, client.get_num(context.options.pool(), &num));
    return {block_words(base, num) + "\n", block_value(base, num)};
}

Result mount(Context& context) {
    const u32 inst = context.options.instance();
    const u32 status = context.target().client().init(inst);
    if (status == MAC_FAULT) {
        throw Failure(kExitRefused,
                      fmt::format("mount, {}: {} (0x{:08x}): it is mounted already",
                                  instance_name(inst), status_name(status), status),
                      status);
    }
    must(context, "mount", status);
    Result result;
    const size_t blocks = blocks_of(context, inst);
    result.text = fmt::format("{}: mounted{}\n", instance_name(inst),
                              blocks == 0 ? ", and the board configures no block for it" : "");
    result.acknowledges = true;
    result.data = {{"instance", fmt::format("0x{:x}", inst)}, {"mounted", true}};
    return result;
}

Result unmount(Context& context) {
    const u32 inst = context.options.instance();
    const bool written = !context.options.dry_run;
    const bool known = written || !context.options.board.empty();
    const bool was_mounted = !known || context.target().is_mounted(inst);
    if (written) {
        must(context, "unmount", context.target().client().deinit(inst));
    } else if (known) {
        context.target().rehearse();
    }
    Result result;
    result.text = fmt::format(
        "{}: {}{}\n", instance_name(inst),
        was_mounted ? "unmounted; its blocks are not handed out any more" : "it was not mounted",
        written ? "" : "  (not written)");
    result.acknowledges = true;
    result.data = {{"instance", fmt::format("0x{:x}", inst)},
                   {"mounted", was_mounted && !written},
                   {"was_mounted", was_mounted}};
    return result;
}

Result show_cfg(Context& context) {
    std::string text;
    const u32 status = context.target().client().show_cfg(&text);
    return listing(context, "show cfg", status, text);
}

Result show_types(Context& context) {
    std::string text;
    const u32 status = context.target().client().show_types(&text);
    return listing(context, "show types", status, text);
}

Result diag_devlist(Context& context) { return attribute(context, "devlist"); }

Result diag_drvlist(Context& context) { return attribute(context, "drvlist"); }

Result log(Context& context) {
    Result result;
    if (context.options.follow) {
        follow(context);
        result.data = Value();
        return result;
    }
    result.data["lines"] = Value::array();
    for (const LogEntry& entry : context.target().log()) {
        result.text += line_text(entry);
        result.data["lines"].push_back(line_value(entry));
    }
    return result;
}

}  // namespace macctl
