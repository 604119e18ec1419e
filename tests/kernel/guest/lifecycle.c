// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Loading and unloading in any order, loads that fail, and what the kernel's log
 * says of it all. */
#include <fcntl.h>
#include <stdlib.h>
#include <sys/klog.h>
#include <unistd.h>

#include "guest.h"

/* More calls than any step of loading makes. */
#define CALLS_MAX 1000

void load_and_unload(void)
{
	int fd = open(DEVICE, O_RDWR);
	int bad = 0;
	int i;

	ok(unload("mac_mng") == EAGAIN, "an open device keeps the module");
	ok(unload("mac_platform") == EAGAIN, "the platform stays as long as it is used");
	close(fd);
	for (i = 0; i < 100; i++)
		bad += unload("mac_mng") != 0 || load("mac_mng", "") != 0;
	ok(bad == 0, "100 rounds of unloading and loading: %d failed", bad);
	ok(load("mac_mng", "") == EEXIST, "loading twice is refused");
	ok(unload("mac_mng") == 0, "unload mac_mng");
	ok(access(DEVICE, F_OK) != 0, "the device node is gone");
	ok(unload("mac_platform") == 0, "unload mac_platform");
	ok(load("mac_mng", "") == ENOENT, "without its platform mac_mng does not load");
	ok(load("mac_platform", "board=mac_mng/absent.dtb") == ENOENT, "an absent board");
	ok(load("mac_platform", "board=mac_mng/garbage.dtb") == EINVAL, "a board that is none");
	ok(load("mac_platform", "board=mac_mng/crc.dtb") == EINVAL, "an unknown CRC-16");
}

static const char *board_parameter(void)
{
	return stock_media ? "board=mac_mng/stock.dtb" : "";
}

static int fault_parameter(const char *name)
{
	char path[96];
	char text[16] = "";

	snprintf(path, sizeof(path), "/sys/module/mac_fault/parameters/%s", name);
	peek(path, 0, text, sizeof(text) - 1);
	return atoi(text);
}

static void plan_fault(int nth)
{
	char text[16];

	snprintf(text, sizeof(text), "%d", nth);
	poke("/sys/module/mac_fault/parameters/calls", 0, "0", 1);
	poke("/sys/module/mac_fault/parameters/nth", 0, text, strlen(text));
}

/* One load with the fault planned; false when anything is not as it should be. */
static bool load_under_fault(const char *module, int *refused)
{
	const bool is_mng = !strcmp(module, "mac_mng");
	const int result = load(module, is_mng ? "" : board_parameter());
	int fd;

	if (result) {
		++*refused;
		return access(DEVICE, F_OK) != 0;
	}
	if (is_mng) {
		fd = open(DEVICE, O_RDWR);
		if (fd < 0)
			return false;
		close(fd);
	}
	return unload(module) == 0;
}

/* Fails the 1st, 2nd, ... call of a function while @module loads, until it is called
 * no more. The calls counted are those of @caller; their number comes back. */
static int fail_each_call(const char *module, const char *caller, const char *symbol, long value)
{
	char parameters[128];
	int refused = 0;
	int points = 0;
	bool good = true;
	int nth;

	snprintf(parameters, sizeof(parameters), "symbol=%s target=%s value=%ld", symbol, caller, value);
	if (load("mac_fault", parameters))
		return 0; /* this kernel has the function under another name */
	/* The caller makes itself known when it is loaded. */
	if (strcmp(caller, module))
		good = load(caller, board_parameter()) == 0;
	for (nth = 1; nth < CALLS_MAX && good; nth++) {
		plan_fault(nth);
		good = load_under_fault(module, &refused);
		if (fault_parameter("calls") < nth)
			break;
		points++;
	}
	plan_fault(0);
	good = good && load_under_fault(module, &refused);
	if (strcmp(caller, module))
		good = unload(caller) == 0 && good;
	unload("mac_fault");
	if (points || !good)
		ok(good, "loading %s: %d calls of %s by %s failed in turn, %d loads refused", module,
		   points, symbol, caller, refused);
	return points;
}

/* Allocations: which function they call depends on the kernel and its compiler. */
static void fail_each_allocation(const char *module, const char *caller, int at_least)
{
	static const char *const functions[] = { "__kmalloc", "__kmalloc_noprof", "kmalloc_trace",
						 "kmem_cache_alloc_trace", "kmem_cache_alloc",
						 "__kmalloc_cache_noprof",
						 "vzalloc", "vzalloc_noprof" };
	int points = 0;
	size_t i;

	for (i = 0; i < sizeof(functions) / sizeof(functions[0]); i++)
		points += fail_each_call(module, caller, functions[i], 0);
	ok(points >= at_least, "%d allocations of %s failed while loading %s", points, caller, module);
}

static void fail_function(const char *module, const char *caller, const char *symbol, long value)
{
	int points = fail_each_call(module, caller, symbol, value);

	if (!points)
		ok(false, "%s does not call %s", caller, symbol);
}

void failing_loads(void)
{
	static const char *const platform_calls[] = { "__root_device_register", "request_firmware",
						      "register_module_notifier" };
	static const char *const mng_calls[] = { "memset_s", "strncpy_s", "misc_register",
						 "sysfs_create_group", "module_driver_register",
						 "drv_log_register", "xml_get_entry_list" };
	size_t i;

	if (access("/modules/mac_fault.ko", F_OK)) {
		skip("loads in which each call fails", "this kernel has no kprobes");
		ok(load("mac_platform", board_parameter()) == 0, "the platform loads");
		ok(load("mac_mng", "") == 0, "mac_mng loads after all this");
		return;
	}
	for (i = 0; i < sizeof(platform_calls) / sizeof(platform_calls[0]); i++)
		fail_function("mac_platform", "mac_platform", platform_calls[i], -ENOMEM);
	fail_each_allocation("mac_platform", "mac_platform", 1);
	fail_each_allocation("mac_mng", "mac_platform", 8);
	fail_function("mac_mng", "mac_platform", "kobject_create_and_add", 0);
	ok(load("mac_platform", board_parameter()) == 0, "the platform loads");
	for (i = 0; i < sizeof(mng_calls) / sizeof(mng_calls[0]); i++)
		fail_function("mac_mng", "mac_mng", mng_calls[i], -ENOMEM);
	fail_each_allocation("mac_mng", "mac_mng", 50);
	fail_function("mac_mng", "mac_mng", "diag_create_kobject", 0);
	ok(load("mac_mng", "") == 0, "mac_mng loads after all this");
}

static char log_text[1 << 20];

static void read_kernel_log(void)
{
	int length = klogctl(3, log_text, sizeof(log_text) - 1);

	log_text[length < 0 ? 0 : length] = '\0';
}

void kernel_log(bool failures)
{
	/* The last two are also what the kernel says of an allocation that fails. */
	static const char *const bad[] = { "WARNING:", "BUG:", "UBSAN:", "Oops", "list_add corruption",
					   "list_del corruption", "possible circular",
					   "sleeping function", "INFO: task", "Call trace",
					   "Call Trace" };
	const size_t kinds = sizeof(bad) / sizeof(bad[0]) - (failures ? 2 : 0);
	/* An own module taints the kernel by being one, and by having no signature. */
	const long expected = 1 << 12 | 1 << 13;
	char tainted[32] = "";
	size_t i;

	read_kernel_log();
	for (i = 0; i < kinds; i++)
		ok(strstr(log_text, bad[i]) == NULL, "the kernel log has no \"%s\"", bad[i]);
	peek("/proc/sys/kernel/tainted", 0, tainted, sizeof(tainted) - 1);
	ok((atol(tainted) & ~expected) == 0, "the kernel is not tainted otherwise: %ld",
	   atol(tainted));
	/* It ends at its first report, and at a report of another checker. */
	if (checkers)
		ok(file_has("/proc/lockdep_stats", " debug_locks:                             1\n"),
		   "locks are still checked");
}

void said_once(void)
{
	const char *const said = "did not take 16 writes in a row";
	const char *at;

	if (stock_media)
		return;
	at = strstr(log_text, said);
	ok(at && !strstr(at + 1, said), "that a range is refused was said once");
}
