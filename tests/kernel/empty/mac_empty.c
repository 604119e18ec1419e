// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* A misc device whose ioctl does nothing: what any command costs before it begins. */
#include <linux/device.h>
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

/* module_misc_device(), which 4.4 does not have yet. */
module_driver(empty_device, misc_register, misc_deregister);

MODULE_DESCRIPTION("A device that does nothing");
MODULE_LICENSE("GPL");
