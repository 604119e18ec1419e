/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The XML service: the configuration tree of each instance.
 *
 * A value is addressed by the instance, a top node, a node below it, an entry
 * element of that node and a key (a child element of the entry), or by an
 * attribute of an element handle. Numbers are C literals of at most 32 bits.
 * All calls may sleep. All return 0 on success, else a code of the service with
 * the outputs unchanged. A text that does not fit its buffer is refused, not
 * cut.
 */
#ifndef PLATFORM_XML_H
#define PLATFORM_XML_H

#include "platform/types.h"

PLATFORM_BEGIN

/* One entry element; the chain belongs to the service. */
struct xml_entry {
	struct xml_entry *next; /* null at the end */
	const void *element;    /* handle for the attribute calls */
};

/**
 * xml_get_entry_list - the child elements of a node, in document order
 * @list: receives the first entry of the chain
 * @count: receives the number of entries
 */
u32 xml_get_entry_list(u32 inst, const char *top, const char *node,
		       struct xml_entry **list, u32 *count);

/**
 * xml_get_entry_num - the number of child elements of a node
 * @count: receives the number
 */
u32 xml_get_entry_num(u32 inst, const char *top, const char *node, u32 *count);

/**
 * xml_get_attr_value_u32 - a numeric attribute of an element
 * @element: handle of xml_get_entry_list()
 */
u32 xml_get_attr_value_u32(const void *element, const char *attribute, u32 *value);

/**
 * xml_get_attr_string - a text attribute of an element
 * @capacity: room at @buffer in bytes, terminator included
 */
u32 xml_get_attr_string(const void *element, const char *attribute, char *buffer,
			u32 capacity);

/**
 * xml_get_element_value_u32 - the numeric text of an entry's child element
 */
u32 xml_get_element_value_u32(u32 inst, const char *top, const char *node,
			      const char *entry, const char *key, u32 *value);

/**
 * xml_get_element_string - the text of an entry's child element
 * @capacity: room at @buffer in bytes, terminator included
 */
u32 xml_get_element_string(u32 inst, const char *top, const char *node,
			   const char *entry, const char *key, char *buffer,
			   u32 capacity);

/**
 * xml_is_node_exist - whether a node stands under a top node
 * @exists: receives 1 or 0
 */
u32 xml_is_node_exist(u32 inst, const char *top, const char *node, u32 *exists);

PLATFORM_END

#endif
