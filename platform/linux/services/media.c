// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The board's chips, read from its tree once: every access to a medium looks one up. */
#include <linux/slab.h>
#include <linux/string.h>

#include "services.h"

struct kind {
	const char *element;
	const char *name;
};

static const struct kind kinds[] = {
	[MEDIUM_FLASH] = { "flash", "mtd" },
	[MEDIUM_EEPROM] = { "eeprom", "nvmem" },
};

static struct medium *media;
static size_t count;

const struct medium *find_medium(enum medium_kind kind, u32 chip)
{
	size_t i;

	for (i = 0; i < count; i++) {
		if (media[i].chip == chip && media[i].kind == kind)
			return &media[i];
	}
	return NULL;
}

/* Whether the element is a chip, which is put into @medium. */
static bool read_medium(board_node node, struct medium *medium)
{
	const struct board_tree *tree = board_tree();
	const char *chip = board_tree_attribute(tree, node, "chip");
	size_t i;

	if (!chip || board_tree_number(chip, &medium->chip))
		return false;
	for (i = 0; i < ARRAY_SIZE(kinds); i++) {
		if (!board_tree_is(tree, node, kinds[i].element))
			continue;
		medium->kind = i;
		medium->name = board_tree_attribute(tree, node, kinds[i].name);
		medium->size = board_number(node, "size", 0);
		return medium->name;
	}
	return false;
}

int media_start(void)
{
	const struct board_tree *tree = board_tree();
	board_node platform = board_platform();
	board_node first = platform ? board_tree_first(tree, platform) : 0;
	board_node node;
	size_t elements = 0;

	for (node = first; node; node = board_tree_next(tree, node))
		elements++;
	media = kcalloc(elements, sizeof(*media), GFP_KERNEL);
	if (!media)
		return -ENOMEM;
	count = 0;
	for (node = first; node; node = board_tree_next(tree, node))
		count += read_medium(node, &media[count]);
	return 0;
}

void media_stop(void)
{
	count = 0;
	kfree(media);
	media = NULL;
}
