// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* A module without a fault, whose other half has one: what the gate has to find. */
#include <linux/module.h>

int gate_part(int value);

int mac_gate_value(int value)
{
	return gate_part(value) + 1;
}
EXPORT_SYMBOL(mac_gate_value);

MODULE_DESCRIPTION("What the gate of module builds has to find");
MODULE_LICENSE("GPL");
