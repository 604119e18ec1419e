/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * mac_mng: the functions that other kernel modules call.
 *
 * A block of MAC addresses is kept for an instance id and a MAC type (0 to 5
 * and 64 to 79): a base address of 6 bytes in transmission order and a count.
 * Every function reads both stored copies of the block, repairs the bad one
 * where it can, and answers from what is stored at that moment; only
 * drv_mac_set_addr_num() writes without reading first.
 *
 * Context of all functions: may sleep (media are slow), no spinlock held. They take no
 * lock and do not wait for one another. Any of them may run while this or another
 * instance is unmounted, by drv_mac_deinit() or over the control device: what a call
 * uses is freed when it has returned, and not before. More is not promised. Callers
 * that share a block serialise among themselves, programs that use the control device
 * included, for two calls on one block may mix: one can read, and then store, what the
 * other has written in part, the address of the one with the count of the other. A call
 * that meets an unmounting ends where it is, a set perhaps with one copy written and
 * MAC_NOT_SUPPORTED, MAC_FAULT or MAC_FAIL as its result; one that meets an unmounting
 * and a new mounting may take the block for empty, and then returns a zero address or
 * the configured count, and a set or a repair may store them. And two callers that
 * mount, or unmount, one and the same instance at the same time corrupt it: nothing
 * but the control device's own commands is kept apart.
 *
 * Results are the 32-bit codes of mac_mng/mac_status.h, and codes of the platform's
 * services for writes that they refuse: unchanged from flash and EEPROM; from the
 * environment that of setting a variable OR that of saving it, which may be a number
 * that is neither. A read that a service refuses is a copy that cannot be used; its
 * code is in the log only.
 */
#ifndef MAC_MNG_MAC_MNG_H
#define MAC_MNG_MAC_MNG_H

#include "mac_mng/mac_status.h"
#include "mac_mng/mac_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The instance that the module mounts when it is loaded. */
#define MAC_DEFAULT_INSTANCE 0xffffffffu

/* The largest count of a block. */
#define MAC_COUNT_MAX 0xfffeu

/* Length of a MAC address in bytes. */
#define MAC_ADDR_LEN 6u

/**
 * drv_mac_init - mount an instance: load its configuration, make its blocks usable
 * @inst: instance id
 *
 * Return: MAC_OK; MAC_FAULT when the instance is mounted already, or its name or
 * configuration record cannot be made.
 */
uint32_t drv_mac_init(uint32_t inst);

/**
 * drv_mac_deinit - unmount an instance
 * @inst: instance id
 *
 * Return: MAC_OK, whether or not it was mounted.
 */
uint32_t drv_mac_deinit(uint32_t inst);

/**
 * drv_mac_set_addr - change the base address of a block, keep its count
 * @inst: instance id
 * @type: MAC type
 * @addr: 6 bytes; not null (not checked)
 *
 * Return: MAC_OK when both copies are stored; MAC_INVALID_VALUE for all zeros or
 * all ones; MAC_FAULT when the block has no main area; else the code of the
 * format or medium that refused.
 */
uint32_t drv_mac_set_addr(uint32_t inst, uint32_t type, const uint8_t *addr);

/**
 * drv_mac_get_addr - read the base address of a block
 * @inst: instance id
 * @type: MAC type
 * @buf: receives 6 bytes
 * @len: room at @buf in bytes; only 6 can succeed
 *
 * Return: MAC_OK; MAC_INVALID_ARGUMENT when @buf is null; MAC_NOT_SUPPORTED when
 * the block is not mounted or not configured; MAC_INVALID_VALUE when the stored
 * address is all zeros or all ones (it is in @buf all the same);
 * MAC_CHECK_MISMATCH when both copies fail their check; MAC_FAIL when both
 * copies are unusable or @len is above 6; MAC_FAULT when @len is below 6 or there
 * is no main area; else a write's code when a repair failed.
 */
uint32_t drv_mac_get_addr(uint32_t inst, uint32_t type, uint8_t *buf, uint32_t len);

/**
 * drv_mac_set_addr_num - store base address and count of a block
 * @inst: instance id
 * @type: MAC type
 * @num: count, 0 to 65534
 * @addr: 6 bytes
 *
 * Writes the main copy first and reads neither before. Where the spare may be
 * damaged, call drv_mac_get_num() first, which mends it: a power cut in the main
 * copy must find a good spare.
 *
 * Return: MAC_OK; MAC_INVALID_ARGUMENT when @addr is null; MAC_INVALID_VALUE for
 * an address of all zeros or all ones or a count above 65534; MAC_FAIL when the
 * block has no main area; else the code of the format or medium that refused.
 */
uint32_t drv_mac_set_addr_num(uint32_t inst, uint32_t type, uint32_t num, const uint8_t *addr);

/**
 * drv_mac_get_addr_num - list the first addresses of a block
 * @inst: instance id
 * @type: MAC type
 * @num: how many are wanted; 0 writes nothing
 * @buf: receives 6 bytes per address, ascending from the base address
 * @len: room at @buf in bytes
 *
 * Return: MAC_OK; MAC_INVALID_ARGUMENT when @buf is null; MAC_FAULT when the block
 * holds fewer than @num addresses, @len is below 6 times @num or there is no main
 * area; MAC_NOT_SUPPORTED, MAC_CHECK_MISMATCH, MAC_FAIL and a write's code as
 * drv_mac_get_addr().
 */
uint32_t drv_mac_get_addr_num(uint32_t inst, uint32_t type, uint32_t num, uint8_t *buf,
			      uint32_t len);

/**
 * drv_mac_set_num - change the count of a block, keep its base address
 * @inst: instance id
 * @type: MAC type
 * @num: count, 0 to 65534
 *
 * Return: as drv_mac_set_addr(); MAC_INVALID_VALUE for a count above 65534.
 */
uint32_t drv_mac_set_num(uint32_t inst, uint32_t type, uint32_t num);

/**
 * drv_mac_get_num - read the count of a block
 * @inst: instance id
 * @type: MAC type
 * @num: receives the count
 *
 * Return: MAC_OK; MAC_INVALID_ARGUMENT when @num is null; MAC_INVALID_VALUE when
 * the stored count is above 65534 (it is in @num all the same); else as
 * drv_mac_get_addr().
 */
uint32_t drv_mac_get_num(uint32_t inst, uint32_t type, uint32_t *num);

/**
 * drv_mac_patch_func1, drv_mac_patch_func2 - extension hooks; they do nothing yet
 * @buf: buffer, not null; left as it is
 * @len: its length in bytes, not 0
 *
 * Return: MAC_OK; MAC_INVALID_ARGUMENT when @buf is null or @len is 0.
 */
uint32_t drv_mac_patch_func1(uint8_t *buf, uint32_t len);
uint32_t drv_mac_patch_func2(uint8_t *buf, uint32_t len);

#ifdef __cplusplus
}
#endif

#endif
