// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/cli.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "mac_mng/mac_ioctl.h"
#include "platform/host/board_error.h"
#include "platform/host/board_file.h"
#include "tools/macctl/completion.h"
#include "tools/macctl/json.h"
#include "tools/macctl/manual.h"
#include "tools/macctl/output.h"
#include "tools/macctl/terminal.h"
#include "tools/macctl/version.h"
#include "tools/macctl/words.h"

namespace macctl {

namespace {

// A count above what a block may have is a number all the same: the command refuses it.
u32 parse_number(const OptionRow& row, const std::string& text) {
    const std::optional<u32> value = host::parse_u32(text.c_str());
    if (value) return *value;
    const auto* const member = std::get_if<std::optional<u32> Options::*>(&row.setting);
    const bool is_count = member != nullptr && *member == &Options::num;
    throw CLI::ValidationError(
        row.names, fmt::format("\"{}\" is no number from 0 to {}", text,
                               is_count ? std::to_string(MAC_IOCTL_LIST_MAX) : "0xffffffff"));
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
        if (row.choices.empty()) {
            // An empty name would count as none at all.
            return option->each([](const std::string& text) {
                if (text.empty()) {
                    throw CLI::ValidationError("the name is empty",
                                               CLI::ExitCodes::ValidationError);
                }
            });
        }
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
        return parsed([option = options, &the_row = row, member](const std::string& text) {
            option->*member = parse_number(the_row, text);
        });
    }

private:
    CLI::Option* parsed(const std::function<void(const std::string&)>& parse) const {
        return app->add_option_function<std::string>(row.names, parse, row.what);
    }
};

using Words = std::vector<std::string>;

// Whether the parser has to know an option: it is on the command line, or has to be. Short
// ones may stand together, or before their value.
bool is_needed(const OptionRow& row, const Words& words) {
    if (row.required || row.is_positional()) return true;
    return std::any_of(words.begin(), words.end(), [&row](const std::string& word) {
        if (word.size() > 2 && word[0] == '-' && word[1] != '-') return true;
        return row.has_name(std::string_view(word).substr(0, word.find('=')));
    });
}

// `words` of the command line; null for all options.
void add_options(CLI::App* app, Options* options, std::span<const OptionRow> rows,
                 const Words* words) {
    for (const OptionRow& row : rows) {
        if (words != nullptr && !is_needed(row, *words)) continue;
        CLI::Option* const option = std::visit(AddOption{app, options, row}, row.setting);
        if (row.value != nullptr) option->type_name(row.value);
        option->required(row.required);
    }
}

bool lies_below(std::string_view path, std::string_view above) {
    return above.empty() || (path.starts_with(above) && path.substr(above.size()).starts_with(' '));
}

// The library's parser of one command and of those above it, for the words of a command
// line; without words for its help, with all options, and the commands below it as well.
// Most of a short run would go into building what nobody asked for.
class Parser {
public:
    Parser(Options* options, std::string_view path, const Words* words = nullptr)
        : options_(*options), path_(path), words_(words) {
        app_.require_subcommand(1);
        app_.fallthrough();
        app_.set_version_flag("--version", kVersion);
        app_.footer(
            "Words may be shortened: \"macctl st\" is \"macctl status\".\n"
            "Exit status: 0 done, 1 usage, 2 refused, 3 not found, 4 a copy is no good, 5 no copy "
            "is\n"
            "good, 6 repaired, 7 not written, 8 blank, 9 board or device unusable, 10 file\n"
            "unreadable.\n"
            "\"macctl help COMMAND\" says more, with an example.");
        add_options(&app_, options, global_options(), words_);
        CLI::Option* const device = app_.get_option_no_throw("--device");
        CLI::Option* const board = app_.get_option_no_throw("--board");
        if (device != nullptr && board != nullptr) device->excludes(board);
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
            if (!on_the_way && (words_ != nullptr || !lies_below(row->path, path_))) {
                continue;
            }
            CLI::App* const app = above->add_subcommand(std::string(row->name()), row->what);
            app->fallthrough();
            app->footer(fmt::format("Example:\n  {}", row->example));
            if (row->alias != nullptr) app->alias(row->alias);
            if (is_object(*row)) app->require_subcommand(1);
            add_options(app, &options_, row->options, words_);
            add_rows(app, row->path);
        }
    }

    Options& options_;
    std::string_view path_;
    const Words* words_;
    CLI::App app_{"macctl: blocks of MAC addresses, on a board file or on a device", "macctl"};
};

enum class Form { kText, kJson, kJsonLine };

// Before the command line has been understood: the form of errors.
Form wanted_form(const std::vector<std::string>& words) {
    Form form = Form::kText;
    for (const std::string& word : words) {
        if (word == "--json-line" || word == "-J") form = Form::kJsonLine;
        if ((word == "--json" || word == "-j") && form == Form::kText) form = Form::kJson;
    }
    return form;
}

Form form_of(const Options& options) {
    if (options.json_line) return Form::kJsonLine;
    return options.json ? Form::kJson : Form::kText;
}

void print_answer(Form form, const Value& value) {
    put_out((form == Form::kJsonLine ? json_line(value) : json_pages(value)) + "\n");
}

int print_error(Form form, const std::string& path, const std::string& text, int exit,
                std::optional<u32> status = std::nullopt) {
    put_err(fmt::format("macctl: {}\n", text));
    if (form == Form::kText) return exit;
    Value error = {{"message", text}};
    error["status"] = status ? Value(fmt::format("0x{:08x}", *status)) : Value();
    error["name"] = status ? Value(status_name(*status)) : Value();
    print_answer(form, answer(path, exit, "error", std::move(error)));
    return exit;
}

int print_usage_error(Form form, const std::string& path, const std::string& text) {
    return print_error(form, path, text + "\nRun with --help for more information.", kExitUsage);
}

int print_result(Form form, const std::string& path, const Result& result) {
    if (form == Form::kText) {
        put_out(result.text);
    } else if (!result.data.is_null()) {
        print_answer(form, answer(path, result.exit, "result", result.data));
    }
    return result.exit;
}

int run_command(const Options& options, const CommandRow& row) {
    const Form form = form_of(options);
    Context context(options);
    try {
        Result result = row.run(context);
        context.finish();
        if (options.quiet && result.acknowledges) result.text.clear();
        return print_result(form, row.path, result);
    } catch (const OutputError&) {
        throw;
    } catch (const Failure& failure) {
        return print_error(form, row.path, failure.what() + context.reasons(), failure.exit(),
                           failure.status());
    } catch (const StartUpError& error) {
        return print_error(form, row.path, error.what(), kExitRefused);
    } catch (const TargetError& error) {
        return print_error(form, row.path, error.what(), kExitUnusable);
    } catch (const host::BoardError& error) {
        return print_error(form, row.path, error.what(), kExitUnusable);
    } catch (const host::BoardBusy& error) {
        return print_error(form, row.path, error.what(), kExitUnusable);
    } catch (const host::WriteError& error) {
        return print_error(form, row.path, error.what(), kExitNotWritten);
    } catch (const std::exception& error) {
        return print_error(form, row.path, error.what(), kExitFile);
    }
}

Result version() {
    const std::string id = build_id();
    return {version_text(), {{"version", kVersion}, {"build", id.empty() ? Value() : Value(id)}}};
}

std::string path_of(const CommandRow* row) { return row == nullptr ? "" : row->path; }

std::string help_of(const CommandRow* row) {
    Options unused;
    return Parser(&unused, path_of(row)).help();
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

int parse_and_run(Form form, Resolved resolved) {
    const CommandRow* const row = resolved.row;
    const std::string path = path_of(row);
    Options options;
    Parser parser(&options, path, &resolved.words);
    std::reverse(resolved.words.begin(), resolved.words.end());
    try {
        parser.app().parse(resolved.words);
    } catch (const CLI::CallForHelp&) {
        put_out(help_of(row));
        return kExitDone;
    } catch (const CLI::CallForVersion&) {
        return print_result(form, "", version());
    } catch (const CLI::ParseError& error) {
        if (row == nullptr && form == Form::kText) {
            put_err(help_of(row));
            return kExitUsage;
        }
        const bool word_missing = row == nullptr || is_object(*row);
        return print_usage_error(form, path, word_missing ? missing_word(row) : error.what());
    }
    choose_colours(options.colour);
    if (row->run != nullptr) return run_command(options, *row);
    put_out(own_answer(options, *row));
    return kExitDone;
}

}  // namespace

namespace {

int run(const std::vector<std::string>& given) {
    if (!given.empty() && given[0] == kCompleteWord) {
        const Completion completion = complete({given.begin() + 1, given.end()});
        put_out(completion.text);
        return static_cast<int>(completion.offer);
    }
    if (given.size() == 1 && given[0] == "--version") {
        put_out(version_text());
        return kExitDone;
    }
    const Form form = wanted_form(given);
    try {
        return parse_and_run(form, resolve(given));
    } catch (const UsageError& error) {
        return print_usage_error(form, "", error.what());
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
