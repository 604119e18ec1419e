// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/board_compile.h"

#include <fmt/format.h>

#include <cstring>
#include <stdexcept>

#include "platform/common/board_tree.h"

extern "C" {
#include <libfdt.h>
}

namespace macctl {

namespace {

// Twice what any tree of this size can need, and room for its header.
size_t first_capacity(const host::BoardFile& file) {
    return 4096 + 4 * std::filesystem::file_size(file.path());
}

void must(int result) {
    if (result < 0) {
        throw std::runtime_error(
            fmt::format("the board cannot be compiled: {}", fdt_strerror(result)));
    }
}

void put_text(void* blob, const char* name, const char* text) {
    must(fdt_property(blob, name, text, static_cast<int>(std::strlen(text) + 1)));
}

void put_element(void* blob, pugi::xml_node element, unsigned index, unsigned depth) {
    if (depth > BOARD_TREE_DEPTH_MAX) {
        throw std::runtime_error(fmt::format("<{}> is nested deeper than {} elements",
                                             element.name(), BOARD_TREE_DEPTH_MAX));
    }
    // The root of a device tree has no name.
    const std::string name = depth == 1 ? "" : fmt::format("{}@{}", element.name(), index);
    must(fdt_begin_node(blob, name.c_str()));
    for (const pugi::xml_attribute attribute : element.attributes()) {
        put_text(blob, attribute.name(), attribute.value());
    }
    if (*element.text().get() != '\0') {
        put_text(blob, BOARD_TREE_TEXT, element.text().get());
    }
    unsigned child_index = 0;
    for (const pugi::xml_node child : element.children()) {
        if (child.type() == pugi::node_element) put_element(blob, child, child_index++, depth + 1);
    }
    must(fdt_end_node(blob));
}

}  // namespace

std::vector<u8> compile_board(const host::BoardFile& file) {
    std::vector<u8> blob(first_capacity(file));
    must(fdt_create(blob.data(), static_cast<int>(blob.size())));
    must(fdt_finish_reservemap(blob.data()));
    put_element(blob.data(), file.root(), 0, 1);
    must(fdt_finish(blob.data()));
    blob.resize(fdt_totalsize(blob.data()));
    return blob;
}

}  // namespace macctl
