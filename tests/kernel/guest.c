// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * The kernel tests, in TAP. As process 1 of a guest it loads the modules, runs
 * everything and powers off; "guest commands" issues the control commands only, so
 * that a 32-bit build of the same program can do it too.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/klog.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"

#define DEVICE "/dev/mac_mng"
#define DEFAULT 0xffffffffu
#define CHIP_264 "/sys/bus/i2c/devices/0-0050/eeprom"
#define CHIP_265 "/sys/bus/i2c/devices/0-0051/eeprom"
#define RING "/sys/kernel/debug/mac_platform/mac_mng"
#define FAULTS "/sys/kernel/debug/mac_test_board/"

static int tests;
static int failures;
static const char *indent = ""; /* the lines of a subtest are indented */

static void ok(int good, const char *format, ...)
{
	va_list arguments;

	tests++;
	failures += !good;
	printf("%s%s %d - ", indent, good ? "ok" : "not ok", tests);
	va_start(arguments, format);
	vprintf(format, arguments);
	va_end(arguments);
	printf("\n");
	fflush(stdout);
}

/* A command's status: results -14 and -1 come back as errno. */
static uint32_t command(int fd, unsigned int number, void *record)
{
	int result;

	errno = 0;
	result = ioctl(fd, number, record);
	if (result == -1 && errno)
		return (uint32_t)-errno;
	return (uint32_t)result;
}

static void expect(int fd, const char *what, unsigned int number, void *record, uint32_t expected)
{
	uint32_t found = command(fd, number, record);

	ok(found == expected, "%s: 0x%08x, expected 0x%08x", what, found, expected);
}

static struct mac_ioctl_address address(uint32_t type, uint32_t num, const char *bytes)
{
	struct mac_ioctl_address record = { DEFAULT, num, { 0 }, { 0xa1, 0xa2 }, type };

	memcpy(record.addr, bytes, 6);
	return record;
}

static uint64_t pointer(void *buffer)
{
	return (uint64_t)(uintptr_t)buffer;
}

static void read_and_write(int fd, uint32_t type)
{
	struct mac_ioctl_address record = address(type, 8, "\x00\x11\x22\x33\x44\xfe");
	struct mac_ioctl_count count = { DEFAULT, 0, type };
	unsigned char list[20];
	struct mac_ioctl_list request = { DEFAULT, type, 2, pointer(list), 19 };

	expect(fd, "set address and count", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	memset(record.addr, 0, 6);
	record.num = 77;
	expect(fd, "get address", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(!memcmp(record.addr, "\x00\x11\x22\x33\x44\xfe", 6) && record.num == 77 &&
		   record.reserved[1] == 0xa2,
	   "the whole record of type %u comes back", type);
	expect(fd, "get count", MAC_IOCTL_GET_NUM, &count, 0);
	ok(count.num == 8, "count of type %u is %u", type, count.num);
	memset(list, 0x77, sizeof(list));
	expect(fd, "list", MAC_IOCTL_GET_ADDR_NUM, &request, 0);
	ok(!memcmp(list, "\x00\x11\x22\x33\x44\xfe\x00\x11\x22\x33\x44\xff\0\0\0\0\0\0\0\x77", 20),
	   "two addresses, cleared bytes, and nothing behind the buffer");
	record = address(type, 0, "\x02\x00\x00\x00\x00\x01");
	expect(fd, "set address", MAC_IOCTL_SET_ADDR, &record, 0);
}

static void refusals(int fd)
{
	struct mac_ioctl_address record = address(9, 1, "\x02\x00\x00\x00\x00\x01");
	struct mac_ioctl_count count = { DEFAULT, 65535, 0 };
	char *page = mmap(NULL, 2 * getpagesize(), PROT_READ | PROT_WRITE,
			  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
	struct mac_ioctl_list list = { DEFAULT, 0, 65535, pointer(page), 393210 };
	struct mac_ioctl_buffer buffer = { pointer(page), 0 };
	struct mac_ioctl_instance instance = { DEFAULT };

	munmap(page + getpagesize(), getpagesize());
	expect(fd, "0x4d08 is no command", 0x4d08, NULL, MAC_UNKNOWN_COMMAND);
	expect(fd, "0x4d0e is no command", 0x4d0e, NULL, MAC_UNKNOWN_COMMAND);
	expect(fd, "null record", MAC_IOCTL_GET_ADDR, NULL, MAC_COPY_FROM_USER_FAILED);
	expect(fd, "half-mapped record", MAC_IOCTL_GET_ADDR, page + getpagesize() - 3,
	       MAC_COPY_FROM_USER_FAILED);
	expect(fd, "unsupported type", MAC_IOCTL_GET_ADDR, &record, MAC_NOT_SUPPORTED);
	expect(fd, "set on an unsupported type", MAC_IOCTL_SET_ADDR, &record, MAC_FAULT);
	expect(fd, "set both on an unsupported type", MAC_IOCTL_SET_ADDR_NUM, &record, MAC_FAIL);
	expect(fd, "count above 65534", MAC_IOCTL_SET_NUM, &count, MAC_INVALID_VALUE);
	expect(fd, "list above 65534", MAC_IOCTL_GET_ADDR_NUM, &list, MAC_INVALID_ARGUMENT);
	list.num = 2;
	list.len = 11;
	expect(fd, "list buffer too short", MAC_IOCTL_GET_ADDR_NUM, &list, MAC_INVALID_ARGUMENT);
	list.len = 0xffffffff;
	expect(fd, "list buffer of 4 GiB", MAC_IOCTL_GET_ADDR_NUM, &list, MAC_NO_MEMORY);
	list.len = 12;
	list.buf = pointer(page + getpagesize() - 3);
	expect(fd, "half-mapped list buffer", MAC_IOCTL_GET_ADDR_NUM, &list,
	       MAC_COPY_TO_USER_FAILED);
	expect(fd, "patch of length 0", MAC_IOCTL_PATCH1, &buffer, MAC_INVALID_ARGUMENT);
	buffer.len = 1001;
	expect(fd, "patch of length 1001", MAC_IOCTL_PATCH2, &buffer, MAC_INVALID_ARGUMENT);
	buffer.len = 10000001;
	expect(fd, "show of length 10000001", MAC_IOCTL_SHOW_CFG, &buffer, MAC_INVALID_ARGUMENT);
	expect(fd, "mounted already", MAC_IOCTL_INIT, &instance, MAC_FAULT);
}

static void listings_and_hooks(int fd)
{
	static char text[65536];
	struct mac_ioctl_buffer buffer = { pointer(text), sizeof(text) };
	struct mac_ioctl_instance instance = { 3 };

	expect(fd, "show configuration", MAC_IOCTL_SHOW_CFG, &buffer, 0);
	ok(strstr(text, "Spare offset          : 0x104c0\n") != NULL, "the listing has content");
	expect(fd, "show types", MAC_IOCTL_SHOW_TYPES, &buffer, 0);
	ok(!strcmp(text, "no mac type\n"), "no MAC type is listed");
	memset(text, 0x77, 1001);
	buffer.len = 1000;
	expect(fd, "first hook", MAC_IOCTL_PATCH1, &buffer, 0);
	ok(text[0] == 0 && text[999] == 0 && text[1000] == 0x77, "no kernel memory comes out");
	expect(fd, "second hook", MAC_IOCTL_PATCH2, &buffer, 0);
	expect(fd, "mount instance 3", MAC_IOCTL_INIT, &instance, 0);
	expect(fd, "unmount instance 3", MAC_IOCTL_DEINIT, &instance, 0);
}

static int commands(void)
{
	int fd = open(DEVICE, O_RDWR);
	const uint32_t types[] = { 0, 1, 2, 3, 4, 5, 64 };
	size_t i;

	ok(fd >= 0, "%zu-bit caller opens the device", 8 * sizeof(void *));
	for (i = 0; i < sizeof(types) / sizeof(types[0]); i++)
		read_and_write(fd, types[i]);
	refusals(fd);
	listings_and_hooks(fd);
	close(fd);
	return failures != 0;
}

static int hammer(int number)
{
	int fd = open(DEVICE, O_RDWR);
	int round;

	for (round = 0; round < 50; round++) {
		struct mac_ioctl_address record = address(0, 4, "\x02\x00\x00\x00\x00\x00");

		record.addr[5] = number;
		if (command(fd, MAC_IOCTL_SET_ADDR_NUM, &record))
			return 1;
		if (command(fd, MAC_IOCTL_GET_ADDR, &record))
			return 2;
		if (record.addr[0] != 2 || record.addr[5] < 1 || record.addr[5] > 8)
			return 3;
	}
	return 0;
}

/* --- as process 1 --- */

static int load(const char *name)
{
	char path[64];
	int fd;
	int result;

	snprintf(path, sizeof(path), "/modules/%s.ko", name);
	fd = open(path, O_RDONLY | O_CLOEXEC);
	result = (int)syscall(SYS_finit_module, fd, "", 0);
	if (result)
		result = errno;
	close(fd);
	return result;
}

static int unload(const char *name)
{
	return syscall(SYS_delete_module, name, O_NONBLOCK) ? errno : 0;
}

static int run(const char *program, const char *argument, const char *more)
{
	pid_t child = fork();
	int status;

	if (child == 0) {
		execl(program, program, argument, more, (char *)NULL);
		_exit(127);
	}
	waitpid(child, &status, 0);
	return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/* Reads or writes bytes of a file; the number moved. */
static ssize_t peek(const char *path, off_t offset, void *bytes, size_t count)
{
	int fd = open(path, O_RDONLY);
	ssize_t moved = pread(fd, bytes, count, offset);

	close(fd);
	return moved;
}

static ssize_t poke(const char *path, off_t offset, const void *bytes, size_t count)
{
	int fd = open(path, O_WRONLY);
	ssize_t moved = pwrite(fd, bytes, count, offset);

	close(fd);
	return moved;
}

static void plan_fault(const char *file, const char *number)
{
	char path[128];

	int fd;

	snprintf(path, sizeof(path), FAULTS "%s", file);
	fd = open(path, O_WRONLY);
	if (write(fd, number, strlen(number)) != (ssize_t)strlen(number))
		ok(0, "the fault %s cannot be planned", file);
	close(fd);
}

static int ring_has(const char *text)
{
	static char ring[65536];
	ssize_t length = 0;
	int fd = open(RING, O_RDONLY);
	ssize_t moved;

	while ((moved = read(fd, ring + length, sizeof(ring) - 1 - length)) > 0)
		length += moved;
	close(fd);
	ring[length] = '\0';
	return strstr(ring, text) != NULL;
}

static void damage_and_repair(void)
{
	int fd = open(DEVICE, O_RDWR);
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x55");
	unsigned char good[16];
	unsigned char found[16];

	expect(fd, "program type 0", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	peek("/dev/mtd0", 0x4c0, good, 16);
	ok(!memcmp(good, "QOLT\0\0\0\x08\x00\x11\x22\x33\x44\x55", 14), "the record is on the flash");
	poke("/dev/mtd0", 0x4ca, "\0\0", 2);
	peek("/dev/mtd0", 0x4c0, found, 16);
	ok(memcmp(found, good, 16) != 0, "it is damaged through /dev/mtd0");
	expect(fd, "a read answers all the same", MAC_IOCTL_GET_ADDR, &record, 0);
	peek("/dev/mtd0", 0x4c0, found, 16);
	ok(!memcmp(found, good, 16), "and repairs the main copy");
	ok(ring_has("1 mac inst 0xffffffff type 0 area 0 format fail 0x811601a7.\n"),
	   "the ring says what was wrong");
	ok(ring_has("2 mac inst 0xffffffff type 0 copy[1->0] write OK.\n"), "and what was done");

	record.type = 1;
	expect(fd, "program type 1", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	peek(CHIP_265, 0, good, 16);
	poke(CHIP_265, 10, "\0\0", 2);
	expect(fd, "a damaged EEPROM spare", MAC_IOCTL_GET_ADDR, &record, 0);
	peek(CHIP_265, 0, found, 16);
	ok(!memcmp(found, good, 16), "is repaired from the main copy");
	poke(CHIP_264, 10, "\0\0", 2);
	poke(CHIP_265, 10, "\0\0", 2);
	expect(fd, "both damaged", MAC_IOCTL_GET_ADDR, &record, MAC_CHECK_MISMATCH);
	peek(CHIP_264, 10, found, 2);
	ok(found[0] == 0 && found[1] == 0, "are left as they are");
	record = address(1, 8, "\x00\x11\x22\x33\x44\x55");
	expect(fd, "programming mends both", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	expect(fd, "they read back", MAC_IOCTL_GET_ADDR, &record, 0);
	close(fd);
}

static void failing_media(void)
{
	int fd = open(DEVICE, O_RDWR);
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x66");

	plan_fault("nor_write/fail", "1");
	expect(fd, "a failing flash write", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000003);
	expect(fd, "is mended by the next set", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	record.addr[5] = 0x67;
	plan_fault("nor_write/drop", "1");
	expect(fd, "a dropped flash write is seen", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000004);
	expect(fd, "and mended", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	record.type = 1;
	plan_fault("eeprom_write/drop", "1");
	expect(fd, "a write-protected EEPROM is seen", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000004);
	expect(fd, "and mended", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	close(fd);
}

static void attributes(void)
{
	const char *const names[] = { "devlist", "drvlist" };
	char path[96];
	char page[16];
	struct stat status;
	int i;

	for (i = 0; i < 2; i++) {
		snprintf(path, sizeof(path), "/sys/devices/mac_platform/mac_mng/%s", names[i]);
		ok(stat(path, &status) == 0 && (status.st_mode & 07777) == 0400,
		   "%s is there with mode 0400", names[i]);
		ok(peek(path, 0, page, sizeof(page)) == 0, "reading it is empty");
		ok(open(path, O_WRONLY) < 0 && errno == EACCES, "its mode lets nobody write it");
		chmod(path, 0600);
		ok(poke(path, 0, "1", 1) == 0, "writing it all the same has no effect");
		chmod(path, 0400);
	}
}

static void boot_tools(void)
{
	char text[64] = "";
	int fd;

	if (access("/bin/fw_printenv", X_OK) != 0) {
		ok(0, "fw_printenv is missing in the guest");
		return;
	}
	fd = open(DEVICE, O_RDWR);
	struct mac_ioctl_address record = address(2, 16, "\x00\x11\x22\x33\x44\x77");

	expect(fd, "program the environment's block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	ok(run("/bin/sh", "-c",
	       "fw_printenv -n ethaddr_pool > /tmp/out && fw_setenv ethaddr_pool 02:00:00:00:00:99") ==
		   0,
	   "the boot tools read and write it");
	peek("/tmp/out", 0, text, 18);
	ok(!strncmp(text, "00:11:22:33:44:77\n", 18), "they read %s", text);
	expect(fd, "what they wrote", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(record.addr[0] == 2 && record.addr[5] == 0x99, "is read back");
	close(fd);
}

static void eight_processes(void)
{
	pid_t children[8];
	int bad = 0;
	int i;

	for (i = 0; i < 8; i++) {
		children[i] = fork();
		if (children[i] == 0)
			_exit(hammer(i + 1));
	}
	for (i = 0; i < 8; i++) {
		int status;

		waitpid(children[i], &status, 0);
		bad += status != 0;
	}
	ok(bad == 0, "eight processes at once: %d failed", bad);
}

static void load_and_unload(void)
{
	int fd = open(DEVICE, O_RDWR);
	int bad = 0;
	int i;

	ok(unload("mac_mng") == EAGAIN, "an open device keeps the module");
	ok(unload("mac_platform") == EAGAIN, "the platform stays as long as it is used");
	close(fd);
	for (i = 0; i < 100; i++)
		bad += unload("mac_mng") != 0 || load("mac_mng") != 0;
	ok(bad == 0, "100 rounds of unloading and loading: %d failed", bad);
	ok(load("mac_mng") == EEXIST, "loading twice is refused");
	ok(unload("mac_mng") == 0, "unload mac_mng");
	ok(access(DEVICE, F_OK) != 0, "the device node is gone");
	ok(unload("mac_platform") == 0, "unload mac_platform");
	ok(load("mac_mng") == ENOENT, "without its platform mac_mng does not load");
	ok(load("mac_platform") == 0 && load("mac_mng") == 0, "both load again");
}

static void kernel_log(void)
{
	static char log[1 << 20];
	static const char *const bad[] = { "WARNING:", "BUG:", "Oops", "list_add corruption",
					   "list_del corruption", "possible circular", "Call trace" };
	int length = klogctl(3, log, sizeof(log) - 1);
	size_t i;

	log[length < 0 ? 0 : length] = '\0';
	for (i = 0; i < sizeof(bad) / sizeof(bad[0]); i++)
		ok(strstr(log, bad[i]) == NULL, "the kernel log has no \"%s\"", bad[i]);
	ok(strstr(log, "mac_consumer: not ok") == NULL && strstr(log, "mac_consumer: ok") != NULL,
	   "the consumer module's calls all did what they should");
}

static void start(void)
{
	const char *const modules[] = { "mtd", "at24", "mac_test_board", "mac_platform", "mac_mng" };
	size_t i;

	mkdir("/proc", 0755);
	mkdir("/sys", 0755);
	mkdir("/dev", 0755);
	mkdir("/tmp", 0755);
	mount("proc", "/proc", "proc", 0, NULL);
	mount("sysfs", "/sys", "sysfs", 0, NULL);
	mount("devtmpfs", "/dev", "devtmpfs", 0, NULL);
	mount("debugfs", "/sys/kernel/debug", "debugfs", 0, NULL);
	for (i = 0; i < sizeof(modules) / sizeof(modules[0]); i++) {
		int result = load(modules[i]);

		ok(result == 0, "load %s: %s", modules[i], strerror(result));
	}
}

static void everything(void)
{
	printf("TAP version 13\n");
	start();
	ok(run("/guest", "commands", NULL) == 0, "all commands, 64-bit caller");
	if (access("/guest32", X_OK) == 0)
		ok(run("/guest32", "commands", NULL) == 0, "all commands, 32-bit caller");
	ok(load("mac_consumer") == 0, "a consumer module calls all ten functions");
	damage_and_repair();
	failing_media();
	attributes();
	boot_tools();
	eight_processes();
	ok(unload("mac_consumer") == 0, "unload the consumer");
	load_and_unload();
	ok(run("/guest", "commands", NULL) == 0, "all commands after the reload");
	kernel_log();
	printf("1..%d\n# %d passed, %d failed\n", tests, tests - failures, failures);
	fflush(stdout);
}

int main(int argc, char **argv)
{
	setvbuf(stdout, NULL, _IOLBF, 0);
	if (argc > 1 && !strcmp(argv[1], "commands")) {
		indent = "    ";
		return commands();
	}
	everything();
	sync();
	reboot(RB_POWER_OFF);
	return 0;
}
