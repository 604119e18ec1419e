// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* mac_platform.ko: the reference services of mac_mng on stock Linux. */
#include <linux/err.h>
#include <linux/firmware.h>
#include <linux/module.h>

#include "platform/algorithm.h"
#include "platform/bounded.h"
#include "platform/common/c_api.h"
#include "services.h"

static char *board_name = "mac_mng/board.dtb";
module_param_named(board, board_name, charp, 0444);
MODULE_PARM_DESC(board, "compiled board file, under the firmware path");

static struct device *root;
static const struct firmware *firmware;
static struct board_tree tree;
static board_node platform_node;

struct device *services_device(void)
{
	return root;
}

const struct board_tree *board_tree(void)
{
	return &tree;
}

board_node board_platform(void)
{
	return platform_node;
}

u32 board_number(board_node node, const char *attribute, u32 otherwise)
{
	const char *text = board_tree_attribute(&tree, node, attribute);
	u32 value;

	return text && board_tree_number(text, &value) == 0 ? value : otherwise;
}

int board_load(struct device *device)
{
	const char *crc16 = NULL;
	int result = request_firmware(&firmware, board_name, device);

	if (result) {
		dev_err(device, "the board %s cannot be loaded: %d\n", board_name, result);
		return result;
	}
	if (board_tree_open(&tree, firmware->data, firmware->size) != 0) {
		dev_err(device, "the board %s is no compiled board file\n", board_name);
		board_unload();
		return -EINVAL;
	}
	platform_node = board_tree_child(&tree, board_tree_root(&tree), "platform");
	if (platform_node)
		crc16 = board_tree_attribute(&tree, platform_node, "crc16");
	if (common_crc16_select(crc16 ? crc16 : "ibm-3740") != 0) {
		dev_err(device, "the board %s names an unknown CRC-16 \"%s\"\n", board_name, crc16);
		board_unload();
		return -EINVAL;
	}
	return 0;
}

void board_unload(void)
{
	platform_node = 0;
	release_firmware(firmware);
	firmware = NULL;
}

void drv_crc16_checksum(const u8 *data, u32 len, u16 *result)
{
	*result = common_crc16(data, len);
}
EXPORT_SYMBOL(drv_crc16_checksum);

void str_2uchar(char digit, u8 *value)
{
	int number = hex_to_bin(digit);

	if (number >= 0)
		*value = number;
}
EXPORT_SYMBOL(str_2uchar);

int memset_s(void *dest, size_t capacity, int value, size_t count)
{
	return common_fill(dest, capacity, value, count);
}
EXPORT_SYMBOL(memset_s);

int memcpy_s(void *dest, size_t capacity, const void *source, size_t count)
{
	return common_copy(dest, capacity, source, count);
}
EXPORT_SYMBOL(memcpy_s);

int strncpy_s(char *dest, size_t capacity, const char *source, size_t count)
{
	return common_text_copy(dest, capacity, source, count);
}
EXPORT_SYMBOL(strncpy_s);

int sprintf_s(char *dest, size_t capacity, const char *format, ...)
{
	va_list arguments;
	int length;

	va_start(arguments, format);
	length = common_print(dest, capacity, format, arguments);
	va_end(arguments);
	return length;
}
EXPORT_SYMBOL(sprintf_s);

int snprintf_truncated_s(char *dest, size_t room, const char *format, ...)
{
	va_list arguments;
	int length;

	va_start(arguments, format);
	length = common_print_truncated(dest, room, format, arguments);
	va_end(arguments);
	return length;
}
EXPORT_SYMBOL(snprintf_truncated_s);

/* A module that goes away takes its drivers and objects with it. Before 5.10 the kernel does
 * not ask whether it may come. */
static int module_changed(struct notifier_block *block, unsigned long state, void *data)
{
	if (state == MODULE_STATE_COMING)
		return notifier_from_errno(driver_module_comes(data));
	if (state == MODULE_STATE_GOING) {
		driver_module_goes(data);
		diag_forget(data);
	}
	return NOTIFY_OK;
}

static struct notifier_block module_notifier = { .notifier_call = module_changed };

static int __init services_load(void)
{
	int result;

	root = root_device_register("mac_platform");
	if (IS_ERR(root))
		return PTR_ERR(root);
	result = board_load(root);
	if (result)
		goto no_board;
	result = media_start();
	if (result)
		goto no_media;
	result = log_start();
	if (result)
		goto no_log;
	flash_start();
	eeprom_start();
	diag_start(&root->kobj);
	result = register_module_notifier(&module_notifier);
	if (result)
		goto no_notifier;
	return 0;

no_notifier:
	diag_stop();
	log_stop();
no_log:
	media_stop();
no_media:
	board_unload();
no_board:
	root_device_unregister(root);
	return result;
}

static void __exit services_unload(void)
{
	unregister_module_notifier(&module_notifier);
	driver_stop();
	diag_stop();
	env_stop();
	xml_stop();
	log_stop();
	media_stop();
	board_unload();
	root_device_unregister(root);
}

module_init(services_load);
module_exit(services_unload);

MODULE_DESCRIPTION("Reference platform services of mac_mng");
MODULE_LICENSE("Dual BSD/GPL");
MODULE_FIRMWARE("mac_mng/board.dtb");
