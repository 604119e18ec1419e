// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Any bytes as a compiled board: whatever the reader takes is a tree that libfdt takes
// as well and reads the same, and every walk stays inside the bytes.
#include "platform/common/board_tree.h"

#include <cstring>
#include <memory>
#include <string>

#include "tests/fuzz/fuzz.h"

extern "C" {
#include <libfdt.h>
}

namespace fuzz {

namespace {

// "NAME@INDEX" without the index.
std::string element_name(const void* blob, int offset) {
    const std::string whole = fdt_get_name(blob, offset, nullptr);
    return whole.substr(0, whole.find('@'));
}

// The last of a name's properties is one of them all the same: the first counts.
void same_properties(const ::board_tree& tree, board_node node, const void* blob, int offset) {
    int property = 0;
    fdt_for_each_property_offset(property, blob, offset) {
        const char* name = nullptr;
        int length = 0;
        (void)fdt_getprop_by_offset(blob, property, &name, &length);
        const auto* const first =
            static_cast<const char*>(fdt_getprop(blob, offset, name, &length));
        const char* const found = std::strcmp(name, BOARD_TREE_TEXT) == 0
                                      ? board_tree_text(&tree, node)
                                      : board_tree_attribute(&tree, node, name);
        must(found != nullptr && first != nullptr && std::strcmp(found, first) == 0,
             "an attribute differs");
    }
    for (const char* const name : {"chip", "no such attribute"}) {
        must((board_tree_attribute(&tree, node, name) == nullptr) ==
                 (fdt_getprop(blob, offset, name, nullptr) == nullptr),
             "an attribute that is not there");
    }
}

void same_children(const ::board_tree& tree, board_node node, const void* blob, int offset) {
    same_properties(tree, node, blob, offset);
    board_node child = board_tree_first(&tree, node);
    int other = 0;
    fdt_for_each_subnode(other, blob, offset) {
        must(child != 0, "an element is missing");
        must(board_tree_is(&tree, child, element_name(blob, other).c_str()) != 0,
             "an element's name differs");
        same_children(tree, child, blob, other);
        child = board_tree_next(&tree, child);
    }
    must(child == 0, "an element too many");
}

}  // namespace

void board_tree(Input input) {
    // As the kernel has it, and not a byte more.
    const auto exact = std::make_unique<u8[]>(input.size());
    std::copy(input.begin(), input.end(), exact.get());
    ::board_tree tree;
    if (board_tree_open(&tree, exact.get(), static_cast<u32>(input.size())) != 0) return;
    must(fdt_check_full(exact.get(), input.size()) == 0, "libfdt refuses what is taken here");
    same_children(tree, board_tree_root(&tree), exact.get(), 0);
}

}  // namespace fuzz
