// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/common/board_tree.h"

extern "C" {
int strcmp(const char* left, const char* right);
size_t strlen(const char* text);
size_t strnlen(const char* text, size_t limit);
int strncmp(const char* left, const char* right, size_t count);
}

namespace {

constexpr u32 kMagic = 0xd00dfeed;
constexpr u32 kBeginNode = 1;
constexpr u32 kEndNode = 2;
constexpr u32 kProperty = 3;
constexpr u32 kNop = 4;
constexpr u32 kEnd = 9;
constexpr u32 kHeaderBytes = 40;
constexpr u32 kReservedBytes = 16;  // address and size of a range

u32 load(const u8* bytes) {
    return static_cast<u32>(bytes[0]) << 24 | static_cast<u32>(bytes[1]) << 16 |
           static_cast<u32>(bytes[2]) << 8 | bytes[3];
}

constexpr u32 aligned(u32 bytes) { return (bytes + 3) & ~3u; }

// One token of the structure block.
struct Token {
    u32 kind;
    u32 next;           // offset of the token behind it
    const char* name;   // of a node or a property
    const char* value;  // of a property
    u32 length;         // of the value
};

// Walks the structure block; every read is checked against its end.
class Walker {
public:
    Walker(const board_tree& tree, u32 offset) : tree_(tree), offset_(offset) {}

    // The next token; false at a malformed one.
    bool step(Token* token) {
        if (!read(offset_, &token->kind)) return false;
        token->next = offset_ + 4;
        switch (token->kind) {
            case kBeginNode:
                if (!node_name(token)) return false;
                break;
            case kProperty:
                if (!property(token)) return false;
                break;
            case kEndNode:
            case kNop:
            case kEnd:
                break;
            default:
                return false;
        }
        offset_ = token->next;
        return true;
    }

    u32 offset() const { return offset_; }

private:
    bool read(u32 offset, u32* value) const {
        if (offset > tree_.structure_size || tree_.structure_size - offset < 4) return false;
        *value = load(tree_.structure + offset);
        return true;
    }

    // Advances behind `length` bytes of content.
    bool skip(Token* token, u32 length) const {
        if (length > tree_.structure_size - token->next) return false;
        token->next += aligned(length);
        return true;
    }

    bool node_name(Token* token) const {
        const u32 room = tree_.structure_size - token->next;
        token->name = reinterpret_cast<const char*>(tree_.structure + token->next);
        const size_t length = strnlen(token->name, room);
        return length < room && skip(token, static_cast<u32>(length) + 1);
    }

    bool property(Token* token) const {
        u32 name_offset = 0;
        if (!read(token->next, &token->length) || !read(token->next + 4, &name_offset))
            return false;
        token->next += 8;
        if (name_offset >= tree_.strings_size) return false;
        token->name = tree_.strings + name_offset;
        const u32 name_room = tree_.strings_size - name_offset;
        if (strnlen(token->name, name_room) == name_room) return false;
        token->value = reinterpret_cast<const char*>(tree_.structure + token->next);
        return skip(token, token->length);
    }

    const board_tree& tree_;
    u32 offset_;
};

// A property of a board is a text that ends with its terminator.
bool is_text(const Token& token) {
    return token.length != 0 && strnlen(token.value, token.length) == token.length - 1;
}

// One root node without a name, balanced, with nothing before or behind it but the end.
bool structure_is_sound(const board_tree& tree) {
    Walker walker(tree, 0);
    Token token{};
    u32 depth = 0;
    bool ended = false;
    while (walker.step(&token)) {
        if (ended) return token.kind == kEnd;
        switch (token.kind) {
            case kBeginNode:
                if (depth == 0 && token.name[0] != '\0') return false;
                if (++depth > BOARD_TREE_DEPTH_MAX) return false;
                break;
            case kEndNode:
                if (depth == 0) return false;
                ended = --depth == 0;
                break;
            case kProperty:
                if (depth == 0 || !is_text(token)) return false;
                break;
            case kEnd:
                return false;
            default:
                if (depth == 0) return false;
        }
    }
    return false;
}

// The first child node from `walker` on, which stands inside a node; 0 at its end.
board_node child_from(Walker walker) {
    Token token{};
    u32 at = walker.offset();
    while (walker.step(&token) && token.kind != kEndNode && token.kind != kEnd) {
        if (token.kind == kBeginNode) return at + 1;
        at = walker.offset();
    }
    return 0;
}

// A walker behind the begin token of a node.
Walker inside(const board_tree& tree, board_node node) {
    Walker walker(tree, node - 1);
    Token token{};
    (void)walker.step(&token);
    return walker;
}

bool named(const char* node_name, const char* name) {
    const size_t length = strlen(name);
    return strncmp(node_name, name, length) == 0 &&
           (node_name[length] == '@' || node_name[length] == '\0');
}

// A block of the blob lies behind the header and ends inside.
bool lies_inside(u32 total, u32 offset, u32 size) {
    return offset >= kHeaderBytes && offset <= total && size <= total - offset;
}

// Whether the list of reserved memory, which no board has, ends inside the blob.
bool reserved_is_sound(const u8* blob, u32 total, u32 offset) {
    while (lies_inside(total, offset, kReservedBytes)) {
        u32 size = 0;
        for (u32 i = kReservedBytes / 2; i < kReservedBytes; ++i) size |= blob[offset + i];
        if (size == 0) return true;
        offset += kReservedBytes;
    }
    return false;
}

}  // namespace

int board_tree_open(board_tree* tree, const void* blob, u32 size) {
    const u8* const bytes = static_cast<const u8*>(blob);
    if (size < kHeaderBytes || load(bytes) != kMagic) return -1;
    const u32 total = load(bytes + 4);
    const u32 reserved = load(bytes + 16);
    const u32 version = load(bytes + 20);
    const u32 structure = load(bytes + 8);
    const u32 strings = load(bytes + 12);
    const u32 last_compatible = load(bytes + 24);
    const u32 strings_size = load(bytes + 32);
    const u32 structure_size = load(bytes + 36);
    if (total > size || last_compatible > 17 || version < 17) return -1;
    if (!lies_inside(total, structure, structure_size) || structure % 4 != 0) return -1;
    if (!lies_inside(total, strings, strings_size)) return -1;
    if (!reserved_is_sound(bytes, total, reserved)) return -1;
    const board_tree opened = {bytes + structure, structure_size,
                               reinterpret_cast<const char*>(bytes + strings), strings_size};
    if (!structure_is_sound(opened)) return -1;
    *tree = opened;
    return 0;
}

board_node board_tree_root(const board_tree* tree) { return child_from(Walker(*tree, 0)); }

board_node board_tree_first(const board_tree* tree, board_node node) {
    return node == 0 ? 0 : child_from(inside(*tree, node));
}

board_node board_tree_next(const board_tree* tree, board_node node) {
    if (node == 0) return 0;
    Walker walker = inside(*tree, node);
    Token token{};
    for (u32 depth = 1; depth != 0;) {
        if (!walker.step(&token)) return 0;
        if (token.kind == kBeginNode) ++depth;
        if (token.kind == kEndNode) --depth;
    }
    return child_from(walker);
}

board_node board_tree_child(const board_tree* tree, board_node node, const char* name) {
    board_node child = board_tree_first(tree, node);
    while (child != 0 && board_tree_is(tree, child, name) == 0)
        child = board_tree_next(tree, child);
    return child;
}

int board_tree_is(const board_tree* tree, board_node node, const char* name) {
    Walker walker(*tree, node - 1);
    Token token{};
    return walker.step(&token) && named(token.name, name) ? 1 : 0;
}

const char* board_tree_attribute(const board_tree* tree, board_node node, const char* name) {
    if (node == 0) return nullptr;
    Walker walker = inside(*tree, node);
    Token token{};
    while (walker.step(&token) && (token.kind == kProperty || token.kind == kNop)) {
        if (token.kind == kProperty && strcmp(token.name, name) == 0) return token.value;
    }
    return nullptr;
}

const char* board_tree_text(const board_tree* tree, board_node node) {
    const char* const text = board_tree_attribute(tree, node, BOARD_TREE_TEXT);
    return text == nullptr ? "" : text;
}

int board_tree_number(const char* text, u32* value) {
    const auto digit = [](char c) -> u32 {
        if (c >= '0' && c <= '9') return static_cast<u32>(c - '0');
        if (c >= 'a' && c <= 'f') return static_cast<u32>(c - 'a' + 10);
        if (c >= 'A' && c <= 'F') return static_cast<u32>(c - 'A' + 10);
        return 16;
    };
    if (digit(*text) > 9) return -1;
    u32 base = 10;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text += 2;
    } else if (text[0] == '0') {
        base = 8;
    }
    if (*text == '\0') return -1;
    u64 number = 0;
    for (; *text != '\0'; ++text) {
        if (digit(*text) >= base) return -1;
        number = number * base + digit(*text);
        if (number > 0xffffffff) return -1;
    }
    *value = static_cast<u32>(number);
    return 0;
}
