/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/* The fixed-width integers of the public headers, in and outside a kernel. */
#ifndef MAC_MNG_MAC_TYPES_H
#define MAC_MNG_MAC_TYPES_H

#if defined(__KERNEL__) && !defined(__cplusplus)
#include <linux/types.h>
#else
#include <stdint.h>
#endif

#endif
