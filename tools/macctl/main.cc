// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl: the operator's tool. Over a board file it loads the module in this
// process, issues the control device's commands and unloads it again.
//
// Data goes to standard output, everything else to standard error. Exit status: 0
// done; 1 the command line or the board file cannot be used; 2 the module refused.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "base/vocabulary.h"
#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "platform/host/log_service.h"
#include "platform/log.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/client.h"

namespace macctl {

namespace {

constexpr int kExitDone = 0;
constexpr int kExitUsage = 1;
constexpr int kExitRefused = 2;

struct Options {
    std::string board;
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

void print_log(const host::LogLine& line) {
    const char* const kind = line.level == PLATFORM_LOG_ERROR ? "warning" : "note";
    fmt::print(stderr, "{}: {}\n", kind, printable_log(line.text));
}

int finish(const Options& options, const std::string& what, u32 status) {
    if (status == MAC_OK) return kExitDone;
    print_error(
        fmt::format("{}, instance 0x{:x}: {}", what, options.inst, describe_status(status)));
    return kExitRefused;
}

std::string pool_words(const char* verb, const Options& options) {
    return fmt::format("{}, type {}", verb, options.type);
}

int get_addr(const Client& client, const Options& options) {
    MacAddress address{};
    const u32 status = client.get_addr({options.inst, options.type}, &address);
    if (status == MAC_OK) fmt::print("{}\n", format_address(address.data()));
    return finish(options, pool_words("get addr", options), status);
}

int get_num(const Client& client, const Options& options) {
    u32 num = 0;
    const u32 status = client.get_num({options.inst, options.type}, &num);
    if (status == MAC_OK) fmt::print("{}\n", num);
    return finish(options, pool_words("get num", options), status);
}

int get_list(const Client& client, const Options& options) {
    u32 num = options.num;
    u32 status = MAC_OK;
    if (!options.num_given) status = client.get_num({options.inst, options.type}, &num);
    std::vector<MacAddress> addresses;
    if (status == MAC_OK) {
        status = client.get_list({options.inst, options.type}, num, &addresses);
    }
    for (const MacAddress& address : addresses) fmt::print("{}\n", format_address(address.data()));
    return finish(options, pool_words("get list", options), status);
}

int set_addr(const Client& client, const Options& options) {
    return finish(options, pool_words("set addr", options),
                  client.set_addr({options.inst, options.type}, options.address));
}

int set_num(const Client& client, const Options& options) {
    return finish(options, pool_words("set num", options),
                  client.set_num({options.inst, options.type}, options.num));
}

int set_block(const Client& client, const Options& options) {
    return finish(options, pool_words("set block", options),
                  client.set_block({options.inst, options.type}, options.address, options.num));
}

int init(const Client& client, const Options& options) {
    return finish(options, "init", client.init(options.inst));
}

int deinit(const Client& client, const Options& options) {
    return finish(options, "deinit", client.deinit(options.inst));
}

int show_cfg(const Client& client, const Options& options) {
    std::string text;
    const u32 status = client.show_cfg(&text);
    fmt::print("{}", text);
    return finish(options, "show cfg", status);
}

int show_types(const Client& client, const Options& options) {
    std::string text;
    const u32 status = client.show_types(&text);
    fmt::print("{}", text);
    return finish(options, "show types", status);
}

int diag(const Client& /*client*/, const Options& options) {
    for (const host::DiagObject* object : host::diag_objects()) {
        if (object->group == nullptr) continue;
        for (platform_attribute** entry = object->group->attributes; *entry != nullptr; ++entry) {
            if ((*entry)->name != options.attribute) continue;
            std::vector<char> page(4096);
            const long length =
                (*entry)->show(const_cast<host::DiagObject*>(object), *entry, page.data());
            fmt::print("{}", std::string(page.data(), static_cast<size_t>(length)));
            return kExitDone;
        }
    }
    print_error("the module has no attribute \"" + options.attribute + "\"");
    return kExitRefused;
}

int log(const Client& /*client*/, const Options& /*options*/) {
    for (const host::LogLine& line : host::log_lines(mac::kLogModule)) {
        fmt::print("{} {}\n", line.level, printable_log(line.text));
    }
    return kExitDone;
}

int board_compile(const Options& options) {
    replace_file(options.output, compile_board(host::BoardFile::read(options.board)));
    return kExitDone;
}

int board_install(const Options& options) {
    const std::filesystem::path path = std::filesystem::path(options.output) / kBoardFirmware;
    const std::vector<u8> blob = compile_board(host::BoardFile::read(options.board));
    std::filesystem::create_directories(path.parent_path());
    replace_file(path, blob);
    return kExitDone;
}

using Command = int (*)(const Client& client, const Options& options);

// A command on the board file itself, without the module.
using BoardCommand = int (*)(const Options& options);

// Loads the module over the board, runs the command and unloads it.
int run_on_board(const Options& options, Command command) {
    const u32 level =
        options.verbose ? PLATFORM_LOG_DUMP : host::BoardFile::read(options.board).log_level();
    host::log_set_level(std::max(level, PLATFORM_LOG_NOTICE));
    host::log_set_sink([level](const host::LogLine& line) {
        if (line.level <= level) print_log(line);
    });
    const host::Session session(options.board);
    if (session.module().status() != MAC_OK) {
        print_error("the module does not start: " + describe_status(session.module().status()));
        return kExitRefused;
    }
    if (session.module().listing_status() != MAC_OK) {
        print_error(fmt::format("{}: <mac> is loaded in part only: {}", options.board,
                                describe_status(session.module().listing_status())));
    }
    const Client client([](u32 number, void* record) {
        return static_cast<u32>(host::device_ioctl(number, record));
    });
    return command(client, options);
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
        app_.add_option("-b,--board", options_.board, "board file that describes the media")
            ->required();
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
        return run_on_board(options_, command_);
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
    } catch (const std::exception& error) {
        macctl::print_error(error.what());
        return macctl::kExitUsage;
    }
}
