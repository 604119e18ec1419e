// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Compiled boards: what macctl writes, the kernel's reader reads, and libfdt agrees;
// no blob, however damaged, leads the reader out of it.
#include "platform/common/board_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "platform/host/files.h"
#include "tools/macctl/board_compile.h"

extern "C" {
#include <libfdt.h>
}

namespace {

std::vector<u8> demo_blob() {
    return macctl::compile_board(host::BoardFile::read(MAC_SOURCE_DIR "/boards/demo.xml"));
}

// A heap copy of exactly its size, so that the address sanitizer sees any read
// outside.
struct Blob {
    explicit Blob(const std::vector<u8>& content)
        : size(static_cast<u32>(content.size())), bytes(new u8[content.size()]) {
        std::copy(content.begin(), content.end(), bytes.get());
    }
    u32 size;
    std::unique_ptr<u8[]> bytes;
};

// Compares an element with its XML, attributes, text, children and their order.
void expect_same(const board_tree& tree, board_node node, pugi::xml_node element) {
    ASSERT_NE(node, 0u) << element.name();
    if (element.parent().type() == pugi::node_element) {
        EXPECT_TRUE(board_tree_is(&tree, node, element.name()));
    }
    for (const pugi::xml_attribute attribute : element.attributes()) {
        const char* const value = board_tree_attribute(&tree, node, attribute.name());
        ASSERT_NE(value, nullptr) << attribute.name();
        EXPECT_STREQ(value, attribute.value());
    }
    EXPECT_STREQ(board_tree_text(&tree, node), element.text().get());
    board_node child = board_tree_first(&tree, node);
    for (const pugi::xml_node xml_child : element.children()) {
        if (xml_child.type() != pugi::node_element) continue;
        expect_same(tree, child, xml_child);
        child = board_tree_next(&tree, child);
    }
    EXPECT_EQ(child, 0u) << "no further children of " << element.name();
}

TEST(BoardTree, EveryBoardThatShips_ReadsBackAsItsXml) {
    unsigned boards = 0;
    for (const auto& entry : std::filesystem::directory_iterator(MAC_SOURCE_DIR "/boards")) {
        if (entry.path().extension() != ".xml") continue;
        const host::BoardFile file = host::BoardFile::read(entry.path());
        const Blob blob(macctl::compile_board(file));
        EXPECT_EQ(fdt_check_full(blob.bytes.get(), blob.size), 0) << entry.path();
        board_tree tree{};
        ASSERT_EQ(board_tree_open(&tree, blob.bytes.get(), blob.size), 0) << entry.path();
        expect_same(tree, board_tree_root(&tree), file.root());
        ++boards;
    }
    EXPECT_EQ(boards, 8u);
}

TEST(BoardTree, Children_AreFoundByName) {
    const Blob blob(demo_blob());
    board_tree tree{};
    ASSERT_EQ(board_tree_open(&tree, blob.bytes.get(), blob.size), 0);
    const board_node root = board_tree_root(&tree);
    const board_node storage =
        board_tree_child(&tree, board_tree_child(&tree, root, "mac_mng"), "mac_storage_spare");
    const board_node entry = board_tree_child(&tree, storage, "entry2");
    EXPECT_STREQ(board_tree_attribute(&tree, entry, "channel"), "0x104d0");
    EXPECT_EQ(board_tree_attribute(&tree, entry, "chann"), nullptr);
    EXPECT_EQ(board_tree_attribute(&tree, entry, "channel2"), nullptr);
    EXPECT_EQ(board_tree_child(&tree, storage, "entry"), 0u) << "whole names only";
    EXPECT_EQ(board_tree_child(&tree, storage, "entry22"), 0u);
    EXPECT_EQ(board_tree_child(&tree, 0, "entry2"), 0u);
    EXPECT_EQ(board_tree_next(&tree, 0), 0u);
    EXPECT_EQ(board_tree_attribute(&tree, 0, "id"), nullptr);
    EXPECT_STREQ(board_tree_text(&tree, entry), "");
}

void walk(const board_tree& tree, board_node node) {
    for (; node != 0; node = board_tree_next(&tree, node)) {
        (void)board_tree_attribute(&tree, node, "id");
        (void)std::strlen(board_tree_text(&tree, node));
        (void)board_tree_child(&tree, node, "entry0");
        walk(tree, board_tree_first(&tree, node));
    }
}

void open_and_walk(const std::vector<u8>& content) {
    const Blob blob(content);
    board_tree tree{};
    if (board_tree_open(&tree, blob.bytes.get(), blob.size) == 0) {
        walk(tree, board_tree_root(&tree));
    }
}

TEST(BoardTree, CutAtEveryLength_IsRefused) {
    const std::vector<u8> whole = demo_blob();
    for (size_t length = 0; length < whole.size(); ++length) {
        const Blob blob({whole.begin(), whole.begin() + static_cast<long>(length)});
        board_tree tree{};
        ASSERT_EQ(board_tree_open(&tree, blob.bytes.get(), blob.size), -1) << length;
    }
}

TEST(BoardTree, EveryByteDamaged_NeverLeavesTheBlob) {
    const std::vector<u8> whole = demo_blob();
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const u8 value : {u8{0x00}, u8{0xff}, static_cast<u8>(whole[at] ^ 0x01),
                               static_cast<u8>(whole[at] ^ 0x80)}) {
            std::vector<u8> damaged = whole;
            damaged[at] = value;
            open_and_walk(damaged);
        }
    }
}

TEST(BoardTree, ListOfReservedMemory_HasToEndInside) {
    std::vector<u8> content = demo_blob();
    board_tree tree;
    content[18] = 0x69;
    const Blob blob(content);
    EXPECT_EQ(board_tree_open(&tree, blob.bytes.get(), blob.size), -1);
    EXPECT_NE(fdt_check_full(content.data(), content.size()), 0);
}

TEST(BoardTree, DeepNesting_IsRefused) {
    std::string xml = "<board><platform/><mac_mng>";
    for (int i = 0; i < 20; ++i) xml += "<e>";
    for (int i = 0; i < 20; ++i) xml += "</e>";
    const std::string path = (std::filesystem::temp_directory_path() / "deep.xml").string();
    host::replace_file(path, xml);
    const auto file = host::BoardFile::parse(xml + "</mac_mng></board>", path);
    EXPECT_THROW(macctl::compile_board(file), std::runtime_error);
    std::filesystem::remove(path);
    std::vector<u8> blob(8192);
    fdt_create(blob.data(), 8192);
    fdt_finish_reservemap(blob.data());
    for (int i = 0; i < 17; ++i) fdt_begin_node(blob.data(), "e");
    for (int i = 0; i < 17; ++i) fdt_end_node(blob.data());
    ASSERT_EQ(fdt_finish(blob.data()), 0);
    board_tree tree{};
    EXPECT_EQ(board_tree_open(&tree, blob.data(), 8192), -1);
}

TEST(BoardTree, Numbers_AreTheBoardFiles) {
    for (const char* const text : {"0", "45", "0x4c0", "0X4C0", "017", "4294967295", "0xffffffff",
                                   "4294967296", "0x", "", "-1", "12x", "08", " 1", "x", "0x1g"}) {
        u32 value = 7;
        const int result = board_tree_number(text, &value);
        const auto expected = host::parse_u32(text);
        EXPECT_EQ(result == 0, expected.has_value()) << text;
        EXPECT_EQ(value, expected.value_or(7)) << text;
    }
}

}  // namespace
