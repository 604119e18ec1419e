/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The control device "mac_mng": its commands and their argument records.
 *
 * A command is ioctl(fd, NUMBER, &record). The numbers carry no direction or
 * size bits. All fields are in native byte order and the records are packed;
 * 32-bit callers use the same records. The result is 0 or a code of
 * mac_mng/mac_status.h as a signed 32-bit number; note that a C library turns
 * the results -1 and -14 into errno EPERM and EFAULT.
 */
#ifndef MAC_MNG_MAC_IOCTL_H
#define MAC_MNG_MAC_IOCTL_H

#include "mac_mng/mac_types.h"

#ifdef __cplusplus
#define MAC_IOCTL_ASSERT(condition) static_assert(condition, #condition)
#else
#define MAC_IOCTL_ASSERT(condition) _Static_assert(condition, #condition)
#endif
#define MAC_IOCTL_OFFSET(record, field) __builtin_offsetof(struct record, field)

#define MAC_IOCTL_DEVICE_NAME "mac_mng"

#define MAC_IOCTL_INIT 0x4d00u         /* mount an instance: mac_ioctl_instance */
#define MAC_IOCTL_DEINIT 0x4d01u       /* unmount an instance: mac_ioctl_instance */
#define MAC_IOCTL_SET_ADDR 0x4d02u     /* mac_ioctl_address */
#define MAC_IOCTL_GET_ADDR 0x4d03u     /* mac_ioctl_address, copied back */
#define MAC_IOCTL_SET_NUM 0x4d04u      /* mac_ioctl_count */
#define MAC_IOCTL_GET_NUM 0x4d05u      /* mac_ioctl_count, copied back */
#define MAC_IOCTL_SET_ADDR_NUM 0x4d06u /* mac_ioctl_address */
#define MAC_IOCTL_GET_ADDR_NUM 0x4d07u /* mac_ioctl_list, fills its buffer */
/* 0x4d08 and 0x4d09 are no commands. */
#define MAC_IOCTL_PATCH1 0x4d0au     /* mac_ioctl_buffer, fills its buffer */
#define MAC_IOCTL_PATCH2 0x4d0bu     /* mac_ioctl_buffer, fills its buffer */
#define MAC_IOCTL_SHOW_CFG 0x4d0cu   /* mac_ioctl_buffer, fills its buffer with text */
#define MAC_IOCTL_SHOW_TYPES 0x4d0du /* mac_ioctl_buffer, fills its buffer with text */

/* Limits of the requests. */
#define MAC_IOCTL_LIST_MAX 65534u       /* addresses of one list */
#define MAC_IOCTL_PATCH_LEN_MAX 1000u   /* bytes */
#define MAC_IOCTL_SHOW_LEN_MAX 10000000u /* bytes */

struct mac_ioctl_instance {
	uint32_t inst; /* instance id */
} __attribute__((packed));

struct mac_ioctl_address {
	uint32_t inst;       /* instance id */
	uint32_t num;        /* count; read by SET_ADDR_NUM only */
	uint8_t addr[6];     /* base address, transmission order */
	uint8_t reserved[2]; /* returned unchanged */
	uint32_t type;       /* MAC type */
} __attribute__((packed));

struct mac_ioctl_count {
	uint32_t inst; /* instance id */
	uint32_t num;  /* count */
	uint32_t type; /* MAC type */
} __attribute__((packed));

/* Note the order: here the type comes before the count. */
struct mac_ioctl_list {
	uint32_t inst; /* instance id */
	uint32_t type; /* MAC type */
	uint32_t num;  /* how many addresses are wanted */
	uint64_t buf;  /* address of the caller's buffer */
	uint32_t len;  /* its length in bytes; all of it is written */
} __attribute__((packed));

struct mac_ioctl_buffer {
	uint64_t buf; /* address of the caller's buffer */
	uint32_t len; /* its length in bytes */
} __attribute__((packed));

MAC_IOCTL_ASSERT(sizeof(struct mac_ioctl_instance) == 4);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_instance, inst) == 0);

MAC_IOCTL_ASSERT(sizeof(struct mac_ioctl_address) == 20);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_address, inst) == 0);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_address, num) == 4);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_address, addr) == 8);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_address, reserved) == 14);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_address, type) == 16);

MAC_IOCTL_ASSERT(sizeof(struct mac_ioctl_count) == 12);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_count, inst) == 0);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_count, num) == 4);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_count, type) == 8);

MAC_IOCTL_ASSERT(sizeof(struct mac_ioctl_list) == 24);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_list, inst) == 0);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_list, type) == 4);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_list, num) == 8);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_list, buf) == 12);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_list, len) == 20);

MAC_IOCTL_ASSERT(sizeof(struct mac_ioctl_buffer) == 12);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_buffer, buf) == 0);
MAC_IOCTL_ASSERT(MAC_IOCTL_OFFSET(mac_ioctl_buffer, len) == 8);

#endif
