/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The codes of the reference platform services, which pass through the system
 * unchanged: X(name, value, sentence) for each.
 */
#ifndef PLATFORM_COMMON_SERVICE_STATUS_H
#define PLATFORM_COMMON_SERVICE_STATUS_H

#include "platform/types.h"

#define SERVICE_STATUS_LIST(X)                                                               \
	X(SERVICE_OK, 0x00000000u, "success")                                                \
	X(SERVICE_NO_CHIP, 0x82000001u, "the board has no medium of this chip number")       \
	X(SERVICE_OUT_OF_RANGE, 0x82000002u, "the access runs past the end of the medium")   \
	X(SERVICE_IO_ERROR, 0x82000003u, "the medium reported an input/output error")        \
	X(SERVICE_VERIFY_FAILED, 0x82000004u,                                                \
	  "what was written does not read back: a worn or write-protected medium")           \
	X(SERVICE_NULL_ARGUMENT, 0x82000005u, "a required argument is null")                 \
	X(SERVICE_NO_MEMORY, 0x82000006u, "the platform is out of memory")                   \
	X(SERVICE_WORN_OUT, 0x82000007u,                                                     \
	  "these bytes took no write 16 times in a row and are refused until the platform is loaded again") \
	X(SERVICE_NOT_NOR, 0x82000008u, "the partition is no NOR flash")                     \
	X(SERVICE_READ_ONLY, 0x82000009u, "the partition is read-only")                      \
	X(SERVICE_NO_ENV, 0x82000011u, "the board has no boot environment")                  \
	X(SERVICE_ENV_NO_VARIABLE, 0x82000012u, "the boot environment has no such variable") \
	X(SERVICE_ENV_DAMAGED, 0x82000013u,                                                  \
	  "no copy of the boot environment is valid; it is left as it is")                   \
	X(SERVICE_ENV_FULL, 0x82000014u, "the boot environment has no room for the variable") \
	X(SERVICE_ENV_TOO_LONG, 0x82000015u, "the variable's text is longer than asked for") \
	X(SERVICE_ENV_BAD_NAME, 0x82000016u, "the variable's name is empty or holds a '='")  \
	X(SERVICE_ENV_OVERLAP, 0x82000017u, "the two copies of the boot environment overlap") \
	X(SERVICE_XML_NO_NODE, 0x82000021u, "the XML tree has no such node, entry or key")   \
	X(SERVICE_XML_NOT_A_NUMBER, 0x82000022u, "the XML text is no number of 32 bits")     \
	X(SERVICE_XML_TOO_LONG, 0x82000023u, "the XML text does not fit its field")          \
	X(SERVICE_DRIVER_EXISTS, 0x82000031u, "a driver of this name is registered already") \
	X(SERVICE_DRIVER_GONE, 0x82000032u, "the driver is gone, or its module is on its way out") \
	X(SERVICE_BUSY, 0x82000041u, "the name is in use already")

#ifdef __cplusplus
#define SERVICE_STATUS_DEFINE(name, value, sentence) name = value,
enum service_status : u32 { SERVICE_STATUS_LIST(SERVICE_STATUS_DEFINE) };
#else
#define SERVICE_STATUS_DEFINE(name, value, sentence) name = (int)(value),
enum service_status { SERVICE_STATUS_LIST(SERVICE_STATUS_DEFINE) };
#endif
#undef SERVICE_STATUS_DEFINE

#endif
