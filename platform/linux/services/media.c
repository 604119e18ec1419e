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

const struct medium *find_medium(enum medium_kind kind, u32 inst, u32 chip)
{
	const struct medium *own = NULL;
	const struct medium *for_all = NULL;
	const struct medium *found;
	size_t i;

	for (i = 0; i < count; i++) {
		if (media[i].chip != chip || media[i].kind != kind)
			continue;
		if (!media[i].serves_one && !for_all)
			for_all = &media[i];
		if (media[i].serves_one && media[i].inst == inst && !own)
			own = &media[i];
	}
	/* Never another one because the instance's own cannot be found in this kernel. */
	found = own ? own : for_all;
	return found && found->name ? found : NULL;
}

/* Two instances may each have a chip of one number. */
static u32 free_number(enum medium_kind kind, u32 number)
{
	size_t i = 0;

	while (i < count) {
		if (media[i].kind == kind && media[i].number == number) {
			number++;
			i = 0;
		} else {
			i++;
		}
	}
	return number;
}

/* Whether the element is a chip, which is put into @medium. */
static bool read_medium(board_node node, struct medium *medium)
{
	const struct board_tree *tree = board_tree();
	const char *chip = board_tree_attribute(tree, node, "chip");
	const char *inst = board_tree_attribute(tree, node, "inst");
	size_t i;

	if (!chip || board_tree_number(chip, &medium->chip))
		return false;
	if (inst && board_tree_number(inst, &medium->inst))
		return false;
	medium->serves_one = inst;
	for (i = 0; i < ARRAY_SIZE(kinds); i++) {
		if (!board_tree_is(tree, node, kinds[i].element))
			continue;
		medium->kind = i;
		medium->number = free_number(i, medium->chip);
		medium->name = board_tree_attribute(tree, node, kinds[i].name);
		medium->size = board_number(node, "size", 0);
		return true;
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
