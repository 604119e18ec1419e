// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * A board for the kernel tests: an MTD device with NOR rules that holds the
 * partitions "manuinfo", "u-boot-env" and "manuread" (read-only), a NAND device
 * "manunand", and an I2C adapter with four 24Cxx chips. The real MTD core, at24 and
 * nvmem sit on top.
 *
 * Faults are switched on in debugfs, folder mac_test_board: each file holds the
 * number of the next operation of its kind that the fault hits, 0 for none; "delay" is
 * how many milliseconds each takes.
 */
#include <linux/debugfs.h>
#include <linux/delay.h>
#include <linux/i2c.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/property.h>
#include <linux/version.h>
#include <linux/vmalloc.h>
#if LINUX_VERSION_CODE < KERNEL_VERSION(4, 12, 0)
#include <linux/platform_data/at24.h>
#endif
#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 11, 0)
#include <linux/sched/task_stack.h>
#else
#include <linux/sched.h>
#endif

#define NOR_BYTES 0x60000
#define NOR_ERASE 0x10000

/* The N-th operation to come fails, or is dropped in silence; each takes a while. */
struct faults {
	u32 fail;
	u32 drop;
	u32 delay;
	u32 count;
};

enum outcome { DO, FAIL, DROP };

static enum outcome next_outcome(struct faults *faults)
{
	faults->count++;
	if (faults->delay)
		msleep(faults->delay);
	if (faults->fail && --faults->fail == 0)
		return FAIL;
	if (faults->drop && --faults->drop == 0)
		return DROP;
	return DO;
}

/* --- NOR flash --- */

static u8 *nor;
static struct faults nor_read_faults, nor_write_faults, nor_erase_faults;

/* Buffers that a device could not reach: on a stack, in a module's or the kernel's image. */
static u32 nor_foreign;

static void check_buffer(const void *buf)
{
	if (object_is_on_stack((void *)buf) || !(is_vmalloc_addr(buf) || virt_addr_valid(buf)))
		nor_foreign++;
}

/* Locked erase blocks, a bit each: they are neither erased nor programmed. */
static u32 nor_locked;
static u32 nor_unlocks;

static u32 lock_bits(loff_t from, u64 len)
{
	return GENMASK((u32)(from + len - 1) / NOR_ERASE, (u32)from / NOR_ERASE);
}

static int nor_lock(struct mtd_info *mtd, loff_t from, u64 len)
{
	nor_locked |= lock_bits(from, len);
	return 0;
}

static int nor_unlock(struct mtd_info *mtd, loff_t from, u64 len)
{
	nor_unlocks++;
	nor_locked &= ~lock_bits(from, len);
	return 0;
}

static int nor_is_locked(struct mtd_info *mtd, loff_t from, u64 len)
{
	return (nor_locked & lock_bits(from, len)) != 0;
}

static int nor_read(struct mtd_info *mtd, loff_t from, size_t len, size_t *moved, u_char *buf)
{
	check_buffer(buf);
	if (next_outcome(&nor_read_faults) == FAIL)
		return -EIO;
	memcpy(buf, nor + from, len);
	*moved = len;
	return 0;
}

/* A byte whose lowest bit nothing can set, plus 1; 0 for none. */
static u32 nor_stuck;

static void stick(void)
{
	if (nor_stuck && nor_stuck <= NOR_BYTES)
		nor[nor_stuck - 1] &= 0xfe;
}

/* Programming clears bits and sets none. */
static int nor_write(struct mtd_info *mtd, loff_t to, size_t len, size_t *moved, const u_char *buf)
{
	enum outcome outcome = next_outcome(&nor_write_faults);
	size_t i;

	check_buffer(buf);
	if (outcome == FAIL || nor_is_locked(mtd, to, len))
		return -EIO;
	for (i = 0; outcome == DO && i < len; i++)
		nor[to + i] &= buf[i];
	stick();
	*moved = len;
	return 0;
}

static int nor_erase(struct mtd_info *mtd, struct erase_info *info)
{
	enum outcome outcome = next_outcome(&nor_erase_faults);

	if (outcome == FAIL || nor_is_locked(mtd, info->addr, info->len))
		return -EIO;
	if (outcome == DO)
		memset(nor + info->addr, 0xff, info->len);
	stick();
	/* 4.17: what is erased when the driver comes back; before, it says so itself. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(4, 17, 0)
	info->state = MTD_ERASE_DONE;
	mtd_erase_callback(info);
#endif
	return 0;
}

static const struct mtd_partition partitions[] = {
	{ .name = "manuinfo", .offset = 0, .size = 0x20000 },
	{ .name = "u-boot-env", .offset = 0x20000, .size = 0x20000 },
	{ .name = "manuread", .offset = 0x40000, .size = 0x20000, .mask_flags = MTD_WRITEABLE },
};

static struct mtd_info nor_device = {
	.name = "mac_test_nor",
	.type = MTD_NORFLASH,
	.flags = MTD_CAP_NORFLASH,
	.size = NOR_BYTES,
	.erasesize = NOR_ERASE,
	.writesize = 1,
	.writebufsize = 1,
	.owner = THIS_MODULE,
	._read = nor_read,
	._write = nor_write,
	._erase = nor_erase,
	._lock = nor_lock,
	._unlock = nor_unlock,
	._is_locked = nor_is_locked,
};

/* --- NAND flash: nothing is to be asked of it but what it is --- */

static struct faults nand_faults;

static int nand_read(struct mtd_info *mtd, loff_t from, size_t len, size_t *moved, u_char *buf)
{
	next_outcome(&nand_faults);
	memset(buf, 0xff, len);
	*moved = len;
	return 0;
}

static int nand_write(struct mtd_info *mtd, loff_t to, size_t len, size_t *moved, const u_char *buf)
{
	next_outcome(&nand_faults);
	*moved = len;
	return 0;
}

static int nand_erase(struct mtd_info *mtd, struct erase_info *info)
{
	next_outcome(&nand_faults);
	return 0;
}

static struct mtd_info nand_device = {
	.name = "manunand",
	.type = MTD_NANDFLASH,
	.flags = MTD_CAP_NANDFLASH,
	.size = 0x20000,
	.erasesize = NOR_ERASE,
	.writesize = 2048,
	.writebufsize = 2048,
	.owner = THIS_MODULE,
	._read = nand_read,
	._write = nand_write,
	._erase = nand_erase,
};

/* --- I2C EEPROMs --- */

struct chip {
	u16 address;
	const char *type;
	u32 bytes;
	u32 address_bytes;
	u32 page;
	u8 *content;
	u32 position;
	struct i2c_client *client;
};

static struct chip chips[] = {
	{ .address = 0x50, .type = "24c64", .bytes = 0x2000, .address_bytes = 2, .page = 32 },
	{ .address = 0x51, .type = "24c64", .bytes = 0x2000, .address_bytes = 2, .page = 32 },
	{ .address = 0x52, .type = "24c02", .bytes = 0x100, .address_bytes = 1, .page = 8 },
	{ .address = 0x53, .type = "24c02", .bytes = 0x100, .address_bytes = 1, .page = 8 },
};

static struct faults eeprom_read_faults, eeprom_write_faults;

static struct chip *chip_at(u16 address)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(chips); i++) {
		if (chips[i].address == address)
			return &chips[i];
	}
	return NULL;
}

/* A write message: the position, then bytes of one page, which wrap inside it. */
static int chip_write(struct chip *chip, const u8 *buf, u16 len)
{
	enum outcome outcome;
	u32 i;

	if (len < chip->address_bytes)
		return -EIO;
	chip->position = chip->address_bytes == 2 ? buf[0] << 8 | buf[1] : buf[0];
	chip->position %= chip->bytes;
	len -= chip->address_bytes;
	if (!len)
		return 0;
	outcome = next_outcome(&eeprom_write_faults);
	if (outcome == FAIL)
		return -EIO;
	for (i = 0; outcome == DO && i < len; i++) {
		u32 page = chip->position & ~(chip->page - 1);

		chip->content[page + (chip->position + i) % chip->page] = buf[chip->address_bytes + i];
	}
	return 0;
}

static int chip_read(struct chip *chip, u8 *buf, u16 len)
{
	u16 i;

	if (next_outcome(&eeprom_read_faults) == FAIL)
		return -EIO;
	for (i = 0; i < len; i++)
		buf[i] = chip->content[chip->position++ % chip->bytes];
	return 0;
}

static int bus_transfer(struct i2c_adapter *adapter, struct i2c_msg *messages, int count)
{
	int i;

	for (i = 0; i < count; i++) {
		struct i2c_msg *message = &messages[i];
		struct chip *chip = chip_at(message->addr);
		int result;

		if (!chip)
			return -ENXIO;
		result = message->flags & I2C_M_RD ? chip_read(chip, message->buf, message->len) :
						     chip_write(chip, message->buf, message->len);
		if (result)
			return result;
	}
	return count;
}

static u32 bus_functions(struct i2c_adapter *adapter)
{
	return I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
}

static const struct i2c_algorithm bus_algorithm = {
	.master_xfer = bus_transfer,
	.functionality = bus_functions,
};

static struct i2c_adapter bus = {
	.name = "mac_test_bus",
	.owner = THIS_MODULE,
	.algo = &bus_algorithm,
	.nr = 0,
};

/*
 * at24 writes one byte a cycle unless it is told the page. 4.12: by the properties of a
 * board's chip, before by data of its own. 5.12: by a software node.
 */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(4, 12, 0)
static const struct property_entry page_32[] = { PROPERTY_ENTRY_U32("pagesize", 32), {} };
static const struct property_entry page_8[] = { PROPERTY_ENTRY_U32("pagesize", 8), {} };
#else
static struct at24_platform_data large = { .byte_len = 0x2000, .page_size = 32, .flags = AT24_FLAG_ADDR16 };
static struct at24_platform_data small = { .byte_len = 0x100, .page_size = 8 };
#endif

#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 12, 0)
static const struct software_node nodes[] = {
	{ .properties = page_32 }, { .properties = page_32 },
	{ .properties = page_8 }, { .properties = page_8 },
};
#define set_properties(info, i) ((info)->swnode = &nodes[i])
#elif LINUX_VERSION_CODE >= KERNEL_VERSION(4, 12, 0)
#define set_properties(info, i) ((info)->properties = (i) < 2 ? page_32 : page_8)
#else
#define set_properties(info, i) ((info)->platform_data = (i) < 2 ? &large : &small)
#endif

/* 5.2: says what went wrong; before, no client does. */
static struct i2c_client *new_client(const struct i2c_board_info *info)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 2, 0)
	return i2c_new_client_device(&bus, info);
#else
	return i2c_new_device(&bus, info) ?: ERR_PTR(-ENODEV);
#endif
}

static void remove_chips(void)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(chips); i++) {
		if (!IS_ERR_OR_NULL(chips[i].client))
			i2c_unregister_device(chips[i].client);
		vfree(chips[i].content);
	}
}

static int add_chips(void)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(chips); i++) {
		struct i2c_board_info info = { .addr = chips[i].address };

		strscpy(info.type, chips[i].type, sizeof(info.type));
		set_properties(&info, i);
		chips[i].content = vmalloc(chips[i].bytes);
		if (!chips[i].content)
			return -ENOMEM;
		memset(chips[i].content, 0xff, chips[i].bytes);
		chips[i].client = new_client(&info);
		if (IS_ERR(chips[i].client))
			return PTR_ERR(chips[i].client);
	}
	return 0;
}

/* --- loading --- */

static struct dentry *folder;

static void publish(const char *name, struct faults *faults)
{
	struct dentry *sub = debugfs_create_dir(name, folder);

	debugfs_create_u32("fail", 0600, sub, &faults->fail);
	debugfs_create_u32("drop", 0600, sub, &faults->drop);
	debugfs_create_u32("delay", 0600, sub, &faults->delay);
	debugfs_create_u32("count", 0600, sub, &faults->count);
}

static int __init board_load(void)
{
	int result;

	nor = vmalloc(NOR_BYTES);
	if (!nor)
		return -ENOMEM;
	memset(nor, 0xff, NOR_BYTES);
	result = mtd_device_register(&nor_device, partitions, ARRAY_SIZE(partitions));
	if (result)
		goto no_nor;
	result = mtd_device_register(&nand_device, NULL, 0);
	if (result)
		goto no_nand;
	result = i2c_add_numbered_adapter(&bus);
	if (result)
		goto no_bus;
	result = add_chips();
	if (result)
		goto no_chips;
	folder = debugfs_create_dir("mac_test_board", NULL);
	debugfs_create_u32("nor_stuck", 0600, folder, &nor_stuck);
	debugfs_create_u32("nor_foreign", 0400, folder, &nor_foreign);
	debugfs_create_u32("nor_locked", 0600, folder, &nor_locked);
	debugfs_create_u32("nor_unlocks", 0400, folder, &nor_unlocks);
	publish("nand", &nand_faults);
	publish("nor_read", &nor_read_faults);
	publish("nor_write", &nor_write_faults);
	publish("nor_erase", &nor_erase_faults);
	publish("eeprom_read", &eeprom_read_faults);
	publish("eeprom_write", &eeprom_write_faults);
	return 0;

no_chips:
	remove_chips();
	i2c_del_adapter(&bus);
no_bus:
	mtd_device_unregister(&nand_device);
no_nand:
	mtd_device_unregister(&nor_device);
no_nor:
	vfree(nor);
	return result;
}

static void __exit board_unload(void)
{
	debugfs_remove_recursive(folder);
	remove_chips();
	i2c_del_adapter(&bus);
	mtd_device_unregister(&nand_device);
	mtd_device_unregister(&nor_device);
	vfree(nor);
}

module_init(board_load);
module_exit(board_unload);

MODULE_DESCRIPTION("Emulated media for the tests of mac_mng");
MODULE_LICENSE("Dual BSD/GPL");
