// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/command_table.h"

#include "tools/macctl/commands.h"

namespace macctl {

namespace {

constexpr const char* kListFormats[] = {"plain", "csv", "json", "link"};
constexpr const char* kRecordFormats[] = {"qolt", "router-crc", "router", "kolbe-crc", "kolbe"};
constexpr const char* kColours[] = {"auto", "always", "never"};
constexpr const char* kShells[] = {"bash", "zsh", "fish"};

constexpr OptionRow kGlobal[] = {
    {"-b,--board", "FILE", "board file that describes the media", &Options::board},
    {"-d,--device", "PATH", "control device (default /dev/mac_mng, where it exists)",
     &Options::device},
    {"-i,--instance", "NUMBER",
     "instance id (default 0xffffffff; status, check, repair and export: all)", &Options::inst},
    {"-j,--json", nullptr, "results and errors as JSON", &Options::json},
    {"-J,--json-line", nullptr, "the same in one line", &Options::json_line},
    {"-v,--verbose", nullptr, "print every log line of the module", &Options::verbose},
    {"-q,--quiet", nullptr, "print no log line of the module, and no result that is no data",
     &Options::quiet},
    {"--color", "WHEN", "colours: auto, always or never (default auto)", &Options::colour, false,
     kColours},
    {"--wait", "SECONDS", "wait so long for others who work on the board (default: for ever)",
     &Options::wait},
};

constexpr OptionRow required(OptionRow row) {
    row.required = true;
    return row;
}

constexpr OptionRow kTypeRow = {"-t,--type", "NUMBER", "MAC type: 0 to 5 or 64 to 79",
                                &Options::type};
constexpr OptionRow kAddressRow = {"address", "ADDRESS", "base address, joined by ':', '-' or '.'",
                                   &Options::address, true};
constexpr OptionRow kCountRow = {"count", "NUMBER", "number of addresses, up to 65534",
                                 &Options::num, true};
constexpr OptionRow kDryRunRow = {"--dry-run", nullptr, "say what would change, and write nothing",
                                  &Options::dry_run};
constexpr OptionRow kYesRow = {"-y,--yes", nullptr,
                               "replace good blocks, and write doubtful ones, without asking",
                               &Options::yes};

constexpr OptionRow file_row(const char* what) {
    return {"file", "FILE", what, &Options::file, true};
}

constexpr OptionRow kRecordFile = file_row("record, or dump of a medium");
constexpr OptionRow kOffsetRow = {"--offset", "NUMBER", "where the record begins",
                                  &Options::offset};
constexpr OptionRow kCrc16Row = {
    "--crc16", "NAME", "CRC-16 variant (default: the board's, else ibm-3740)", &Options::crc16};
constexpr OptionRow kRecordCountRow = {
    "-n,--count", "NUMBER", "addresses of the record; Kolbe records do not say", &Options::num};
constexpr OptionRow kRecordFormatRow = {
    "--format",       "TEXT", "qolt, router-crc, router, kolbe-crc or kolbe",
    &Options::format, false,  kRecordFormats};

constexpr OptionRow kStatus[] = {
    kTypeRow,
    {"--no-header", nullptr, "without the line that names the columns", &Options::no_header},
    {"-o,--columns", "NAMES", "these columns, joined by ',', in this order", &Options::columns},
};
constexpr OptionRow kOneType[] = {required(kTypeRow)};
constexpr OptionRow kList[] = {
    required(kTypeRow),
    {"-n,--count,--num", "NUMBER", "only the first so many", &Options::num},
    {"--format", "TEXT", "plain, csv, json, or link: systemd .link files", &Options::format, false,
     kListFormats},
    {"--interfaces", "NAMES", "names of the interfaces, joined by ',', for --format link",
     &Options::interfaces},
    {"--directory", "FOLDER", "where the .link files go; without it they are printed",
     &Options::directory},
};
constexpr OptionRow kLog[] = {
    {"-f,--follow", nullptr, "go on with new lines until Ctrl-C", &Options::follow},
};
constexpr OptionRow kSetAddr[] = {required(kTypeRow), kAddressRow, kDryRunRow, kYesRow};
constexpr OptionRow kSetNum[] = {required(kTypeRow), kCountRow, kDryRunRow, kYesRow};
constexpr OptionRow kSetBlock[] = {required(kTypeRow), kAddressRow, kCountRow, kDryRunRow, kYesRow};
constexpr OptionRow kCheck[] = {
    kTypeRow,
    {"--allow-blank", nullptr, "blocks that were never written are no failure",
     &Options::allow_blank},
};
constexpr OptionRow kRepair[] = {
    kTypeRow,
    {"--dry-run", nullptr, "say what would be repaired", &Options::dry_run},
};
constexpr OptionRow kExport[] = {
    kTypeRow,
    {"file", "FILE", "file to write; - or none: standard output", &Options::file},
};
constexpr OptionRow kImport[] = {file_row("file to read; -: standard input"), kDryRunRow, kYesRow};
constexpr OptionRow kRecord[] = {kRecordFile, kOffsetRow, kCrc16Row, kRecordCountRow,
                                 kRecordFormatRow};
constexpr OptionRow kEncode[] = {
    kRecordFile,
    kOffsetRow,
    kCrc16Row,
    kRecordCountRow,
    required(kRecordFormatRow),
    {"--base", "ADDRESS", "base address, joined by ':', '-' or '.'", &Options::address, true},
    kDryRunRow,
    {"-y,--yes", nullptr, "write over bytes that are not erased without asking", &Options::yes},
};
constexpr OptionRow kIdentify[] = {file_row("dump of a medium")};
constexpr OptionRow kBoardCheck[] = {
    {"--strict", nullptr, "warnings count as errors", &Options::strict},
};
constexpr OptionRow kUnmount[] = {kDryRunRow};
constexpr OptionRow kBoardInit[] = {kDryRunRow};
constexpr OptionRow kBoardMap[] = {
    {"--svg", "FILE", "write a picture; -: standard output", &Options::svg},
    kDryRunRow,
};
constexpr OptionRow kForceRow = {"--force", nullptr, "also a board with errors; they are listed",
                                 &Options::force};
constexpr OptionRow kBoardCompile[] = {
    {"output", "FILE", "file to write", &Options::file, true},
    kForceRow,
    kDryRunRow,
};
constexpr OptionRow kBoardInstall[] = {
    {"--firmware", "FOLDER", "firmware folder (default /lib/firmware)", &Options::directory},
    kForceRow,
    kDryRunRow,
};
constexpr OptionRow kCompletion[] = {
    {"shell", "TEXT", "bash, zsh or fish", &Options::name, true, kShells},
};
constexpr OptionRow kHelp[] = {
    {"command", "WORD", "the command's words", &Options::words},
    {"--man", nullptr, "the manual page macctl(8)", &Options::manual},
};

constexpr CommandRow kCommands[] = {
    {"status", "all blocks in a table; nothing is written", "macctl -b board.xml status", status,
     kStatus},
    {"get", "read a block", "macctl -b board.xml get addr -t 0", nullptr},
    {"get addr", "base address of a block", "macctl -b board.xml get addr -t 0", get_addr,
     kOneType},
    {"get num", "count of a block", "macctl -b board.xml get num -t 0", get_num, kOneType},
    {"get block", "base address and count of a block", "macctl -b board.xml get block -t 0",
     get_block, kOneType},
    {"get list", "the same as \"list\"", "macctl -b board.xml get list -t 0", list, kList},
    {"list", "addresses of a block",
     "macctl -b board.xml list -t 0 --format link --interfaces lan0,lan1", list, kList},
    {"mount", "mount an instance", "macctl -b board.xml mount -i 3", mount, {}, "init"},
    {"unmount", "unmount an instance", "macctl -b board.xml unmount -i 3", unmount, kUnmount,
     "deinit"},
    {"show", "the module's listings", "macctl -b board.xml show cfg", nullptr},
    {"show cfg", "storage configuration per MAC type", "macctl -b board.xml show cfg", show_cfg},
    {"show types", "state per MAC type", "macctl -b board.xml show types", show_types},
    {"diag", "the diagnostic attributes", "macctl diag devlist", nullptr},
    {"diag devlist", "content of this attribute", "macctl diag devlist", diag_devlist},
    {"diag drvlist", "content of this attribute", "macctl diag drvlist", diag_drvlist},
    {"log", "the module's log ring: level and text", "macctl log --follow", log, kLog},
    {"set", "change a block", "macctl -b board.xml set block -t 0 00:11:22:33:44:00 16", nullptr},
    {"set addr", "change the base address, keep the count",
     "macctl -b board.xml set addr -t 0 00:11:22:33:44:00 --yes", set_addr, kSetAddr},
    {"set num", "change the count, keep the base address",
     "macctl -b board.xml set num -t 0 8 --yes", set_num, kSetNum},
    {"set block", "program base address and count",
     "macctl -b board.xml set block -t 0 00:11:22:33:44:00 16", set_block, kSetBlock},
    {"check", "decode both copies of every block; nothing is written", "macctl -b board.xml check",
     check, kCheck},
    {"repair", "repair the copies that can be", "macctl -b board.xml repair", repair, kRepair},
    {"export", "all good blocks as JSON", "macctl -b board.xml export blocks.json", export_blocks,
     kExport},
    {"import", "program the blocks of an export; all are checked before one is written",
     "macctl -b board.xml import blocks.json --dry-run", import_blocks, kImport},
    {"record", "records in files", "macctl record identify flash.bin", nullptr},
    {"record decode", "what a record holds", "macctl record decode flash.bin --offset 0x4c0",
     record_decode, kRecord},
    {"record verify", "whether a record is good", "macctl record verify flash.bin --offset 0x4c0",
     record_verify, kRecord},
    {"record encode", "write a record into a file",
     "macctl record encode new.bin --format qolt --base 00:11:22:33:44:00 --count 16",
     record_encode, kEncode},
    {"record identify", "find records in a dump: format, CRC-16 variant, block",
     "macctl record identify flash.bin", record_identify, kIdentify},
    {"board", "the board file itself", "macctl -b board.xml board check", nullptr},
    {"board check", "find what goes wrong in the field before it does",
     "macctl -b board.xml board check --strict", board_check, kBoardCheck},
    {"board init", "make the images that are missing, erased", "macctl -b board.xml board init",
     board_init, kBoardInit},
    {"board map", "draw what lies where", "macctl -b board.xml board map --svg board.svg",
     board_map, kBoardMap},
    {"board compile", "check it and write it as the kernel platform loads it",
     "macctl -b board.xml board compile board.dtb", board_compile, kBoardCompile},
    {"board install", "check it, compile it and put it under the firmware folder",
     "macctl -b board.xml board install", board_install, kBoardInstall},
    {"completion", "a shell's completion script",
     "macctl completion bash > /etc/bash_completion.d/macctl", nullptr, kCompletion},
    {"help", "this text, or that of a command", "macctl help set block", nullptr, kHelp},
};

constexpr std::string_view parent_of(std::string_view path) {
    const size_t space = path.rfind(' ');
    return space == std::string_view::npos ? std::string_view() : path.substr(0, space);
}

// The names between the commas: does the word match one?
bool is_name_of(std::string_view names, std::string_view word) {
    while (!names.empty()) {
        const size_t comma = names.find(',');
        if (names.substr(0, comma) == word) return true;
        names.remove_prefix(comma == std::string_view::npos ? names.size() : comma + 1);
    }
    return false;
}

}  // namespace

std::string OptionRow::type_name() const {
    if (value == nullptr) return "";
    std::string text = value;
    for (size_t i = 0; i < choices.size(); ++i)
        text += (i == 0 ? ":{" : ",") + std::string(choices[i]);
    return choices.empty() ? text : text + "}";
}

bool OptionRow::has_name(std::string_view word) const { return is_name_of(names, word); }

std::string_view CommandRow::name() const {
    const std::string_view whole = path;
    const std::string_view above = parent();
    return above.empty() ? whole : whole.substr(above.size() + 1);
}

std::string_view CommandRow::parent() const { return parent_of(path); }

std::span<const CommandRow> command_table() { return kCommands; }

std::span<const OptionRow> global_options() { return kGlobal; }

const CommandRow* find_row(std::string_view path) {
    for (const CommandRow& row : kCommands) {
        if (row.path == path) return &row;
    }
    return nullptr;
}

std::vector<const CommandRow*> rows_below(std::string_view path) {
    std::vector<const CommandRow*> rows;
    for (const CommandRow& row : kCommands) {
        if (row.parent() == path) rows.push_back(&row);
    }
    return rows;
}

bool is_object(const CommandRow& row) { return row.run == nullptr && row.options.empty(); }

}  // namespace macctl
