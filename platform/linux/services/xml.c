// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The XML service over the compiled board. */
#include <linux/list.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <linux/string.h>

#include "platform/xml.h"
#include "services.h"

#define DEFAULT_INSTANCE 0xffffffffu

/* The entry chain of a node, made on first use and kept until unloading. */
struct chain {
	struct list_head list;
	board_node node;
	u32 count;
	struct xml_entry entries[];
};

static LIST_HEAD(chains);
static DEFINE_MUTEX(chains_mutex);

/* The element below which an instance's tree stands; 0 when it has none. */
static board_node instance_root(u32 inst)
{
	const struct board_tree *tree = board_tree();
	board_node root = board_tree_root(tree);
	board_node node;

	if (inst == DEFAULT_INSTANCE)
		return root;
	for (node = board_tree_first(tree, root); node; node = board_tree_next(tree, node)) {
		const char *id = board_tree_attribute(tree, node, "id");
		u32 number;

		if (board_tree_is(tree, node, "instance") && id &&
		    board_tree_number(id, &number) == 0 && number == inst)
			return node;
	}
	return 0;
}

static board_node find_node(u32 inst, const char *top, const char *node)
{
	const struct board_tree *tree = board_tree();

	return board_tree_child(tree, board_tree_child(tree, instance_root(inst), top), node);
}

static u32 count_children(board_node node)
{
	const struct board_tree *tree = board_tree();
	board_node child = board_tree_first(tree, node);
	u32 count = 0;

	for (; child; child = board_tree_next(tree, child))
		count++;
	return count;
}

static const void *handle_of(board_node node)
{
	return (const void *)(unsigned long)node;
}

static board_node node_of(const void *element)
{
	return (board_node)(unsigned long)element;
}

static struct chain *make_chain(board_node node)
{
	const struct board_tree *tree = board_tree();
	u32 count = count_children(node);
	struct chain *chain = kzalloc(sizeof(*chain) + count * sizeof(chain->entries[0]),
				      GFP_KERNEL);
	board_node child = board_tree_first(tree, node);
	u32 i;

	if (!chain)
		return NULL;
	chain->node = node;
	chain->count = count;
	for (i = 0; i < count; i++, child = board_tree_next(tree, child)) {
		chain->entries[i].element = handle_of(child);
		chain->entries[i].next = i + 1 < count ? &chain->entries[i + 1] : NULL;
	}
	list_add_tail(&chain->list, &chains);
	return chain;
}

static struct chain *chain_of(board_node node)
{
	struct chain *chain;

	list_for_each_entry(chain, &chains, list) {
		if (chain->node == node)
			return chain;
	}
	return make_chain(node);
}

u32 xml_get_entry_list(u32 inst, const char *top, const char *node, struct xml_entry **list,
		       u32 *count)
{
	board_node found = find_node(inst, top, node);
	struct chain *chain;

	if (!found)
		return SERVICE_XML_NO_NODE;
	mutex_lock(&chains_mutex);
	chain = chain_of(found);
	mutex_unlock(&chains_mutex);
	if (!chain)
		return SERVICE_NO_MEMORY;
	*list = chain->count ? chain->entries : NULL;
	*count = chain->count;
	return SERVICE_OK;
}
EXPORT_SYMBOL(xml_get_entry_list);

u32 xml_get_entry_num(u32 inst, const char *top, const char *node, u32 *count)
{
	board_node found = find_node(inst, top, node);

	if (!found)
		return SERVICE_XML_NO_NODE;
	*count = count_children(found);
	return SERVICE_OK;
}
EXPORT_SYMBOL(xml_get_entry_num);

static u32 to_number(const char *text, u32 *value)
{
	if (!text)
		return SERVICE_XML_NO_NODE;
	return board_tree_number(text, value) == 0 ? SERVICE_OK : SERVICE_XML_NOT_A_NUMBER;
}

static u32 to_text(const char *text, char *buffer, u32 capacity)
{
	size_t length;

	if (!text)
		return SERVICE_XML_NO_NODE;
	length = strlen(text);
	if (length >= capacity)
		return SERVICE_XML_TOO_LONG;
	memcpy(buffer, text, length + 1);
	return SERVICE_OK;
}

u32 xml_get_attr_value_u32(const void *element, const char *attribute, u32 *value)
{
	return to_number(board_tree_attribute(board_tree(), node_of(element), attribute), value);
}
EXPORT_SYMBOL(xml_get_attr_value_u32);

u32 xml_get_attr_string(const void *element, const char *attribute, char *buffer, u32 capacity)
{
	return to_text(board_tree_attribute(board_tree(), node_of(element), attribute), buffer,
		       capacity);
}
EXPORT_SYMBOL(xml_get_attr_string);

/* The text of an entry's child element, or null. */
static const char *element_text(u32 inst, const char *top, const char *node, const char *entry,
				const char *key)
{
	const struct board_tree *tree = board_tree();
	board_node found = board_tree_child(tree, find_node(inst, top, node), entry);

	found = board_tree_child(tree, found, key);
	return found ? board_tree_text(tree, found) : NULL;
}

u32 xml_get_element_value_u32(u32 inst, const char *top, const char *node, const char *entry,
			      const char *key, u32 *value)
{
	return to_number(element_text(inst, top, node, entry, key), value);
}
EXPORT_SYMBOL(xml_get_element_value_u32);

u32 xml_get_element_string(u32 inst, const char *top, const char *node, const char *entry,
			   const char *key, char *buffer, u32 capacity)
{
	return to_text(element_text(inst, top, node, entry, key), buffer, capacity);
}
EXPORT_SYMBOL(xml_get_element_string);

u32 xml_is_node_exist(u32 inst, const char *top, const char *node, u32 *exists)
{
	*exists = find_node(inst, top, node) ? 1 : 0;
	return SERVICE_OK;
}
EXPORT_SYMBOL(xml_is_node_exist);

void xml_stop(void)
{
	struct chain *chain;
	struct chain *next;

	list_for_each_entry_safe(chain, next, &chains, list) {
		list_del(&chain->list);
		kfree(chain);
	}
}
