/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * What the links of a record hold that was taken off its list.
 */
#ifndef PLATFORM_POISON_H
#define PLATFORM_POISON_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * platform_list_poison - the links of an unlinked record
 *
 * The kernel's own values, which its oops reports and list checks know; they differ
 * between kernels. Nothing is mapped there.
 *
 * Context: any. Return: the same two different values always, neither null.
 */
struct mac_link platform_list_poison(void);

PLATFORM_END

#endif
