// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * EEPROM by file: instance 3 of the stock board has both copies on a chip that is named
 * by its path. The callers are some that could not open that file themselves.
 */
#include <fcntl.h>
#include <grp.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include "guest.h"

#define CHIP "/sys/bus/i2c/devices/0-0053/eeprom"
#define AT24 "/sys/bus/i2c/drivers/at24/"
#define MAIN 0x10
#define SPARE 0xf0
#define MEMBER 1000

/* 5.10 to 5.12: modules cannot read files of sysfs. */
static bool files_can_be_read(void)
{
	struct utsname kernel;
	char *end;
	long minor;

	if (uname(&kernel) || strncmp(kernel.release, "5.", 2))
		return true;
	minor = strtol(kernel.release + 2, &end, 10);
	return minor < 10 || minor > 12;
}

static struct mac_ioctl_address block(const char *bytes)
{
	struct mac_ioctl_address record = address(0, 4, bytes);

	record.inst = 3;
	return record;
}

/* One read and one change of the block by a caller that has the device open. */
static uint32_t use_block(int fd, char last)
{
	struct mac_ioctl_address record = block("\x02\0\0\0\0\0");
	uint32_t status = command(fd, MAC_IOCTL_GET_ADDR, &record);

	if (status)
		return status;
	record.addr[5] = last;
	return command(fd, MAC_IOCTL_SET_ADDR, &record);
}

static uint32_t as_member(char last)
{
	const gid_t group = MEMBER;

	if (setgroups(1, &group) || setgid(group) || setuid(MEMBER))
		return errno;
	if (open(CHIP, O_RDONLY) >= 0 || errno != EACCES)
		return 1; /* no proof then */
	return use_block(open(DEVICE, O_RDWR), last);
}

static uint32_t in_empty_root(char last)
{
	int fd = open(DEVICE, O_RDWR);

	mkdir("/tmp/empty", 0755);
	if (chroot("/tmp/empty") || chdir("/"))
		return errno;
	if (access("/sys", F_OK) == 0)
		return 1;
	return use_block(fd, last);
}

/* A caller in a process of its own, and what is on the chip after it. */
static void expect_caller(const char *who, uint32_t (*caller)(char last), char last)
{
	uint32_t status = ~0u;
	unsigned char found[6] = "";
	int ends[2];
	pid_t child;

	if (pipe(ends))
		ok(false, "a pipe");
	child = fork();
	if (child == 0) {
		status = caller(last);
		_exit(write(ends[1], &status, sizeof(status)) != sizeof(status));
	}
	waitpid(child, NULL, 0);
	close(ends[1]);
	ok(read(ends[0], &status, sizeof(status)) == sizeof(status) && status == 0,
	   "%s reads and writes a chip by its file: 0x%08x", who, status);
	close(ends[0]);
	peek(CHIP, MAIN + 8, found, 6);
	ok(found[0] == 2 && found[5] == last, "%s has written the main copy", who);
	peek(CHIP, SPARE + 8, found, 6);
	ok(found[0] == 2 && found[5] == last, "%s has written the spare", who);
}

/* A file that nobody may write, root neither, is opened to read only. */
static void read_only_file(int fd)
{
	struct mac_ioctl_address record = block("\x02\0\0\0\0\x09");

	chmod(CHIP, 0400);
	ok(open(CHIP, O_RDWR) < 0, "the chip's file cannot be opened to write");
	expect(fd, "it is read all the same", MAC_IOCTL_GET_ADDR, &record, 0);
	record.addr[5] ^= 1;
	expect(fd, "and not written", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000003);
	chmod(CHIP, 0600);
	expect(fd, "until it may be", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
}

/* The chip goes, and comes back while the module is at work. */
static void chip_that_goes(int fd)
{
	struct mac_ioctl_address record = block("\x02\0\0\0\0\x09");

	ok(poke(AT24 "unbind", 0, "0-0053", 6) == 6 && access(CHIP, F_OK) != 0, "the chip goes");
	expect(fd, "no chip to write", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000001);
	expect(fd, "no chip to read", MAC_IOCTL_GET_ADDR, &record, MAC_FAIL);
	ok(file_has(RING, "2 mac inst 0x3 type 0 area 0 read unsuccessfully 0x82000001.\n"),
	   "the ring says that it is not there");
	ok(poke(AT24 "bind", 0, "0-0053", 6) == 6, "it comes back");
	expect(fd, "and is read", MAC_IOCTL_GET_ADDR, &record, 0);
}

static void by_file(void)
{
	struct mac_ioctl_instance instance = { 3 };
	struct mac_ioctl_address record = block("\x02\0\0\0\0\x01");
	unsigned char found[16];
	int fd = open(DEVICE, O_RDWR);

	expect(fd, "mount instance 3", MAC_IOCTL_INIT, &instance, 0);
	expect(fd, "program a chip by its file", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	peek(CHIP, MAIN, found, 16);
	ok(!memcmp(found, "QOLT\0\0\0\x04\x02\0\0\0\0\x01", 14), "the main copy is on the chip");
	peek(CHIP, SPARE, found, 16);
	ok(!memcmp(found, "QOLT\0\0\0\x04\x02\0\0\0\0\x01", 14), "and so is the spare");
	if (chown(DEVICE, 0, MEMBER) || chmod(DEVICE, 0660))
		ok(false, "give the device to a group: %s", strerror(errno));
	expect_caller("a member of the device's group", as_member, 0x21);
	if (chown(DEVICE, 0, 0) || chmod(DEVICE, 0600))
		ok(false, "take the device back: %s", strerror(errno));
	expect_caller("root in a root directory without /sys", in_empty_root, 0x22);
	read_only_file(fd);
	chip_that_goes(fd);
	expect(fd, "unmount instance 3", MAC_IOCTL_DEINIT, &instance, 0);
	close(fd);
}

static int reload(const char *board)
{
	int result = unload("mac_mng");

	if (!result)
		result = unload("mac_platform");
	if (!result)
		result = load("mac_platform", board);
	return result ? result : load("mac_mng", "");
}

void eeprom_by_file(void)
{
	if (!files_can_be_read()) {
		skip("EEPROM by file", "modules cannot read files of sysfs on Linux 5.10 to 5.12");
		return;
	}
	if (!stock_media)
		ok(reload("board=mac_mng/stock.dtb") == 0, "load with a board that names a path");
	by_file();
	if (!stock_media)
		ok(reload("") == 0, "load with the test board again");
}
