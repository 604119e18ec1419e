// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Any text as a board file: it is refused with a reason, or it can be checked, drawn,
// compiled, and read back as the same board.
#include <optional>

#include "platform/common/board_tree.h"
#include "platform/host/board_error.h"
#include "tests/fuzz/fuzz.h"
#include "tools/macctl/board_check.h"
#include "tools/macctl/board_compile.h"
#include "tools/macctl/board_map.h"
#include "tools/macctl/live_board.h"

namespace fuzz {

namespace {

void compile_and_back(const host::BoardFile& file) {
    std::vector<u8> blob;
    try {
        blob = macctl::compile_board(file);
    } catch (const std::runtime_error&) {
        return;  // a tree that the format cannot carry
    }
    ::board_tree tree;
    must(board_tree_open(&tree, blob.data(), static_cast<u32>(blob.size())) == 0,
         "the kernel would refuse a board that was compiled");
    const std::string xml = macctl::decompile_board(blob);
    const host::BoardFile again = host::BoardFile::parse(xml, "again.xml");
    must(macctl::compile_board(again) == blob, "a board changes on its way through the compiler");
}

}  // namespace

void board_file(Input input) {
    std::optional<host::BoardFile> file;
    try {
        file = host::BoardFile::parse(
            {input.begin(), input.begin() + std::min<long>(std::ssize(input), 65536)}, "fuzz.xml");
    } catch (const host::BoardError& error) {
        must(std::string(error.what()).starts_with("fuzz.xml:"), "a refusal without its place");
        return;
    }
    for (const macctl::Finding& finding : macctl::check_layout(*file)) {
        must(!finding.code.empty() && !finding.text.empty(), "a finding without words");
    }
    const auto map = macctl::map_board(*file);
    must(!macctl::map_svg(file->name(), map).empty(), "a board without a picture");
    (void)macctl::map_text(map);
    compile_and_back(*file);
}

}  // namespace fuzz
