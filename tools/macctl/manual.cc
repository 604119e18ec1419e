// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl(8), made from the tree of commands.
#include <fmt/format.h>

#include "tools/macctl/cli.h"

namespace macctl {

namespace {

// Text as roff shows it: hyphens that can be copied, no accidental requests.
std::string roff(const std::string& text) {
    std::string result;
    for (const char character : text) {
        if (character == '\\') {
            result += "\\e";
        } else if (character == '-') {
            result += "\\-";
        } else if ((character == '.' || character == '\'') &&
                   (result.empty() || result.back() == '\n')) {
            result += std::string("\\&") + character;
        } else {
            result += character;
        }
    }
    return result;
}

std::string option_names(const CLI::Option& option) {
    std::string names;
    for (const std::string& name : option.get_snames()) names += "\\fB\\-" + roff(name) + "\\fR, ";
    for (const std::string& name : option.get_lnames())
        names += "\\fB\\-\\-" + roff(name) + "\\fR, ";
    if (!names.empty()) names.resize(names.size() - 2);
    if (option.get_positional()) names = "\\fI" + roff(option.get_name(true)) + "\\fR";
    if (option.get_items_expected_max() > 0 && !option.get_positional()) {
        names += " \\fI" + roff(option.get_type_name()) + "\\fR";
    }
    return names;
}

std::string options_text(const CLI::App& app) {
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        if (option == app.get_help_ptr()) continue;
        text +=
            fmt::format(".TP\n{}\n{}{}\n", option_names(*option), roff(option->get_description()),
                        option->get_required() ? " (required)" : "");
    }
    return text;
}

std::string example_of(const CLI::App& app) {
    const std::string footer = app.get_footer();
    const std::string marker = "Example:\n  ";
    return footer.rfind(marker, 0) == 0 ? footer.substr(marker.size()) : "";
}

std::string commands_text(const CLI::App& app) {
    std::string text;
    for (const CLI::App* child : app.get_subcommands({})) {
        if (!child->get_subcommands({}).empty()) {
            text += commands_text(*child);
            continue;
        }
        text +=
            fmt::format(".SS \"{}\"\n{}\n", roff(path_of(*child)), roff(child->get_description()));
        text += options_text(*child);
        const std::string example = example_of(*child);
        if (!example.empty()) text += fmt::format(".PP\n.EX\n    {}\n.EE\n", roff(example));
    }
    return text;
}

constexpr char kHead[] =
    R"(.TH MACCTL 8 "" "mac_mng" "System Administration"
.SH NAME
macctl \- blocks of MAC addresses, on a board file or on a device
.SH SYNOPSIS
.B macctl
[\fB\-\-board\fR \fIFILE\fR | \fB\-\-device\fR \fIPATH\fR] [\fB\-j\fR] \fIOBJECT VERB\fR ...
.SH DESCRIPTION
A block is a base address and a count, kept twice, main and spare.
.B macctl
works on the media of a board file, with the module in its own process, or on the control
device of a kernel that has loaded
.BR mac_mng (4).
Both take the same commands and give the same answers. Without
.B \-\-board
and
.B \-\-device
it uses /dev/mac_mng.
.PP
Data goes to standard output, everything else to standard error. Words may be shortened as
long as they are unambiguous.
.B status
and
.B check
never write; reading a block with
.B get
or
.B list
repairs a copy that is no good, as every access does.
.SH OPTIONS
)";

constexpr char kTail[] =
    R"(.SH JSON
With
.B \-\-json
a command prints one object with "command", "exit" and "result", or "error" with "message",
"status" and "name". The schema is macctl.schema.json in the documentation.
.SH "EXIT STATUS"
.TP
.B 0
done
.TP
.B 1
the command line, the board file or the device cannot be used
.TP
.B 2
the system refused, or a board file has errors
.TP
.B 3
no such block, instance, attribute or record
.TP
.B 4
a copy is no good, and the block is there
.TP
.B 5
no copy of a block is good
.TP
.B 6
something was repaired
.TP
.B 7
nothing, or not all, was written
.SH EXAMPLES
Lay out, check and program a board, and see what is on it:
.PP
.EX
    macctl \-b board.xml board check
    macctl \-b board.xml set block \-t 0 00:11:22:33:44:00 16
    macctl \-b board.xml status
.EE
.PP
Look at a damaged copy and mend it, on a device:
.PP
.EX
    macctl check \-t 0
    macctl repair \-t 0
.EE
.PP
Move all blocks to another board:
.PP
.EX
    macctl \-b old.xml export | macctl \-b new.xml import \- \-\-yes
.EE
.SH FILES
.TP
.I /dev/mac_mng
the control device
.TP
.I /lib/firmware/mac_mng/board.dtb
the compiled board of the kernel's reference platform
.TP
.IR BOARD .lock
held while a board file's media are in use
.TP
.IR BOARD .state
mounted instances and the module's log, from one run to the next
.SH ENVIRONMENT
.TP
.B NO_COLOR
no colours, also on a terminal
.SH "SEE ALSO"
.BR mac_mng (4),
.BR mac_mng.board (5),
.BR fw_printenv (8),
.BR systemd.link (5)
)";

}  // namespace

std::string manual_page(const CLI::App& app) {
    return kHead + options_text(app) + ".SH COMMANDS\n" + commands_text(app) + kTail;
}

}  // namespace macctl
