// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "base/guard.h"
#include "base/list.h"
#include "base/lookup.h"
#include "base/text.h"
#include "mac_mng/mac_status.h"
#include "platform/host/memory_service.h"
#include "tests/support/fixture.h"

namespace {

struct Node {
    mac_link list;
    int value;
};

class ListTest : public ::testing::Test {
protected:
    ListTest() { list.init(); }
    std::vector<int> values() const {
        std::vector<int> result;
        list.for_each([&](const Node* node) { result.push_back(node->value); });
        return result;
    }
    mac::List<Node> list;
    Node nodes[3] = {{{}, 0}, {{}, 1}, {{}, 2}};
};

TEST_F(ListTest, PushBack_KeepsTheOrder) {
    EXPECT_TRUE(list.empty());
    for (Node& node : nodes) EXPECT_TRUE(list.push_back(&node));
    EXPECT_EQ(values(), (std::vector{0, 1, 2}));
    EXPECT_EQ(list.find([](const Node& node) { return node.value == 1; }), &nodes[1]);
    EXPECT_EQ(list.find([](const Node& node) { return node.value == 9; }), nullptr);
}

TEST_F(ListTest, Remove_PoisonsTheNode_AndRefusesItNextTime) {
    for (Node& node : nodes) list.push_back(&node);
    EXPECT_TRUE(list.remove(&nodes[1]));
    EXPECT_EQ(values(), (std::vector{0, 2}));
    EXPECT_EQ(nodes[1].list.next, platform_list_poison().next);
    EXPECT_EQ(nodes[1].list.prev, platform_list_poison().prev);
    EXPECT_FALSE(list.remove(&nodes[1]));
    EXPECT_EQ(values(), (std::vector{0, 2}));
}

TEST_F(ListTest, ForEach_MayRemoveTheVisitedNode) {
    for (Node& node : nodes) list.push_back(&node);
    list.for_each([this](Node* node) { list.remove(node); });
    EXPECT_TRUE(list.empty());
}

TEST_F(ListTest, CorruptNeighbours_AreRefused) {
    for (Node& node : nodes) list.push_back(&node);
    mac_link* const saved = nodes[0].list.next;
    nodes[0].list.next = nullptr;
    EXPECT_FALSE(list.remove(&nodes[1])) << "the previous node does not agree";
    nodes[0].list.next = saved;
    Node half{{&nodes[0].list, nullptr}, 7};
    EXPECT_FALSE(list.remove(&half));
    Node half_poisoned{{&nodes[0].list, platform_list_poison().prev}, 7};
    EXPECT_FALSE(list.remove(&half_poisoned));
    Node stranger{{&nodes[0].list, &nodes[0].list}, 7};
    EXPECT_FALSE(list.remove(&stranger)) << "the neighbours know nothing of it";
    EXPECT_FALSE(list.push_back(&nodes[2])) << "it is the tail already";
}

// A null or a poisoned link is not followed, nor one neighbour believed alone.
TEST_F(ListTest, Removal_LooksAtBothLinks) {
    mac_link node{};
    mac_link before{&node, nullptr};
    mac_link after{nullptr, &node};
    node = {&after, &before};
    EXPECT_TRUE(mac::list_del_valid(&node));
    after.prev = &before;
    EXPECT_FALSE(mac::list_del_valid(&node)) << "the next one does not agree";
    node = {nullptr, &before};
    EXPECT_FALSE(mac::list_del_valid(&node));
    node = {platform_list_poison().next, &before};
    EXPECT_FALSE(mac::list_del_valid(&node));
}

TEST_F(ListTest, Insertion_WhenHeadAndTailDisagree_IsRefused) {
    list.push_back(&nodes[0]);
    nodes[0].list.next = &nodes[1].list;
    EXPECT_FALSE(list.push_back(&nodes[2]));
    nodes[0].list.next = nullptr;
    EXPECT_FALSE(list.push_back(&nodes[2]));
    EXPECT_FALSE(mac::list_add_valid(&nodes[2].list, nullptr, &nodes[0].list));
    EXPECT_FALSE(mac::list_add_valid(&nodes[2].list, &nodes[0].list, nullptr));
}

TEST_F(ListTest, NeverSetUp_ReadsAsEmptyAndRefuses) {
    mac::List<Node> fresh{};
    EXPECT_TRUE(fresh.empty());
    EXPECT_FALSE(fresh.push_back(&nodes[0]));
    fresh.for_each([](Node*) { FAIL(); });
}

TEST_F(ListTest, OwnNeighbours_AreRefused) {
    mac_link a{};
    mac_link b{};
    a.next = &b;
    b.prev = &a;
    EXPECT_TRUE(mac::list_add_valid(&nodes[0].list, &a, &b));
    EXPECT_FALSE(mac::list_add_valid(&a, &a, &b));
    EXPECT_FALSE(mac::list_add_valid(&b, &a, &b));
    b.prev = nullptr;
    EXPECT_FALSE(mac::list_add_valid(&nodes[0].list, &a, &b));
}

using GuardTest = test::PlatformTest;

TEST_F(GuardTest, HeapRecord_FreesUnlessReleased) {
    {
        const mac::HeapRecord<Node> record;
        EXPECT_TRUE(record);
        EXPECT_EQ(record->value, 0);
        EXPECT_EQ(host::heap_use().blocks, 1u);
    }
    EXPECT_EQ(host::heap_use().blocks, 0u);
    mac::HeapRecord<Node> record;
    Node* const node = record.release();
    EXPECT_FALSE(record);
    EXPECT_EQ(host::heap_use().blocks, 1u);
    platform_free(node);
}

TEST_F(GuardTest, ControlBuffer_OfZeroBytes_IsABuffer) {
    const mac::ControlBuffer buffer(0);
    EXPECT_TRUE(buffer);
}

struct Keyed {
    u32 key;
    int value;
    Keyed* same_hash;
};

TEST(LookupTable, FindsTheFirstOfAKey_AmongManyOfOneHash) {
    mac::LookupTable<Keyed, 2> table{};
    Keyed records[64] = {};
    for (u32 i = 0; i < 64; ++i) {
        records[i] = {i % 32, static_cast<int>(i), nullptr};
        table.insert(records[i].key, &records[i]);
    }
    const auto find = [&table](u32 key) {
        return table.find(key, [key](const Keyed& record) { return record.key == key; });
    };
    for (u32 key = 0; key < 32; ++key) EXPECT_EQ(find(key), &records[key]);
    EXPECT_EQ(find(32), nullptr);
    for (u32 key = 0; key < 32; ++key) table.remove(key, &records[key]);
    for (u32 key = 0; key < 32; ++key) EXPECT_EQ(find(key), &records[key + 32]);
    table.remove(5, &records[5]);  // not in it any more
    table.remove(5, &records[37]);
    EXPECT_EQ(find(5), nullptr);
    EXPECT_EQ(find(6), &records[38]);
}

TEST(LookupTable, Insertion_ForgetsAnEarlierChain) {
    mac::LookupTable<Keyed, 2> table{};
    Keyed other{7, 1, nullptr};
    Keyed record{5, 0, &other};
    table.insert(5, &record);
    EXPECT_EQ(record.same_hash, nullptr);
}

TEST(Text, Length_OfALongText) {
    EXPECT_EQ(mac::text_length(std::string(70000, 'a').c_str()), 70000u);
}

TEST(Text, Digits_AreThoseOfBaseSixteen) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (int code = -128; code < 128; ++code) {
        const char character = static_cast<char>(code);
        const size_t at = digits.find(character);
        const size_t expected = at == std::string::npos ? 16 : at < 16 ? at : at - 6;
        EXPECT_EQ(mac::digit_value(character), expected) << code;
    }
}

TEST(Text, EqualityCoversTheTerminator) {
    EXPECT_TRUE(mac::text_equal("abc", "abc"));
    EXPECT_FALSE(mac::text_equal("abc", "abcd"));
    EXPECT_FALSE(mac::text_equal("abcd", "abc"));
    EXPECT_TRUE(mac::text_equal("", ""));
}

TEST(Text, Numbers_AreCLiterals) {
    EXPECT_EQ(mac::text_to_number("0"), 0u);
    EXPECT_EQ(mac::text_to_number("42x"), 42u);
    EXPECT_EQ(mac::text_to_number("0x1F"), 0x1fu);
    EXPECT_EQ(mac::text_to_number("0Xag"), 0xau);
    EXPECT_EQ(mac::text_to_number("0x"), 0u);
    EXPECT_EQ(mac::text_to_number("0x123456789abcdef0"), 0x123456789abcdef0u);
    EXPECT_EQ(mac::text_to_number("017"), 15u);
    EXPECT_EQ(mac::text_to_number("08"), 0u);
    EXPECT_EQ(mac::text_to_number(""), 0u);
    EXPECT_EQ(mac::text_to_number("-1"), 0u);
}

TEST(Status, ValuesAreFixed) {
    EXPECT_EQ(MAC_OK, 0u);
    EXPECT_EQ(MAC_FAIL, 0xffffffffu);
    EXPECT_EQ(MAC_FAULT, 0xfffffff2u);
    EXPECT_EQ(MAC_UNKNOWN_COMMAND, 0x81160001u);
    EXPECT_EQ(MAC_DEVICE_REGISTER_FAILED, 0x81160002u);
    EXPECT_EQ(MAC_FORMAT_FAILED, 0x81160003u);
    EXPECT_EQ(MAC_XML_NODE_MISSING, 0x81160005u);
    EXPECT_EQ(MAC_NO_FLASH_DEFAULT, 0x81160008u);
    EXPECT_EQ(MAC_EEPROM_PARTITION_INVALID, 0x81160009u);
    EXPECT_EQ(MAC_NO_EEPROM_DEFAULT, 0x8116000au);
    EXPECT_EQ(MAC_MTD_MISSING, 0x8116000bu);
    EXPECT_EQ(MAC_NULL_POINTER, 0x811601a1u);
    EXPECT_EQ(MAC_INVALID_ARGUMENT, 0x811601a2u);
    EXPECT_EQ(MAC_NOT_SUPPORTED, 0x811601a4u);
    EXPECT_EQ(MAC_OPERATION_MISSING, 0x811601a5u);
    EXPECT_EQ(MAC_CHECK_MISMATCH, 0x811601a7u);
    EXPECT_EQ(MAC_INVALID_VALUE, 0x811601abu);
    EXPECT_EQ(MAC_RECORD_SHORT, 0x811601adu);
    EXPECT_EQ(MAC_WRONG_TAG, 0x811601aeu);
    EXPECT_EQ(MAC_LENGTH_FIELD_SMALL, 0x811601b3u);
    EXPECT_EQ(MAC_COPY_FAILED, 0x811604a2u);
    EXPECT_EQ(MAC_NO_MEMORY, 0x811604aau);
    EXPECT_EQ(MAC_COPY_FROM_USER_FAILED, 0x811604b7u);
    EXPECT_EQ(MAC_COPY_TO_USER_FAILED, 0x811604b8u);
}

}  // namespace
