/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The boot-environment service: named texts that the boot loader reads too.
 */
#ifndef PLATFORM_ENV_H
#define PLATFORM_ENV_H

#include "platform/types.h"

PLATFORM_BEGIN

/**
 * drv_env_get - read a variable
 * @name: name of the variable
 * @value: destination of the text
 * @size: room at @value in bytes, terminator included
 *
 * Context: may sleep; no spinlock held.
 * Return: 0 with the whole text in @value; else a code of the service (no such
 * variable, text longer than @size, no valid environment) and @value unchanged.
 */
u32 drv_env_get(const char *name, char *value, u32 size);

/**
 * drv_env_set - set a variable in the working copy
 * @name: name of the variable
 * @value: its new text
 *
 * Nothing is on the medium before drv_env_save().
 *
 * Context: may sleep; no spinlock held.
 * Return: 0, or a code of the service; the working copy is then unchanged.
 */
u32 drv_env_set(const char *name, const char *value);

/**
 * drv_env_save - make the working copy persistent
 *
 * Other variables keep their texts and their order. Afterwards there is no
 * working copy: the next call reads the medium again.
 *
 * Context: may sleep; no spinlock held.
 * Return: 0, also when there is nothing to save; else a code of the service, and
 * the changes since the last save are dropped.
 */
u32 drv_env_save(void);

PLATFORM_END

#endif
