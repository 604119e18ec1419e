/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * Flash partitions by name.
 */
#ifndef PLATFORM_MTD_H
#define PLATFORM_MTD_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * platform_mtd_size - the size of a flash partition
 * @name: name of the partition
 * @bytes: receives the size in bytes
 *
 * Context: may sleep.
 * Return: 0, or non-zero when there is no such partition.
 */
int platform_mtd_size(const char *name, u64 *bytes);

PLATFORM_END

#endif
