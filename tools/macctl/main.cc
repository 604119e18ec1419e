// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl: the operator's tool, over a board file or over the control device of a
// running system, with the same commands.
//
// Data goes to standard output, everything else to standard error. Exit status: 0
// done; 1 the command line, the board file or the device cannot be used; 2 the module
// refused.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/target.h"

namespace macctl {

namespace {

constexpr int kExitDone = 0;
constexpr int kExitUsage = 1;
constexpr int kExitRefused = 2;

struct Options {
    std::string board;
    std::string device;
    u32 inst = MAC_DEFAULT_INSTANCE;
    u32 type = 0;
    u32 num = 0;
    bool num_given = false;
    bool verbose = false;
    MacAddress address{};
    std::string attribute;
    std::string output;
};

void print_error(const std::string& text) { fmt::print(stderr, "macctl: {}\n", text); }

int finish(const Options& options, const std::string& what, u32 status) {
    if (status == MAC_OK) return kExitDone;
    print_error(
        fmt::format("{}, instance 0x{:x}: {}", what, options.inst, describe_status(status)));
    return kExitRefused;
}

std::string pool_words(const char* verb, const Options& options) {
    return fmt::format("{}, type {}", verb, options.type);
}

int get_addr(const Target& target, const Options& options) {
    MacAddress address{};
    const u32 status = target.client().get_addr({options.inst, options.type}, &address);
    if (status == MAC_OK) fmt::print("{}\n", format_address(address.data()));
    return finish(options, pool_words("get addr", options), status);
}

int get_num(const Target& target, const Options& options) {
    u32 num = 0;
    const u32 status = target.client().get_num({options.inst, options.type}, &num);
    if (status == MAC_OK) fmt::print("{}\n", num);
    return finish(options, pool_words("get num", options), status);
}

int get_list(const Target& target, const Options& options) {
    u32 num = options.num;
    u32 status = MAC_OK;
    if (!options.num_given) status = target.client().get_num({options.inst, options.type}, &num);
    std::vector<MacAddress> addresses;
    if (status == MAC_OK) {
        status = target.client().get_list({options.inst, options.type}, num, &addresses);
    }
    for (const MacAddress& address : addresses) fmt::print("{}\n", format_address(address.data()));
    return finish(options, pool_words("get list", options), status);
}

int set_addr(const Target& target, const Options& options) {
    return finish(options, pool_words("set addr", options),
                  target.client().set_addr({options.inst, options.type}, options.address));
}

int set_num(const Target& target, const Options& options) {
    return finish(options, pool_words("set num", options),
                  target.client().set_num({options.inst, options.type}, options.num));
}

int set_block(const Target& target, const Options& options) {
    return finish(
        options, pool_words("set block", options),
        target.client().set_block({options.inst, options.type}, options.address, options.num));
}

int init(const Target& target, const Options& options) {
    return finish(options, "init", target.client().init(options.inst));
}

int deinit(const Target& target, const Options& options) {
    return finish(options, "deinit", target.client().deinit(options.inst));
}

int show_cfg(const Target& target, const Options& options) {
    std::string text;
    const u32 status = target.client().show_cfg(&text);
    fmt::print("{}", text);
    return finish(options, "show cfg", status);
}

int show_types(const Target& target, const Options& options) {
    std::string text;
    const u32 status = target.client().show_types(&text);
    fmt::print("{}", text);
    return finish(options, "show types", status);
}

int diag(const Target& target, const Options& options) {
    const std::optional<std::string> content = target.attribute(options.attribute);
    if (!content) {
        print_error("the module has no attribute \"" + options.attribute + "\"");
        return kExitRefused;
    }
    fmt::print("{}", *content);
    return kExitDone;
}

int log(const Target& target, const Options& /*options*/) {
    for (const LogEntry& entry : target.log()) {
        fmt::print("{} {}\n", entry.level, printable_log(entry.text));
    }
    return kExitDone;
}

const std::string& board_of(const Options& options) {
    if (options.board.empty()) throw TargetError("name the board file with --board");
    return options.board;
}

int board_compile(const Options& options) {
    replace_file(options.output, compile_board(host::BoardFile::read(board_of(options))));
    return kExitDone;
}

int board_install(const Options& options) {
    const std::filesystem::path path = std::filesystem::path(options.output) / kBoardFirmware;
    const std::vector<u8> blob = compile_board(host::BoardFile::read(board_of(options)));
    std::filesystem::create_directories(path.parent_path());
    replace_file(path, blob);
    return kExitDone;
}

using Command = int (*)(const Target& target, const Options& options);

// A command on the board file itself, without the module.
using BoardCommand = int (*)(const Options& options);

// The device is the default on a system that has it.
std::unique_ptr<Target> open_target(const Options& options) {
    if (!options.board.empty()) return open_board(options.board, options.verbose);
    if (!options.device.empty()) return open_device(options.device);
    if (std::filesystem::exists(kDevicePath)) return open_device(kDevicePath);
    throw TargetError(fmt::format("there is no {}: load mac_mng, or name a board file with --board",
                                  kDevicePath));
}

u32 parse_number(const std::string& option, const std::string& text) {
    const std::optional<u32> value = host::parse_u32(text.c_str());
    if (!value) {
        throw CLI::ValidationError(option,
                                   fmt::format("\"{}\" is no number from 0 to 0xffffffff", text));
    }
    return *value;
}

// The command line: objects and verbs, each verb with the function that runs it.
class CommandLine {
public:
    CommandLine() {
        app_.require_subcommand(1);
        app_.fallthrough();
        CLI::Option* const board =
            app_.add_option("-b,--board", options_.board, "board file that describes the media");
        app_.add_option("-d,--device", options_.device,
                        fmt::format("control device (default {}, where it exists)", kDevicePath))
            ->excludes(board);
        number("-i,--instance", "instance id (default 0xffffffff)", options_.inst);
        app_.add_flag("-v,--verbose", options_.verbose, "print every log line of the module");

        verb(app_, "init", "mount an instance", init);
        verb(app_, "deinit", "unmount an instance", deinit);
        add_get();
        add_set();
        CLI::App* const show = object("show", "the module's listings");
        verb(*show, "cfg", "storage configuration per MAC type", show_cfg);
        verb(*show, "types", "state per MAC type", show_types);
        CLI::App* const diagnostics = object("diag", "the diagnostic attributes");
        for (const char* name : {"devlist", "drvlist"}) {
            verb(*diagnostics, name, "content of this attribute", diag)
                ->parse_complete_callback([this, name] {
                    options_.attribute = name;
                    command_ = diag;
                });
        }
        verb(app_, "log", "the module's log ring: level and text", log);
        add_board();
    }

    int run(int argc, char** argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app_.exit(error) == 0 ? kExitDone : kExitUsage;
        }
        if (board_command_ != nullptr) return board_command_(options_);
        return command_(*open_target(options_), options_);
    }

private:
    CLI::App* object(const char* name, const char* help) {
        CLI::App* const app = app_.add_subcommand(name, help);
        app->require_subcommand(1);
        app->fallthrough();
        return app;
    }

    CLI::App* verb(CLI::App& parent, const char* name, const char* help, Command command) {
        CLI::App* const app = parent.add_subcommand(name, help);
        app->fallthrough();
        app->parse_complete_callback([this, command] { command_ = command; });
        return app;
    }

    void number(const char* option, const char* help, u32& target) {
        app_.add_option_function<std::string>(
            option,
            [option, &target](const std::string& text) { target = parse_number(option, text); },
            help);
    }

    void type_option(CLI::App* app) {
        app->add_option_function<std::string>(
               "-t,--type",
               [this](const std::string& text) { options_.type = parse_number("--type", text); },
               "MAC type: 0 to 5 or 64 to 79")
            ->required();
    }

    void address_argument(CLI::App* app) {
        app->add_option_function<std::string>(
               "address",
               [this](const std::string& text) {
                   std::string error;
                   const std::optional<MacAddress> address = parse_address(text, &error);
                   if (!address) throw CLI::ValidationError("address", error);
                   options_.address = *address;
               },
               "base address")
            ->required();
    }

    CLI::Option* num_option(CLI::App* app, const char* name, const char* help) {
        return app->add_option_function<std::string>(
            name,
            [this, name](const std::string& text) {
                options_.num = parse_number(name, text);
                options_.num_given = true;
            },
            help);
    }

    void add_get() {
        CLI::App* const get = object("get", "read a block");
        type_option(verb(*get, "addr", "base address of a block", get_addr));
        type_option(verb(*get, "num", "count of a block", get_num));
        CLI::App* const list = verb(*get, "list", "addresses of a block, one a line", get_list);
        type_option(list);
        num_option(list, "-n,--num", "only the first so many");
    }

    void add_set() {
        CLI::App* const set = object("set", "change a block");
        CLI::App* const addr =
            verb(*set, "addr", "change the base address, keep the count", set_addr);
        type_option(addr);
        address_argument(addr);
        CLI::App* const num = verb(*set, "num", "change the count, keep the base address", set_num);
        type_option(num);
        num_option(num, "count", "number of addresses, up to 65534")->required();
        CLI::App* const block = verb(*set, "block", "program base address and count", set_block);
        type_option(block);
        address_argument(block);
        num_option(block, "count", "number of addresses, up to 65534")->required();
    }

    void add_board() {
        CLI::App* const board = object("board", "the board file itself");
        CLI::App* const compile = board->add_subcommand(
            "compile", "check it and write it as the kernel platform loads it");
        compile->fallthrough();
        compile->add_option("output", options_.output, "file to write")->required();
        compile->parse_complete_callback([this] { board_command_ = board_compile; });
        CLI::App* const install =
            board->add_subcommand("install", "compile it and put it under the firmware folder");
        install->fallthrough();
        options_.output = "/lib/firmware";
        install->add_option("--firmware", options_.output, "firmware folder")
            ->capture_default_str();
        install->parse_complete_callback([this] { board_command_ = board_install; });
    }

    CLI::App app_{"macctl: blocks of MAC addresses on a board", "macctl"};
    Options options_;
    Command command_ = nullptr;
    BoardCommand board_command_ = nullptr;
};

}  // namespace

}  // namespace macctl

int main(int argc, char** argv) {
    try {
        return macctl::CommandLine().run(argc, argv);
    } catch (const macctl::StartUpError& error) {
        macctl::print_error(error.what());
        return macctl::kExitRefused;
    } catch (const std::exception& error) {
        macctl::print_error(error.what());
        return macctl::kExitUsage;
    }
}
