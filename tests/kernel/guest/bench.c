// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/*
 * What commands cost, in nanoseconds of the guest's clock, on media that the kernel
 * brings. Under "-icount shift=0" a nanosecond is an instruction, and a run repeats.
 * Lines "bench NAME: N", a call each.
 */
#include <fcntl.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include "guest.h"

/* The fewest of so many rounds: a round can have the timer's interrupts in it. */
#define ROUNDS 5

/* Addresses of every block: what the smallest of the board has. */
#define COUNT 8

static int device;
static int empty;
static int flash;
static int eeprom;
static unsigned char list[6 * COUNT];
static char text[65536];

static unsigned long long now(clockid_t clock)
{
	struct timespec time;

	clock_gettime(clock, &time);
	return time.tv_sec * 1000000000ull + time.tv_nsec;
}

static bool all_good;

/* A failure is said once for what is measured. */
static void must(bool good, const char *what)
{
	if (!good && all_good)
		ok(false, "%s: %s", what, strerror(errno));
	all_good = all_good && good;
}

/* One thing that is measured: for a command its number, and the MAC type of its record or
 * the length of its buffer. */
struct work {
	const char *name;
	unsigned int calls;
	void (*call)(const struct work *work, unsigned int round);
	unsigned int number;
	uint32_t type_or_length;
};

static void command_must(const struct work *work, void *record)
{
	must(ioctl(device, work->number, record) == 0, work->name);
}

static void do_empty(const struct work *work, unsigned int round)
{
	must(ioctl(empty, MAC_IOCTL_GET_ADDR, list) == 0, work->name);
}

static void read_flash(const struct work *work, unsigned int round)
{
	must(pread(flash, list, 16, 0x4c0) == 16, work->name);
}

static void read_eeprom(const struct work *work, unsigned int round)
{
	must(pread(eeprom, list, 16, 0) == 16, work->name);
}

static void with_address(const struct work *work, unsigned int round)
{
	struct mac_ioctl_address record =
		address(work->type_or_length, COUNT, "\x02\0\0\0\0\0");

	record.addr[5] = round;
	command_must(work, &record);
}

/* On the instance whose copies are on a chip by its file. */
static void by_file(const struct work *work, unsigned int round)
{
	struct mac_ioctl_address record = address(0, 4, "\x02\0\0\0\0\0");

	record.inst = 3;
	record.addr[5] = round;
	command_must(work, &record);
}

static void with_count(const struct work *work, unsigned int round)
{
	struct mac_ioctl_count record = { DEFAULT, 1 + round % COUNT, work->type_or_length };

	command_must(work, &record);
}

static void with_list(const struct work *work, unsigned int round)
{
	struct mac_ioctl_list record = { DEFAULT, work->type_or_length, COUNT, (uintptr_t)list,
					 sizeof(list) };

	command_must(work, &record);
}

static void with_buffer(const struct work *work, unsigned int round)
{
	struct mac_ioctl_buffer record = { (uintptr_t)text, work->type_or_length };

	command_must(work, &record);
}

static void mount_and_unmount(const struct work *work, unsigned int round)
{
	struct mac_ioctl_instance record = { 3 };

	must(ioctl(device, MAC_IOCTL_INIT, &record) == 0, "mount");
	must(ioctl(device, MAC_IOCTL_DEINIT, &record) == 0, "unmount");
}

static const struct work works[] = {
	{ "empty ioctl", 1000, do_empty },
	{ "raw read of 16 bytes, flash", 1000, read_flash },
	{ "raw read of 16 bytes, eeprom", 100, read_eeprom },
	{ "get address, flash", 1000, with_address, MAC_IOCTL_GET_ADDR, 0 },
	{ "get address, eeprom", 100, with_address, MAC_IOCTL_GET_ADDR, 1 },
	{ "get address, environment", 20, with_address, MAC_IOCTL_GET_ADDR, 2 },
	{ "get address, router with check", 20, with_address, MAC_IOCTL_GET_ADDR, 3 },
	{ "get address, router without", 20, with_address, MAC_IOCTL_GET_ADDR, 4 },
	{ "get address, kolbe with check", 20, with_address, MAC_IOCTL_GET_ADDR, 5 },
	{ "get address, kolbe without", 20, with_address, MAC_IOCTL_GET_ADDR, 64 },
	{ "get count, flash", 1000, with_count, MAC_IOCTL_GET_NUM, 0 },
	{ "list of 8, flash", 1000, with_list, MAC_IOCTL_GET_ADDR_NUM, 0 },
	{ "set address, flash", 10, with_address, MAC_IOCTL_SET_ADDR, 0 },
	{ "set count, flash", 10, with_count, MAC_IOCTL_SET_NUM, 0 },
	{ "set address and count, flash", 10, with_address, MAC_IOCTL_SET_ADDR_NUM, 0 },
	{ "set address and count, eeprom", 10, with_address, MAC_IOCTL_SET_ADDR_NUM, 1 },
	{ "show configuration", 10, with_buffer, MAC_IOCTL_SHOW_CFG, sizeof(text) },
	{ "show types", 100, with_buffer, MAC_IOCTL_SHOW_TYPES, 4096 },
	{ "first hook, 64 bytes", 1000, with_buffer, MAC_IOCTL_PATCH1, 64 },
	{ "second hook, 64 bytes", 1000, with_buffer, MAC_IOCTL_PATCH2, 64 },
	{ "mount and unmount", 100, mount_and_unmount },
};

static void measure(const struct work *work)
{
	unsigned long long fewest = ~0ull;
	unsigned int round;
	unsigned int call;

	all_good = true;
	work->call(work, 0);
	for (round = 0; round < ROUNDS; round++) {
		unsigned long long from = now(CLOCK_MONOTONIC);
		unsigned long long took;

		for (call = 0; call < work->calls; call++)
			work->call(work, call + 1);
		took = now(CLOCK_MONOTONIC) - from;
		if (took < fewest)
			fewest = took;
	}
	printf("bench %s: %llu\n", work->name, fewest / work->calls);
}

/* That instance is there for this only. */
static void measure_by_file(void)
{
	static const struct work get = { "get address, eeprom by file", 100, by_file,
					 MAC_IOCTL_GET_ADDR, 0 };
	struct mac_ioctl_instance instance = { 3 };
	struct mac_ioctl_address record = address(0, 4, "\x02\0\0\0\0\1");

	record.inst = 3;
	expect(device, "mount", MAC_IOCTL_INIT, &instance, 0);
	expect(device, "write its block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	measure(&get);
	expect(device, "unmount", MAC_IOCTL_DEINIT, &instance, 0);
}

/* Loading and unloading wait for others, which is not this process's time. */
static void measure_loading(void)
{
	unsigned long long loading = ~0ull;
	unsigned long long unloading = ~0ull;
	unsigned int round;

	all_good = true;
	for (round = 0; round < ROUNDS; round++) {
		unsigned long long from = now(CLOCK_PROCESS_CPUTIME_ID);
		unsigned long long between;
		unsigned long long to;

		must(load("mac_mng", "") == 0, "load");
		between = now(CLOCK_PROCESS_CPUTIME_ID);
		must(unload("mac_mng") == 0, "unload");
		to = now(CLOCK_PROCESS_CPUTIME_ID);
		loading = between - from < loading ? between - from : loading;
		unloading = to - between < unloading ? to - between : unloading;
	}
	printf("bench load: %llu\nbench unload: %llu\n", loading, unloading);
}

/* A block of each type, so that every copy is good. */
static void write_blocks(void)
{
	static const uint32_t types[] = { 0, 1, 2, 3, 4, 5, 64 };
	size_t i;

	for (i = 0; i < sizeof(types) / sizeof(types[0]); i++) {
		struct mac_ioctl_address record = address(types[i], COUNT, "\x02\0\0\0\0\1");

		expect(device, "write a block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	}
}

void bench(void)
{
	size_t i;

	ok(load("mac_empty", "") == 0, "a device that does nothing");
	device = open(DEVICE, O_RDWR | O_CLOEXEC);
	empty = open("/dev/mac_empty", O_RDWR | O_CLOEXEC);
	flash = open("/dev/mtd0", O_RDONLY | O_CLOEXEC);
	eeprom = open("/sys/bus/i2c/devices/0-0050/eeprom", O_RDONLY | O_CLOEXEC);
	ok(device >= 0 && empty >= 0 && flash >= 0 && eeprom >= 0, "open all devices");
	write_blocks();
	for (i = 0; i < sizeof(works) / sizeof(works[0]); i++)
		measure(&works[i]);
	measure_by_file();
	close(device);
	ok(unload("mac_mng") == 0, "unload the module");
	measure_loading();
}
