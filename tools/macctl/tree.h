// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The tree of commands: each is a line with what it does and an example.
#ifndef TOOLS_MACCTL_TREE_H
#define TOOLS_MACCTL_TREE_H

#include "tools/macctl/cli.h"

namespace macctl {

class Tree {
public:
    // With `words` only the commands that one of them may name: most of
    // a short run would go into building those that nobody asked for.
    explicit Tree(Options* options, const std::vector<std::string>* words = nullptr);

    CLI::App& app() { return app_; }
    Command command() const { return command_; }
    const std::string& path() const { return path_; }

    // What the whole tree answers by itself, after a parse that gave no command.
    std::string own_answer();

private:
    struct Top;
    static const Top kTops[];

    // Whether one of the words may stand for this one.
    bool is_named(const char* name) const;
    CLI::App* object(const char* name, const char* what, const char* example);
    CLI::App* verb(CLI::App* parent, const char* name, const char* what, const char* example,
                   Command run);
    CLI::App* verb(const char* name, const char* what, const char* example, Command run);
    CLI::Option* number(CLI::App* app, const char* names, const char* what,
                        std::optional<u32>* target);
    void type(CLI::App* app, bool required);
    CLI::Option* address(CLI::App* app, const char* names);
    CLI::Option* file(CLI::App* app, const char* what);
    void add_globals();
    void add_status();
    void add_get();
    void add_top_list();
    void add_mount();
    void add_unmount();
    void add_show();
    void add_diag();
    void add_log();
    void add_list(CLI::App* app);
    void guarded(CLI::App* app);
    void add_set();
    void add_check();
    void add_repair();
    void add_export();
    void add_import();
    void record_options(CLI::App* app);
    void add_records();
    void add_boards();
    void add_completion();
    void add_help();

    Options& options_;
    const std::vector<std::string>* given_;
    CLI::App app_{"macctl: blocks of MAC addresses, on a board file or on a device", "macctl"};
    Command command_ = nullptr;
    std::string path_;
    std::vector<std::string> words_;
    bool manual_ = false;
};

}  // namespace macctl

#endif
