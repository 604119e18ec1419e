/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The status codes of mac_mng: name, value and one plain sentence each.
 *
 * MAC_STATUS_LIST(X) expands X(name, value, sentence) for every code, so that
 * tools print from the same list as the module returns.
 */
#ifndef MAC_MNG_MAC_STATUS_H
#define MAC_MNG_MAC_STATUS_H

#include "mac_mng/mac_types.h"

#define MAC_STATUS_LIST(X)                                                                         \
	X(MAC_OK, 0x00000000u, "success")                                                          \
	X(MAC_FAIL, 0xffffffffu, "the operation failed")                                           \
	X(MAC_FAULT, 0xfffffff2u,                                                                  \
	  "the data is missing, a copy was refused, or a size or mount request does not fit")      \
	X(MAC_UNKNOWN_COMMAND, 0x81160001u, "the control device has no command of this number")    \
	X(MAC_DEVICE_REGISTER_FAILED, 0x81160002u, "the control device could not be registered")   \
	X(MAC_FORMAT_FAILED, 0x81160003u, "a text could not be formatted")                         \
	X(MAC_XML_NODE_MISSING, 0x81160005u, "the XML configuration lacks the node")               \
	X(MAC_NO_FLASH_DEFAULT, 0x81160008u, "the MAC type has no built-in flash position")        \
	X(MAC_EEPROM_PARTITION_INVALID, 0x81160009u, "the EEPROM partition type is above 3")       \
	X(MAC_NO_EEPROM_DEFAULT, 0x8116000au,                                                      \
	  "the MAC type has no built-in EEPROM position for this partition type")                  \
	X(MAC_MTD_MISSING, 0x8116000bu, "the flash partition does not exist")                      \
	X(MAC_NULL_POINTER, 0x811601a1u, "a required pointer of a format operation is null")       \
	X(MAC_INVALID_ARGUMENT, 0x811601a2u,                                                       \
	  "an argument is invalid, or a record buffer is too short")                               \
	X(MAC_NOT_SUPPORTED, 0x811601a4u,                                                          \
	  "the instance or MAC type is not mounted, not configured or has no driver")              \
	X(MAC_OPERATION_MISSING, 0x811601a5u, "the bound driver lacks the operation")              \
	X(MAC_CHECK_MISMATCH, 0x811601a7u, "the record's check value does not match its contents") \
	X(MAC_INVALID_VALUE, 0x811601abu,                                                          \
	  "the address is all zeros or all ones, or the count is above 65534")                     \
	X(MAC_RECORD_SHORT, 0x811601adu, "the record is longer than its buffer")                   \
	X(MAC_WRONG_TAG, 0x811601aeu, "the record does not carry the format's tag")                \
	X(MAC_LENGTH_FIELD_SMALL, 0x811601b3u, "the record's length field is too small")           \
	X(MAC_COPY_FAILED, 0x811604a2u, "a copy failed")                                           \
	X(MAC_NO_MEMORY, 0x811604aau, "out of memory")                                             \
	X(MAC_COPY_FROM_USER_FAILED, 0x811604b7u, "the caller's record could not be read")         \
	X(MAC_COPY_TO_USER_FAILED, 0x811604b8u, "the result could not be written to the caller")

#ifdef __cplusplus
#define MAC_STATUS_DEFINE(name, value, sentence) name = value,
enum mac_status : uint32_t { MAC_STATUS_LIST(MAC_STATUS_DEFINE) };
#else
#define MAC_STATUS_DEFINE(name, value, sentence) name = (int)(value),
enum mac_status { MAC_STATUS_LIST(MAC_STATUS_DEFINE) };
#endif
#undef MAC_STATUS_DEFINE

#endif
