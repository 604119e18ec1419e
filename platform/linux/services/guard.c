// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Ranges that take no more writes: said once, and shown in debugfs, one a line. */
#include <linux/seq_file.h>

#include "services.h"

bool guard_refuses(const struct write_guard *guard, u32 medium, u32 offset, u32 len)
{
	return write_guard_refuses(guard, medium, offset, len) != 0;
}

void guard_note(struct write_guard *guard, const char *kind, u32 medium, u32 offset, u32 len,
		u32 result)
{
	if (result != SERVICE_OK && result != SERVICE_VERIFY_FAILED)
		return;
	if (write_guard_note(guard, medium, offset, len, result == SERVICE_OK))
		dev_err(services_device(),
			"%s %u: bytes 0x%x to 0x%llx did not take %u writes in a row; they are refused until mac_platform is loaded again\n",
			kind, medium, offset, (u64)offset + len - 1, WRITE_GUARD_LIMIT);
}

static int show_guard(struct seq_file *file, void *unused)
{
	const struct write_guard *guard = file->private;
	size_t i;

	for (i = 0; i < WRITE_GUARD_RANGES; i++) {
		const struct write_guard_range *range = &guard->ranges[i];

		if (range->failures)
			seq_printf(file, "%u 0x%x %u %u%s\n", range->medium, range->offset,
				   range->length, range->failures,
				   range->failures >= WRITE_GUARD_LIMIT ? " refused" : "");
	}
	return 0;
}

static int open_guard(struct inode *inode, struct file *file)
{
	return single_open(file, show_guard, inode->i_private);
}

static const struct file_operations guard_operations = {
	.owner = THIS_MODULE,
	.open = open_guard,
	.read = seq_read,
	.llseek = seq_lseek,
	.release = single_release,
};

void guard_start(const char *kind, struct write_guard *guard)
{
	char name[32];

	scnprintf(name, sizeof(name), "failing_%s_writes", kind);
	services_file(name, guard, &guard_operations);
}
