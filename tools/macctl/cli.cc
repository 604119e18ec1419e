// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "platform/host/board_file.h"
#include "tools/macctl/completion.h"
#include "tools/macctl/json.h"
#include "tools/macctl/manual.h"
#include "tools/macctl/output.h"
#include "tools/macctl/words.h"

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

// Tells the parser of one option, by the kind of what it sets.
struct AddOption {
    CLI::App* app;
    Options* options;
    const OptionRow& row;

    CLI::Option* operator()(bool Options::*member) const {
        return app->add_flag(row.names, options->*member, row.what);
    }
    CLI::Option* operator()(std::string Options::*member) const {
        CLI::Option* const option = app->add_option(row.names, options->*member, row.what);
        if (row.choices.empty()) return option;
        return option->check(
            CLI::IsMember(std::vector<std::string>(row.choices.begin(), row.choices.end())));
    }
    CLI::Option* operator()(std::vector<std::string> Options::*member) const {
        return app->add_option(row.names, options->*member, row.what);
    }
    CLI::Option* operator()(MacAddress Options::*member) const {
        return parsed([option = options, names = row.names, member](const std::string& text) {
            std::string error;
            const std::optional<MacAddress> address = parse_address(text, &error);
            if (!address) throw CLI::ValidationError(names, error);
            option->*member = *address;
        });
    }
    template <typename Number>
    CLI::Option* operator()(Number Options::*member) const {
        return parsed([option = options, names = row.names, member](const std::string& text) {
            option->*member = parse_number(names, text);
        });
    }

private:
    CLI::Option* parsed(const std::function<void(const std::string&)>& parse) const {
        return app->add_option_function<std::string>(row.names, parse, row.what);
    }
};

void add_options(CLI::App* app, Options* options, std::span<const OptionRow> rows) {
    for (const OptionRow& row : rows) {
        CLI::Option* const option = std::visit(AddOption{app, options, row}, row.setting);
        if (row.value != nullptr) option->type_name(row.value);
        option->required(row.required);
    }
}

bool lies_below(std::string_view path, std::string_view above) {
    return above.empty() || (path.starts_with(above) && path.substr(above.size()).starts_with(' '));
}

enum class Below { kLeftOut, kBuilt };

// The library's parser of one command and of those above it; for its help those below it
// are built as well. Most of a short run would go into building what nobody asked for.
class Parser {
public:
    Parser(Options* options, std::string_view path, Below below)
        : options_(*options), path_(path), below_(below) {
        app_.require_subcommand(1);
        app_.fallthrough();
        app_.set_version_flag("--version", kVersion);
        app_.footer(
            "Words may be shortened: \"macctl st\" is \"macctl status\".\n"
            "Exit status: 0 done, 1 usage, 2 refused, 3 not found, 4 a copy is no good, 5 no copy "
            "is\n"
            "good, 6 repaired, 7 not written, 8 blank.\n"
            "\"macctl help COMMAND\" says more, with an example.");
        add_options(&app_, options, global_options());
        app_.get_option("--device")->excludes(app_.get_option("--board"));
        add_rows(&app_, "");
    }

    CLI::App& app() { return app_; }

    // The help of the command whose path was given.
    std::string help() {
        const CLI::App* at = &app_;
        std::istringstream words{std::string(path_)};
        for (std::string word; words >> word;) at = at->get_subcommand(word);
        // Not help(): that is of the command that was parsed.
        return at->get_formatter()->make_help(
            at, path_.empty() ? "macctl" : fmt::format("macctl {}", path_),
            CLI::AppFormatMode::Normal);
    }

private:
    void add_rows(CLI::App* above, std::string_view path) {
        for (const CommandRow* row : rows_below(path)) {
            const bool on_the_way = row->path == path_ || lies_below(path_, row->path);
            if (!on_the_way && (below_ == Below::kLeftOut || !lies_below(row->path, path_))) {
                continue;
            }
            CLI::App* const app = above->add_subcommand(std::string(row->name()), row->what);
            app->fallthrough();
            app->footer(fmt::format("Example:\n  {}", row->example));
            if (row->alias != nullptr) app->alias(row->alias);
            if (is_object(*row)) app->require_subcommand(1);
            add_options(app, &options_, row->options);
            add_rows(app, row->path);
        }
    }

    Options& options_;
    std::string_view path_;
    Below below_;
    CLI::App app_{"macctl: blocks of MAC addresses, on a board file or on a device", "macctl"};
};

// Before the command line has been understood: whether errors are to be JSON.
bool wants_json(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(),
                       [](const auto& word) { return word == "--json" || word == "-j"; });
}

int print_error(bool json, const std::string& path, const std::string& text, int exit,
                std::optional<u32> status = std::nullopt) {
    put_err(fmt::format("macctl: {}\n", text));
    if (!json) return exit;
    Value error = {{"message", text}};
    error["status"] = status ? Value(fmt::format("0x{:08x}", *status)) : Value();
    error["name"] = status ? Value(status_name(*status)) : Value();
    put_out(json_pages({{"command", path}, {"exit", exit}, {"error", error}}) + "\n");
    return exit;
}

int print_usage_error(bool json, const std::string& path, const std::string& text) {
    return print_error(json, path, text + "\nRun with --help for more information.", kExitUsage);
}

int print_result(const Options& options, const std::string& path, const Result& result) {
    if (!options.json) {
        put_out(result.text);
    } else if (!result.data.is_null()) {
        put_out(json_pages({{"command", path}, {"exit", result.exit}, {"result", result.data}}) +
                "\n");
    }
    return result.exit;
}

int run_command(const Options& options, const CommandRow& row) {
    Context context(options);
    try {
        const Result result = row.run(context);
        context.finish();
        return print_result(options, row.path, result);
    } catch (const OutputError&) {
        throw;
    } catch (const Failure& failure) {
        return print_error(options.json, row.path, failure.what() + context.reasons(),
                           failure.exit(), failure.status());
    } catch (const StartUpError& error) {
        return print_error(options.json, row.path, error.what(), kExitRefused);
    } catch (const host::WriteError& error) {
        return print_error(options.json, row.path, error.what(), kExitNotWritten);
    } catch (const std::exception& error) {
        return print_error(options.json, row.path, error.what(), kExitUsage);
    }
}

std::string path_of(const CommandRow* row) { return row == nullptr ? "" : row->path; }

std::string help_of(const CommandRow* row) {
    Options unused;
    return Parser(&unused, path_of(row), Below::kBuilt).help();
}

// What the command line answers by itself.
std::string own_answer(const Options& options, const CommandRow& row) {
    if (row.path == std::string_view("completion")) return completion_script(options.name);
    return options.manual ? manual_page() : help_of(resolve(options.words).row);
}

// What is wrong where a word is missing: the words that may follow.
std::string missing_word(const CommandRow* row) {
    return fmt::format("{} wants a word: {}", place_of(row), names_below(row));
}

int parse_and_run(bool json, Resolved resolved) {
    const CommandRow* const row = resolved.row;
    const std::string path = path_of(row);
    Options options;
    Parser parser(&options, path, Below::kLeftOut);
    std::reverse(resolved.words.begin(), resolved.words.end());
    try {
        parser.app().parse(resolved.words);
    } catch (const CLI::CallForHelp&) {
        put_out(help_of(row));
        return kExitDone;
    } catch (const CLI::CallForVersion&) {
        put_out(fmt::format("{}\n", kVersion));
        return kExitDone;
    } catch (const CLI::ParseError& error) {
        if (row == nullptr && !json) {
            put_err(help_of(row));
            return kExitUsage;
        }
        const bool word_missing = row == nullptr || is_object(*row);
        return print_usage_error(json, path, word_missing ? missing_word(row) : error.what());
    }
    if (row->run != nullptr) return run_command(options, *row);
    put_out(own_answer(options, *row));
    return kExitDone;
}

}  // namespace

namespace {

int run(const std::vector<std::string>& given) {
    const bool json = wants_json(given);
    try {
        return parse_and_run(json, resolve(given));
    } catch (const UsageError& error) {
        return print_usage_error(json, "", error.what());
    }
}

}  // namespace

int run_command_line(int argc, char** argv) {
    prepare_streams();
    try {
        const int exit = run({argv + 1, argv + argc});
        finish_out();
        return exit;
    } catch (const OutputError& error) {
        put_err(fmt::format("macctl: {}\n", error.what()));
        return kExitNotWritten;
    }
}

}  // namespace macctl
