// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Process 1 of the guest. */
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <unistd.h>

#include "guest.h"

static void must_load(const char *name, const char *parameters)
{
	int result = load(name, parameters);

	ok(result == 0, "load %s: %s", name, strerror(result));
}

/* A module of the kernel, after those that it needs. */
static void must_load_stock(const char *name, const char *parameters)
{
	char needs[256] = "";
	char path[64];
	char *need;

	snprintf(path, sizeof(path), "/modules/%s.ko", name);
	if (access(path, F_OK))
		return; /* built in */
	snprintf(path, sizeof(path), "/modules/%s.needs", name);
	peek(path, 0, needs, sizeof(needs) - 1);
	for (need = strtok(needs, " \n"); need; need = strtok(NULL, " \n"))
		load(need, ""); /* another one may have brought it */
	must_load(name, parameters);
}

/* The kernel's own: memory as MTD, chips on a bus of registers. */
static void start_stock_media(void)
{
	static const char *const chips[] = { "24c02 0x50", "24c02 0x51", "24c02 0x52",
					     "24c02 0x53" };
	size_t i;

	must_load_stock("mtdram", "total_size=256 erase_size=64");
	must_load_stock("i2c-stub", "chip_addr=0x50,0x51,0x52,0x53");
	for (i = 0; i < sizeof(chips) / sizeof(chips[0]); i++)
		ok(poke("/sys/bus/i2c/devices/i2c-0/new_device", 0, chips[i], strlen(chips[i])) > 0,
		   "a chip %s", chips[i]);
}

static void start(void)
{
	mkdir("/proc", 0755);
	mkdir("/sys", 0755);
	mkdir("/dev", 0755);
	mkdir("/tmp", 0755);
	mount("proc", "/proc", "proc", 0, NULL);
	mount("sysfs", "/sys", "sysfs", 0, NULL);
	mount("devtmpfs", "/dev", "devtmpfs", 0, NULL);
	mount("debugfs", "/sys/kernel/debug", "debugfs", 0, NULL);
	must_load_stock("mtd", "");
	must_load_stock("at24", "");
}

static void start_modules(void)
{
	if (stock_media)
		start_stock_media();
	else
		must_load("mac_test_board", "");
	must_load("mac_platform", stock_media ? "board=mac_mng/stock.dtb" : "");
	must_load("mac_mng", "");
}

/* On the machine's own flash, cut into partitions by the command line. */
static void start_on_cfi(void)
{
	must_load("mac_platform", "board=mac_mng/cfi.dtb");
	must_load("mac_mng", "");
}

/* With nothing refused, and no line of a kind printed yet. */
static void load_anew(void)
{
	ok(unload("mac_mng") == 0 && unload("mac_platform") == 0, "unload both");
	must_load("mac_platform", stock_media ? "board=mac_mng/stock.dtb" : "");
	must_load("mac_mng", "");
}

static void everything(void)
{
	start_modules();
	if (!checkers)
		ok(run("/bin/sh", "/same_words.sh", stock_media ? "stock" : "demo") == 0,
		   "macctl gives on the device what it gives on a board file");
	ok(run("/guest", "commands", NULL) == 0, "all commands, 64-bit caller");
	if (access("/guest32", F_OK))
		skip("all commands, 32-bit caller", "this kernel has no COMPAT");
	else
		ok(run("/guest32", "commands", NULL) == 0, "all commands, 32-bit caller");
	ok(load("mac_consumer", "") == 0, "a consumer module calls all ten functions");
	ok(unload("mac_consumer") == 0, "unload the consumer");
	damage_and_repair();
	failing_media();
	attributes();
	boot_tools();
	unknown_layout();
	eeprom_by_file();
	eight_processes();
	load_and_unload();
	failing_loads();
	stuck_bit();
	load_anew();
	limited_lines();
	flash_service();
	killed_while_waiting();
	if (!stock_media)
		other_module();
	failing_start_ups();
	load_anew();
	ok(run("/guest", "commands", NULL) == 0, "all commands after the reloads");
	kernel_log(false);
	said_once();
}

/* What the command line asks for with mac_run=. */
static void run_asked(void)
{
	char what[32] = "test";

	printf("TAP version 13\n");
	parameter("mac_run", what, sizeof(what));
	stock_media = !strcmp(what, "stock") || !strcmp(what, "bench");
	checkers = access("/proc/lockdep_stats", F_OK) == 0;
	if (!strcmp(what, "power")) {
		start_on_cfi();
		write_until_killed();
	}
	if (!strcmp(what, "stock") || !strcmp(what, "test")) {
		everything();
		tap_end();
		return;
	}
	start_modules();
	if (!strcmp(what, "failures"))
		kernel_failures();
	else if (!strcmp(what, "fuzz"))
		fuzz_device();
	else if (!strcmp(what, "leaks"))
		leaks();
	else if (!strcmp(what, "bench"))
		bench();
	else if (!strcmp(what, "callers"))
		unmounting_under_reads();
	else
		ok(run("/guest", "commands", NULL) == 0, "all commands");
	kernel_log(!strcmp(what, "failures"));
	tap_end();
}

int main(int argc, char **argv)
{
	setvbuf(stdout, NULL, _IOLBF, 0);
	if (argc > 1 && !strcmp(argv[1], "commands")) {
		begin_subtest();
		return commands();
	}
	start();
	run_asked();
	sync();
	reboot(RB_POWER_OFF);
	return 0;
}
