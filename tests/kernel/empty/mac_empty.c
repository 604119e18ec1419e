// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* A misc device whose ioctl does nothing: what any command costs before it begins. */
#include <linux/fs.h>
#include <linux/miscdevice.h>
#include <linux/module.h>

static long empty_ioctl(struct file *file, unsigned int number, unsigned long argument)
{
	return 0;
}

static const struct file_operations empty_operations = {
	.owner = THIS_MODULE,
	.unlocked_ioctl = empty_ioctl,
	.compat_ioctl = empty_ioctl,
};

static struct miscdevice empty_device = {
	.minor = MISC_DYNAMIC_MINOR,
	.name = "mac_empty",
	.fops = &empty_operations,
};

module_misc_device(empty_device);

MODULE_DESCRIPTION("A device that does nothing");
MODULE_LICENSE("GPL");
