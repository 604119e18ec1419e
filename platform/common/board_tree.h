/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * A compiled board file: the XML tree as a flattened device tree, which kernels
 * can carry and firmware loaders deliver.
 *
 * Each element is a node "NAME@INDEX" in document order, INDEX its place among
 * its siblings, but for the root, which has no name; each attribute is a text
 * property of its name, an element's text the property "#text". The reader checks
 * the whole blob once when it is opened; after that every walk stays inside it,
 * whatever the blob holds.
 *
 * Any context; nothing is allocated; the blob stays the caller's and must outlive
 * the tree.
 */
#ifndef PLATFORM_COMMON_BOARD_TREE_H
#define PLATFORM_COMMON_BOARD_TREE_H

#include "platform/types.h"

PLATFORM_BEGIN

/* The property that holds an element's text. */
#define BOARD_TREE_TEXT "#text"

/* Elements nested deeper than this are refused. */
#define BOARD_TREE_DEPTH_MAX 16u

struct board_tree {
	const u8 *structure; /* the structure block */
	u32 structure_size;
	const char *strings; /* the strings block */
	u32 strings_size;
};

/* A node: the offset of its token in the structure block plus 1; 0 is none. */
typedef u32 board_node;

/**
 * board_tree_open - check a blob and make its tree readable
 * @blob: 4-byte aligned
 * @size: its length in bytes
 *
 * Return: 0, or -1 when it is no well-formed device tree of version 17, is
 * nested too deeply, or holds a property that is no terminated text.
 */
int board_tree_open(struct board_tree *tree, const void *blob, u32 size);

/* The root element. */
board_node board_tree_root(const struct board_tree *tree);

/* The first child element of a node, and the next sibling; 0 when there is none. */
board_node board_tree_first(const struct board_tree *tree, board_node node);
board_node board_tree_next(const struct board_tree *tree, board_node node);

/* The first child element of that name; 0 when there is none or @node is 0. */
board_node board_tree_child(const struct board_tree *tree, board_node node, const char *name);

/* Whether the element, which is not the root, has that name. */
int board_tree_is(const struct board_tree *tree, board_node node, const char *name);

/* An attribute, or null; an element's text, "" without one. */
const char *board_tree_attribute(const struct board_tree *tree, board_node node,
				 const char *name);
const char *board_tree_text(const struct board_tree *tree, board_node node);

/**
 * board_tree_number - the number of a C literal of at most 32 bits
 * Return: 0, or -1 for anything else (@value unchanged).
 */
int board_tree_number(const char *text, u32 *value);

PLATFORM_END

#endif
