// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * The log service: a ring of lines per module number, readable in debugfs, and printk up
 * to a level. Lines of modules that never registered share the first ring. A text that
 * comes over and over is printed a few times; the rings have all of it.
 */
#include <linux/debugfs.h>
#include <linux/err.h>
#include <linux/jiffies.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/spinlock.h>
#include <linux/string.h>
#include <linux/vmalloc.h>

#include "platform/log.h"
#include "services.h"

static unsigned int log_level = PLATFORM_LOG_ERROR;
module_param(log_level, uint, 0644);
MODULE_PARM_DESC(log_level, "lines up to this level go to the kernel log: 0 none, 1 errors, 2 notices, 3 dumps");

static unsigned int ring_level = PLATFORM_LOG_NOTICE;
module_param(ring_level, uint, 0644);
MODULE_PARM_DESC(ring_level, "lines up to this level are kept in the rings");

#define RINGS 4
#define LINE_MAX_BYTES 256
#define UNREGISTERED_BYTES 1024

/* So many lines of one text are printed in such a time. */
#define PRINTED_MAX 10
#define PRINTED_TIME (5 * HZ)
#define TEXTS 64

/* Lines "LEVEL TEXT\n" in a circle of bytes; a line that does not fit pushes the
 * oldest lines out. */
struct ring {
	bool used;
	u32 module;
	char name[40];
	u32 capacity;
	u32 start;
	u32 length;
	char *bytes;
};

static struct ring rings[RINGS];
static DEFINE_SPINLOCK(rings_lock);
static struct dentry *folder; /* null where it cannot be made */

/* A class of lines: those of one format, which is compared and never read. */
struct text {
	const char *format;
	unsigned long since;
	u32 printed;
	u32 left_out;
};

static struct text texts[TEXTS];
static DEFINE_SPINLOCK(texts_lock);

static char ring_at(const struct ring *ring, u32 index)
{
	return ring->bytes[(ring->start + index) % ring->capacity];
}

static void drop_oldest(struct ring *ring)
{
	u32 count = 0;

	while (count < ring->length && ring_at(ring, count) != '\n')
		count++;
	count = min(count + 1, ring->length);
	ring->start = (ring->start + count) % ring->capacity;
	ring->length -= count;
}

static void append(struct ring *ring, const char *line, u32 length)
{
	u32 i;

	if (length > ring->capacity)
		return;
	while (ring->capacity - ring->length < length)
		drop_oldest(ring);
	for (i = 0; i < length; i++)
		ring->bytes[(ring->start + ring->length + i) % ring->capacity] = line[i];
	ring->length += length;
}

/* The caller holds rings_lock. */
static struct ring *find_ring(u32 module)
{
	size_t i;

	for (i = 0; i < RINGS; i++) {
		if (rings[i].used && rings[i].module == module)
			return &rings[i];
	}
	return NULL;
}

static int show_ring(struct seq_file *file, void *unused)
{
	struct ring *ring = file->private;
	char *copy = vmalloc(ring->capacity);
	unsigned long flags;
	u32 length;
	u32 i;

	if (!copy)
		return -ENOMEM;
	spin_lock_irqsave(&rings_lock, flags);
	length = ring->length;
	for (i = 0; i < length; i++)
		copy[i] = ring_at(ring, i);
	spin_unlock_irqrestore(&rings_lock, flags);
	seq_write(file, copy, length);
	vfree(copy);
	return 0;
}

static int open_ring(struct inode *inode, struct file *file)
{
	return single_open(file, show_ring, inode->i_private);
}

static const struct file_operations ring_operations = {
	.owner = THIS_MODULE,
	.open = open_ring,
	.read = seq_read,
	.llseek = seq_lseek,
	.release = single_release,
};

static int add_ring(u32 module, const char *name, u32 capacity)
{
	char *bytes = vzalloc(capacity);
	struct ring *ring = NULL;
	unsigned long flags;
	size_t i;

	if (!bytes)
		return -ENOMEM;
	spin_lock_irqsave(&rings_lock, flags);
	for (i = 0; i < RINGS && !ring; i++) {
		if (!rings[i].used)
			ring = &rings[i];
	}
	if (ring) {
		ring->module = module;
		ring->capacity = capacity;
		ring->bytes = bytes;
		strscpy(ring->name, name, sizeof(ring->name));
		ring->used = true;
	}
	spin_unlock_irqrestore(&rings_lock, flags);
	if (!ring) {
		vfree(bytes);
		return -ENOSPC;
	}
	services_file(ring->name, ring, &ring_operations);
	return 0;
}

static bool has_ring(u32 module)
{
	unsigned long flags;
	bool found;

	spin_lock_irqsave(&rings_lock, flags);
	found = find_ring(module) != NULL;
	spin_unlock_irqrestore(&rings_lock, flags);
	return found;
}

u32 drv_log_register(u32 module, const char *name, u32 bytes)
{
	/* A module that is loaded again finds its ring. */
	if (has_ring(module))
		return SERVICE_OK;
	if (!bytes)
		return SERVICE_NULL_ARGUMENT;
	return add_ring(module, name, bytes) ? SERVICE_NO_MEMORY : SERVICE_OK;
}
EXPORT_SYMBOL(drv_log_register);

/* The class of a format; of more formats than there is room for, the one that began first
 * gives way. The caller holds texts_lock. */
static struct text *text_of(const char *format)
{
	struct text *oldest = &texts[0];
	size_t i;

	for (i = 0; i < TEXTS; i++) {
		if (texts[i].format == format)
			return &texts[i];
		if (time_before(texts[i].since, oldest->since) || !texts[i].format)
			oldest = &texts[i];
		if (!texts[i].format)
			break;
	}
	oldest->format = format;
	oldest->since = jiffies;
	oldest->printed = 0;
	return oldest;
}

/* Whether a line of this format is printed; if so, how many were not before it. */
static bool may_print(const char *format, u32 *left_out)
{
	struct text *text;
	unsigned long flags;
	bool may;

	spin_lock_irqsave(&texts_lock, flags);
	text = text_of(format);
	if (time_after_eq(jiffies, text->since + PRINTED_TIME)) {
		text->since = jiffies;
		text->printed = 0;
	}
	may = text->printed < PRINTED_MAX;
	*left_out = may ? text->left_out : 0;
	if (may) {
		text->printed++;
		text->left_out = 0;
	} else {
		text->left_out++;
	}
	spin_unlock_irqrestore(&texts_lock, flags);
	return may;
}

static void say_left_out(u32 count)
{
	if (count)
		pr_info("mac_mng: %u lines were left out; the rings in debugfs had them\n", count);
}

static void print_line(u32 level, const char *format, const char *line)
{
	u32 left_out;

	if (!may_print(format, &left_out))
		return;
	say_left_out(left_out);
	printk(level == PLATFORM_LOG_ERROR ? KERN_ERR "mac_mng: %s\n" :
					     KERN_INFO "mac_mng: %s\n", line);
}

/* The first ring has what comes of modules without one. */
static void keep_line(u32 module, const char *line, u32 length)
{
	struct ring *ring;
	unsigned long flags;

	spin_lock_irqsave(&rings_lock, flags);
	ring = find_ring(module);
	append(ring ? ring : &rings[0], line, length);
	spin_unlock_irqrestore(&rings_lock, flags);
}

/* Apart from the filter: kernels clear the line on entry. */
static noinline void record(u32 module, u32 level, const char *format, va_list arguments)
{
	char line[LINE_MAX_BYTES];
	int length;

	length = scnprintf(line, sizeof(line), "%u ", level);
	if (!has_ring(module))
		length += scnprintf(line + length, sizeof(line) - length, "module %u: ", module);
	length += vscnprintf(line + length, sizeof(line) - length - 1, format, arguments);
	if (level <= READ_ONCE(log_level))
		print_line(level, format, line + 2);
	line[length++] = '\n';
	if (level <= READ_ONCE(ring_level))
		keep_line(module, line, length);
}

void drv_log_record(u32 module, u32 level, u32 reserved, const char *format, ...)
{
	va_list arguments;

	if (level > READ_ONCE(log_level) && level > READ_ONCE(ring_level))
		return;
	va_start(arguments, format);
	record(module, level, format, arguments);
	va_end(arguments);
}
EXPORT_SYMBOL(drv_log_record);

void log_stop(void)
{
	u32 left_out = 0;
	size_t i;

	debugfs_remove_recursive(folder);
	folder = NULL;
	for (i = 0; i < RINGS; i++) {
		vfree(rings[i].bytes);
		memset(&rings[i], 0, sizeof(rings[i]));
	}
	for (i = 0; i < TEXTS; i++)
		left_out += texts[i].left_out;
	say_left_out(left_out);
}

void services_file(const char *name, void *data, const struct file_operations *operations)
{
	/* Without a folder the file would stand among everybody's, and stay there. */
	if (folder)
		debugfs_create_file(name, 0400, folder, data, operations);
}

int log_start(void)
{
	int result;

	folder = debugfs_create_dir("mac_platform", NULL);
	if (IS_ERR_OR_NULL(folder))
		folder = NULL;
	/* The first: module number 0 has lines before anybody registers. */
	result = add_ring(0, "platform", UNREGISTERED_BYTES);
	if (result)
		log_stop();
	return result;
}
