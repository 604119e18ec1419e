// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "tools/macctl/tree.h"

namespace macctl {

namespace {

// Before the command line has been understood: whether errors are to be JSON.
bool wants_json(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        if (word == "--json" || word == "-j") return true;
    }
    return false;
}

int print_error(bool json, const std::string& path, const std::string& text, int exit,
                std::optional<u32> status = std::nullopt) {
    fmt::print(stderr, "macctl: {}\n", text);
    if (!json) return exit;
    Json error = {{"message", text}};
    error["status"] = status ? Json(fmt::format("0x{:08x}", *status)) : Json();
    error["name"] = status ? Json(status_name(*status)) : Json();
    fmt::print("{}\n", Json{{"command", path}, {"exit", exit}, {"error", error}}.dump(2));
    return exit;
}

int print_result(const Options& options, const std::string& path, const Result& result) {
    if (!options.json) {
        fmt::print("{}", result.text);
    } else if (!result.data.is_null()) {
        Json json = {{"command", path}, {"exit", result.exit}};
        json["result"] = result.data;
        fmt::print("{}\n", json.dump(2));
    }
    return result.exit;
}

int run_command(const Options& options, const Tree& tree) {
    try {
        Context context(options);
        return print_result(options, tree.path(), tree.command()(context));
    } catch (const Failure& failure) {
        return print_error(options.json, tree.path(), failure.what(), failure.exit(),
                           failure.status());
    } catch (const StartUpError& error) {
        return print_error(options.json, tree.path(), error.what(), kExitRefused);
    } catch (const std::exception& error) {
        return print_error(options.json, tree.path(), error.what(), kExitUsage);
    }
}

}  // namespace

int run_command_line(int argc, char** argv) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    const bool json = wants_json(given);
    // Nearly always the words name their command; whatever they do not say, the whole tree
    // has to.
    for (const bool whole : {false, true}) {
        Options options;
        Tree tree(&options, whole ? nullptr : &given);
        try {
            std::vector<std::string> words = expand_words(tree.app(), given);
            std::reverse(words.begin(), words.end());
            tree.app().parse(words);
            if (tree.command() == nullptr) {  // help, completion
                if (!whole) continue;
                fmt::print("{}", tree.own_answer());
                return kExitDone;
            }
        } catch (const CLI::CallForVersion& version) {
            return tree.app().exit(version);
        } catch (const CLI::ParseError& error) {
            if (!whole) continue;
            if (error.get_exit_code() == 0) return tree.app().exit(error);  // --help
            return print_error(
                json, tree.path(),
                fmt::format("{}\nRun with --help for more information.", error.what()), kExitUsage);
        }
        return run_command(options, tree);
    }
    return kExitUsage;
}

}  // namespace macctl
