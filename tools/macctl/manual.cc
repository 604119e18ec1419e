// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// macctl(8), made from the tree of commands.
#include "tools/macctl/manual.h"

#include <fmt/format.h>

#include <sstream>

#include "tools/macctl/command_table.h"

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

// "-t, --type NUMBER", or an argument's own name.
std::string option_names(const OptionRow& option) {
    if (option.is_positional()) return fmt::format("\\fI{}\\fR", roff(option.names));
    std::string names;
    std::istringstream all(option.names);
    for (std::string name; std::getline(all, name, ',');) {
        names += fmt::format("{}\\fB{}\\fR", names.empty() ? "" : ", ", roff(name));
    }
    if (option.value != nullptr) names += fmt::format(" \\fI{}\\fR", roff(option.type_name()));
    return names;
}

std::string options_text(std::span<const OptionRow> options) {
    std::string text;
    for (const OptionRow& option : options) {
        text += fmt::format(".TP\n{}\n{}{}\n", option_names(option), roff(option.what),
                            option.required ? " (required)" : "");
    }
    return text;
}

std::string commands_text() {
    std::string text;
    for (const CommandRow& row : command_table()) {
        if (is_object(row)) continue;
        text += fmt::format(".SS \"{}\"\n{}\n", roff(row.path), roff(row.what)) +
                options_text(row.options) +
                fmt::format(".PP\n.EX\n    {}\n.EE\n", roff(row.example));
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
.TP
\fB\-\-version\fR
Display program version information and exit
)";

constexpr char kTail[] =
    R"(.SH JSON
With
.B \-\-json
a command prints one object with "schema", "command", "exit" and "result", or "error" with
"message", "status" and "name"; a followed log prints such an object a line. Help, the manual
page and completion scripts stay text. The schema is macctl.schema.json in the documentation.
)";

constexpr char kEnd[] =
    R"(.SH EXAMPLES
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
.TP
.IR . FILE .mac_mng\-new
a file while it is written, beside its place; the next run that writes FILE removes one that a
kill left
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

std::string exit_table() {
    std::string text = ".SH \"EXIT STATUS\"\n";
    for (const ExitRow& row : kExitTable) {
        text += fmt::format(".TP\n.B {}\n{}\n", static_cast<int>(row.exit), roff(row.meaning));
    }
    return text;
}

}  // namespace

std::string manual_page() {
    return kHead + options_text(global_options()) + ".SH COMMANDS\n" + commands_text() + kTail +
           exit_table() + kEnd;
}

}  // namespace macctl
