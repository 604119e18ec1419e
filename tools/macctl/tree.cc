// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "platform/host/board_file.h"

namespace macctl {

namespace {

constexpr char kVersion[] = "macctl 1.0";

u32 parse_number(const std::string& option, const std::string& text) {
    const std::optional<u32> value = host::parse_u32(text.c_str());
    if (!value) {
        throw CLI::ValidationError(option,
                                   fmt::format("\"{}\" is no number from 0 to 0xffffffff", text));
    }
    return *value;
}

}  // namespace

// The commands of the first level, in the order of the help.
struct Tree::Top {
    const char* name;
    void (Tree::*add)();
    const char* alias = nullptr;
};

namespace {

bool may_name(const std::string& word, const char* name) {
    return !word.empty() && word[0] != '-' && std::string_view(name).starts_with(word);
}

}  // namespace

const Tree::Top Tree::kTops[] = {
    {"status", &Tree::add_status},
    {"get", &Tree::add_get},
    {"list", &Tree::add_top_list},
    {"mount", &Tree::add_mount, "init"},
    {"unmount", &Tree::add_unmount, "deinit"},
    {"show", &Tree::add_show},
    {"diag", &Tree::add_diag},
    {"log", &Tree::add_log},
    {"set", &Tree::add_set},
    {"check", &Tree::add_check},
    {"repair", &Tree::add_repair},
    {"export", &Tree::add_export},
    {"import", &Tree::add_import},
    {"record", &Tree::add_records},
    {"board", &Tree::add_boards},
    {"completion", &Tree::add_completion},
    {"help", &Tree::add_help},
};

Tree::Tree(Options* options, const std::vector<std::string>* words)
    : options_(*options), given_(words) {
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.set_version_flag("--version", kVersion);
    app_.footer(
        "Words may be shortened: \"macctl st\" is \"macctl status\".\n"
        "Exit status: 0 done, 1 usage, 2 refused, 3 not found, 4 a copy is no good, 5 no copy "
        "is\n"
        "good, 6 repaired, 7 not written.\n"
        "\"macctl help COMMAND\" says more, with an example.");
    add_globals();
    for (const Top& top : kTops) {
        if (is_named(top.name) || (top.alias != nullptr && is_named(top.alias))) {
            (this->*top.add)();
        }
    }
}

bool Tree::is_named(const char* name) const {
    return given_ == nullptr ||
           std::any_of(given_->begin(), given_->end(),
                       [name](const std::string& word) { return may_name(word, name); });
}

CLI::App* Tree::object(const char* name, const char* what, const char* example) {
    CLI::App* const app = app_.add_subcommand(name, what);
    app->require_subcommand(1);
    app->fallthrough();
    app->footer(fmt::format("Example:\n  {}", example));
    return app;
}

CLI::App* Tree::verb(CLI::App* parent, const char* name, const char* what, const char* example,
                     Command run) {
    CLI::App* const app = parent->add_subcommand(name, what);
    app->fallthrough();
    app->footer(fmt::format("Example:\n  {}", example));
    app->parse_complete_callback([this, app, run] {
        command_ = run;
        path_ = path_of(*app);
    });
    return app;
}

CLI::App* Tree::verb(const char* name, const char* what, const char* example, Command run) {
    return verb(&app_, name, what, example, run);
}

CLI::Option* Tree::number(CLI::App* app, const char* names, const char* what,
                          std::optional<u32>* target) {
    return app
        ->add_option_function<std::string>(
            names,
            [names, target](const std::string& text) { *target = parse_number(names, text); }, what)
        ->type_name("NUMBER");
}

void Tree::type(CLI::App* app, bool required) {
    number(app, "-t,--type", "MAC type: 0 to 5 or 64 to 79", &options_.type)->required(required);
}

CLI::Option* Tree::address(CLI::App* app, const char* names) {
    return app
        ->add_option_function<std::string>(
            names,
            [this, names](const std::string& text) {
                std::string error;
                const std::optional<MacAddress> parsed = parse_address(text, &error);
                if (!parsed) throw CLI::ValidationError(names, error);
                options_.address = *parsed;
            },
            "base address, joined by ':', '-' or '.'")
        ->type_name("ADDRESS")
        ->required();
}

CLI::Option* Tree::file(CLI::App* app, const char* what) {
    return app->add_option("file", options_.file, what)->type_name("FILE");
}

void Tree::add_globals() {
    CLI::Option* const board =
        app_.add_option("-b,--board", options_.board, "board file that describes the media")
            ->type_name("FILE");
    app_.add_option("-d,--device", options_.device,
                    fmt::format("control device (default {}, where it exists)", kDevicePath))
        ->type_name("PATH")
        ->excludes(board);
    number(&app_, "-i,--instance", "instance id (default 0xffffffff)", &options_.inst);
    app_.add_flag("-j,--json", options_.json, "results and errors as JSON");
    app_.add_flag("-v,--verbose", options_.verbose, "print every log line of the module");
}

void Tree::add_status() {
    type(verb("status", "all blocks in a table; nothing is written", "macctl -b board.xml status",
              status),
         false);
}

void Tree::add_get() {
    CLI::App* const get = object("get", "read a block", "macctl -b board.xml get addr -t 0");
    if (is_named("addr")) {
        type(verb(get, "addr", "base address of a block", "macctl -b board.xml get addr -t 0",
                  get_addr),
             true);
    }
    if (is_named("num")) {
        type(verb(get, "num", "count of a block", "macctl -b board.xml get num -t 0", get_num),
             true);
    }
    if (is_named("list")) {
        add_list(
            verb(get, "list", "the same as \"list\"", "macctl -b board.xml get list -t 0", list));
    }
}

void Tree::add_top_list() {
    add_list(verb("list", "addresses of a block",
                  "macctl -b board.xml list -t 0 --format link --interfaces lan0,lan1", list));
}

void Tree::add_mount() {
    verb("mount", "mount an instance", "macctl -b board.xml mount -i 3", mount)->alias("init");
}

void Tree::add_unmount() {
    verb("unmount", "unmount an instance", "macctl -b board.xml unmount -i 3", unmount)
        ->alias("deinit");
}

void Tree::add_show() {
    CLI::App* const show = object("show", "the module's listings", "macctl -b board.xml show cfg");
    verb(show, "cfg", "storage configuration per MAC type", "macctl -b board.xml show cfg",
         show_cfg);
    verb(show, "types", "state per MAC type", "macctl -b board.xml show types", show_types);
}

void Tree::add_diag() {
    CLI::App* const attributes = object("diag", "the diagnostic attributes", "macctl diag devlist");
    for (const char* name : {"devlist", "drvlist"}) {
        CLI::App* const app =
            verb(attributes, name, "content of this attribute", "macctl diag devlist", diag);
        app->parse_complete_callback([this, app, name] {
            options_.name = name;
            command_ = diag;
            path_ = path_of(*app);
        });
    }
}

void Tree::add_log() {
    CLI::App* const lines =
        verb("log", "the module's log ring: level and text", "macctl log --follow", log);
    lines->add_flag("-f,--follow", options_.follow, "go on with new lines until Ctrl-C");
}

void Tree::add_list(CLI::App* app) {
    type(app, true);
    number(app, "-n,--num", "only the first so many", &options_.num);
    app->add_option("--format", options_.format, "plain, csv, json, or link: systemd .link files")
        ->check(CLI::IsMember({"plain", "csv", "json", "link"}));
    app->add_option("--interfaces", options_.interfaces,
                    "names of the interfaces, joined by ',', for --format link")
        ->type_name("NAMES");
    app->add_option("--directory", options_.directory,
                    "where the .link files go; without it they are printed")
        ->type_name("FOLDER");
}

void Tree::guarded(CLI::App* app) {
    app->add_flag("--dry-run", options_.dry_run, "say what would change, and write nothing");
    app->add_flag("-y,--yes", options_.yes, "replace good blocks without asking");
}

void Tree::add_set() {
    CLI::App* const set =
        object("set", "change a block", "macctl -b board.xml set block -t 0 00:11:22:33:44:00 16");
    CLI::App* const addr =
        verb(set, "addr", "change the base address, keep the count",
             "macctl -b board.xml set addr -t 0 00:11:22:33:44:00 --yes", set_addr);
    type(addr, true);
    address(addr, "address");
    CLI::App* const num = verb(set, "num", "change the count, keep the base address",
                               "macctl -b board.xml set num -t 0 8 --yes", set_num);
    type(num, true);
    CLI::App* const block =
        verb(set, "block", "program base address and count",
             "macctl -b board.xml set block -t 0 00:11:22:33:44:00 16", set_block);
    type(block, true);
    address(block, "address");
    for (CLI::App* app : {num, block}) {
        number(app, "count", "number of addresses, up to 65534", &options_.num)->required();
    }
    for (CLI::App* app : {addr, num, block}) guarded(app);
}

void Tree::add_check() {
    type(verb("check", "decode both copies of every block; nothing is written",
              "macctl -b board.xml check", check),
         false);
}

void Tree::add_repair() {
    CLI::App* const mend =
        verb("repair", "repair the copies that can be", "macctl -b board.xml repair", repair);
    type(mend, false);
    mend->add_flag("--dry-run", options_.dry_run, "say what would be repaired");
}

void Tree::add_export() {
    CLI::App* const out = verb("export", "all good blocks as JSON",
                               "macctl -b board.xml export blocks.json", export_blocks);
    type(out, false);
    file(out, "file to write; - or none: standard output");
}

void Tree::add_import() {
    CLI::App* const in =
        verb("import", "program the blocks of an export; all are checked before one is written",
             "macctl -b board.xml import blocks.json --dry-run", import_blocks);
    file(in, "file to read; -: standard input")->required();
    guarded(in);
}

void Tree::record_options(CLI::App* app) {
    file(app, "record, or dump of a medium")->required();
    app->add_option_function<std::string>(
           "--offset",
           [this](const std::string& text) { options_.offset = parse_number("--offset", text); },
           "where the record begins")
        ->type_name("NUMBER");
    app->add_option("--crc16", options_.crc16,
                    "CRC-16 variant (default: the board's, else ibm-3740)")
        ->type_name("NAME");
    number(app, "-n,--count", "addresses of the record; Kolbe records do not say", &options_.num);
    app->add_option("--format", options_.format, "qolt, router-crc, router, kolbe-crc or kolbe")
        ->check(CLI::IsMember({"qolt", "router-crc", "router", "kolbe-crc", "kolbe"}));
}

void Tree::add_records() {
    CLI::App* const record =
        object("record", "records in files", "macctl record identify flash.bin");
    record_options(verb(record, "decode", "what a record holds",
                        "macctl record decode flash.bin --offset 0x4c0", record_decode));
    record_options(verb(record, "verify", "whether a record is good",
                        "macctl record verify flash.bin --offset 0x4c0", record_verify));
    CLI::App* const encode =
        verb(record, "encode", "write a record into a file",
             "macctl record encode new.bin --format qolt --base 00:11:22:33:44:00 --count 16",
             record_encode);
    record_options(encode);
    encode->get_option("--format")->required();
    address(encode, "--base");
    file(verb(record, "identify", "find records in a dump: format, CRC-16 variant, block",
              "macctl record identify flash.bin", record_identify),
         "dump of a medium")
        ->required();
}

void Tree::add_boards() {
    CLI::App* const board =
        object("board", "the board file itself", "macctl -b board.xml board check");
    CLI::App* const checked =
        verb(board, "check", "find what goes wrong in the field before it does",
             "macctl -b board.xml board check --strict", board_check);
    checked->add_flag("--strict", options_.strict, "warnings count as errors");
    verb(board, "init", "make the images that are missing, erased",
         "macctl -b board.xml board init", board_init);
    verb(board, "map", "draw what lies where", "macctl -b board.xml board map --svg board.svg",
         board_map)
        ->add_option("--svg", options_.svg, "write a picture; -: standard output")
        ->type_name("FILE");
    CLI::App* const compile =
        verb(board, "compile", "check it and write it as the kernel platform loads it",
             "macctl -b board.xml board compile board.dtb", board_compile);
    compile->add_option("output", options_.file, "file to write")->type_name("FILE")->required();
    CLI::App* const install =
        verb(board, "install", "compile it and put it under the firmware folder",
             "macctl -b board.xml board install", board_install);
    install->add_option("--firmware", options_.directory, "firmware folder (default /lib/firmware)")
        ->type_name("FOLDER");
}

void Tree::add_completion() {
    CLI::App* const script = app_.add_subcommand("completion", "a shell's completion script");
    script->add_option("shell", options_.name, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    script->footer("Example:\n  macctl completion bash > /etc/bash_completion.d/macctl");
}

void Tree::add_help() {
    CLI::App* const help = app_.add_subcommand("help", "this text, or that of a command");
    help->add_option("command", words_, "the command's words")->type_name("WORD");
    help->add_flag("--man", manual_, "the manual page macctl(8)");
    help->footer("Example:\n  macctl help set block");
}

// What the tree answers by itself; empty when a command is to be run.
std::string Tree::own_answer() {
    if (app_.got_subcommand("completion")) return completion_script(app_, options_.name);
    if (manual_) return manual_page(app_);
    const CLI::App* at = &app_;
    for (const std::string& word : expand_words(app_, words_)) {
        try {
            at = at->get_subcommand(word);
        } catch (const CLI::OptionNotFound&) {
            throw CLI::ValidationError("help", fmt::format("there is no command \"{}\"", word));
        }
    }
    // Not help(): that is of the command that was parsed, which is this one.
    const std::string path = path_of(*at);
    return at->get_formatter()->make_help(at, path.empty() ? "macctl" : "macctl " + path,
                                          CLI::AppFormatMode::Normal);
}

}  // namespace macctl
