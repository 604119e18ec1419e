// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The control device: all twelve commands with their refusals, from one caller and
 * from eight at once. */
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "guest.h"

/* A command's status: results -14 and -1 come back as errno. */
uint32_t command(int fd, unsigned int number, void *record)
{
	int result;

	errno = 0;
	result = ioctl(fd, number, record);
	if (result == -1 && errno)
		return (uint32_t)-errno;
	return (uint32_t)result;
}

bool documented(uint32_t status)
{
	return status == 0 || status == (uint32_t)MAC_FAIL || status == (uint32_t)MAC_FAULT ||
	       status >> 16 == 0x8116 || status >> 8 == 0x820000;
}

void expect(int fd, const char *what, unsigned int number, void *record, uint32_t expected)
{
	uint32_t found = command(fd, number, record);

	ok(found == expected, "%s: 0x%08x, expected 0x%08x", what, found, expected);
}

struct mac_ioctl_address address(uint32_t type, uint32_t num, const char *bytes)
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
	ok(strstr(text, "Drv name              : drv_mac_eeprom\n") != NULL, "the listing has content");
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

int commands(void)
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
	return tap_failures() != 0;
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

void eight_processes(void)
{
	char finished[16] = "";
	pid_t children[8];
	int bad = 0;
	int i;

	ok(load("mac_consumer", "rounds=50") == 0, "the consumer module works in the background");
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
	for (i = 0; i < 600 && finished[0] != 'Y'; i++) {
		usleep(100000);
		peek("/sys/module/mac_consumer/parameters/finished", 0, finished, sizeof(finished));
	}
	ok(finished[0] == 'Y', "the consumer's 50 rounds have ended");
	peek("/sys/module/mac_consumer/parameters/failures", 0, finished, sizeof(finished));
	ok(!strcmp(finished, "0\n"), "all its calls did what they should: %s", finished);
	ok(unload("mac_consumer") == 0, "unload the consumer");
}
