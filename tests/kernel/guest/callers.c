// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Modules that call the system, that it calls, and that come and go meanwhile. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include "guest.h"

#define OTHER 3u
#define VENDOR_BOARD "board=mac_mng/vendor.dtb"

static uint32_t instance_command(int fd, unsigned int number)
{
	struct mac_ioctl_instance record = { OTHER };

	return command(fd, number, &record);
}

static void reload_platform(const char *board)
{
	ok(unload("mac_mng") == 0 && unload("mac_platform") == 0 && load("mac_platform", board) == 0,
	   "the platform with %s", board[0] ? board : "the board as it was");
}

static bool consumer_finished(int seconds)
{
	int i;

	for (i = 0; i < 10 * seconds && !module_parameter("mac_consumer", "finished"); i++)
		usleep(100000);
	return module_parameter("mac_consumer", "finished");
}

/* --- a storage driver of another module --- */

/* A read of another module's is in the middle of its driver when the instance goes. */
static void unmounted_in_the_middle(void)
{
	int fd = open(DEVICE, O_RDWR);
	uint32_t status;
	long begun;

	ok(instance_command(fd, MAC_IOCTL_INIT) == 0, "mount instance 3");
	set_module_parameter("mac_vendor", "pause", "2000");
	ok(load("mac_consumer", "reads=1") == 0, "a module reads it");
	usleep(500000);
	begun = milliseconds();
	status = instance_command(fd, MAC_IOCTL_DEINIT);
	ok(status == 0 && milliseconds() - begun < 1000, "unmounting it does not wait for the read: %ld ms",
	   milliseconds() - begun);
	ok(!module_parameter("mac_consumer", "finished"), "which is in its driver still");
	ok(instance_command(fd, MAC_IOCTL_INIT) == 0, "it can be mounted again");
	ok(consumer_finished(10) && !module_parameter("mac_consumer", "failures"),
	   "the read ends as it should");
	ok(module_parameter("mac_vendor", "poisoned"), "the data set was unlinked under it");
	ok(module_parameter("mac_vendor", "intact"), "and its memory was still there");
	ok(instance_command(fd, MAC_IOCTL_DEINIT) == 0 && unload("mac_consumer") == 0,
	   "unmount it, unload the consumer");
	close(fd);
}

void other_module(void)
{
	struct mac_ioctl_address record = address(1, 0, "\0\0\0\0\0");
	int fd;

	reload_platform(VENDOR_BOARD);
	ok(load("mac_vendor", "") == 0 && load("mac_mng", "") == 0,
	   "another module with a storage driver, and mac_mng");
	ok(file_has("/sys/kernel/debug/mac_platform/platform", "1 module 77: mac_vendor is loaded\n"),
	   "a line of a module that never registered is kept");
	fd = open(DEVICE, O_RDWR);
	expect(fd, "a block on the other module's driver", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(!memcmp(record.addr, "\2\0\0\0\0\1", 6), "is read");
	ok(unload("mac_vendor") == EAGAIN, "the other module stays while mac_mng may call it");
	expect(fd, "the block", MAC_IOCTL_GET_ADDR, &record, 0);
	close(fd);
	unmounted_in_the_middle();
	ok(unload("mac_mng") == 0, "mac_mng can be unloaded");
	ok(unload("mac_vendor") == 0, "and then the other module");
	ok(log_count("mac_vendor: on its way out its driver is not found") == 1,
	   "whose driver was not found any more");
	ok(load("mac_mng", "") == 0, "without it mac_mng loads");
	fd = open(DEVICE, O_RDWR);
	expect(fd, "and says that the block has no driver", MAC_IOCTL_GET_ADDR, &record,
	       (uint32_t)MAC_FAIL);
	close(fd);
	reload_platform("");
	ok(load("mac_mng", "") == 0, "mac_mng");
}

/* --- start-ups that fail --- */

/* Whether calls of a kernel function can be made to fail. */
static bool can_fail(const char *symbol)
{
	char parameters[64];

	snprintf(parameters, sizeof(parameters), "symbol=%s target=none", symbol);
	return load("mac_fault", parameters) == 0 && unload("mac_fault") == 0;
}

/* Whether mac_mng, loaded while the first call of @symbol gives @value, ends with @error. */
static bool load_failing(const char *symbol, const char *value, int error, long *took)
{
	char parameters[128];
	long begun;
	int result;

	snprintf(parameters, sizeof(parameters), "symbol=%s target=mac_mng value=%s nth=1", symbol,
		 value);
	if (load("mac_fault", parameters))
		return false;
	begun = milliseconds();
	result = load("mac_mng", "");
	*took = milliseconds() - begun;
	unload("mac_fault");
	if (result != error)
		printf("# loading ended with %d\n", result);
	return result == error;
}

static void told_step(const char *symbol, const char *value, int error, const char *line)
{
	long took;

	log_mark();
	ok(load_failing(symbol, value, error, &took), "a failing %s: %s", symbol, strerror(error));
	ok(log_count(line) == 1 && log_count("mac_mng: start-up failed") == 1, "is told once: %s",
	   line);
}

/* Who opens the device holds the module; that it cannot be opened yet, and never will,
 * is what he learns, and not that the module's memory is gone. */
static void opener_of_a_failing_load(void)
{
	long took = 0;

	ok(load("mac_vendor", "hold=1000") == 0, "somebody who holds a module that is loaded");
	ok(load_failing("sysfs_create_group", "-12", ENOMEM, &took), "a load that fails meanwhile");
	ok(took >= 900, "waits for him: %ld ms", took);
	usleep(500000);
	ok(unload("mac_vendor") == 0 && load("mac_mng", "") == 0, "and the next load succeeds");
}

void failing_start_ups(void)
{
	const char *const srcu = can_fail("init_srcu_struct") ? "init_srcu_struct" :
								"__init_srcu_struct";
	long took;

	if (!can_fail("memset_s")) {
		skip("failing start-ups", "calls cannot be made to fail on this kernel");
		return;
	}
	ok(unload("mac_mng") == 0, "unload mac_mng");
	told_step("memset_s", "22", EFAULT,
		  "start-up failed at the step \"configuration registry\": status 0xfffffff2, error 14");
	told_step("misc_register", "-16", EIO,
		  "start-up failed at the step \"control device\": status 0x81160002, error 5");
	told_step("sysfs_create_group", "-12", ENOMEM,
		  "start-up failed at the step \"diagnostic attributes\": status 0xfffffff4, error 12");
	told_step(srcu, "-12", ENOMEM,
		  "start-up failed at the step \"counting of calls\": status 0xfffffff4, error 12");
	opener_of_a_failing_load();
	ok(unload("mac_mng") == 0, "unload mac_mng");
	log_mark();
	ok(load_failing("xml_get_element_value_u32", "2181038113", 0, &took),
	   "a listing that cannot be loaded does not keep mac_mng from loading");
	ok(log_count("mac_mng: the configuration listing is not complete: status 0x82000021") == 1,
	   "and is told");
	ok(unload("mac_mng") == 0 && unload("mac_platform") == 0, "unload both");
	ok(load("mac_fault", "symbol=debugfs_create_dir target=mac_platform value=0 nth=1") == 0 &&
		   load("mac_platform", stock_media ? "board=mac_mng/stock.dtb" : "") == 0,
	   "a platform that cannot make its folder");
	unload("mac_fault");
	ok(access("/sys/kernel/debug/platform", F_OK) != 0 &&
		   access("/sys/kernel/debug/failing_flash_writes", F_OK) != 0,
	   "puts its files nowhere else");
	ok(unload("mac_platform") == 0 &&
		   load("mac_platform", stock_media ? "board=mac_mng/stock.dtb" : "") == 0 &&
		   load("mac_mng", "") == 0,
	   "load both again");
}

/* --- reads beside unmounting --- */

static void stay_on_first_processor(void)
{
	cpu_set_t set;

	CPU_ZERO(&set);
	CPU_SET(0, &set);
	sched_setaffinity(0, sizeof(set), &set);
}

void unmounting_under_reads(void)
{
	char number[16] = "10000";
	char parameters[64];
	long answered, refused;
	int rounds, bad = 0;
	int fd;
	int i;

	parameter("mac_rounds", number, sizeof(number));
	rounds = atoi(number);
	ok(sysconf(_SC_NPROCESSORS_ONLN) >= 2, "two processors");
	stay_on_first_processor();
	reload_platform(VENDOR_BOARD);
	ok(load("mac_vendor", "") == 0 && load("mac_mng", "") == 0, "a board of constant blocks");
	/* Of every refused read a line would go through the machine's serial port. */
	set_module_parameter("mac_platform", "log_level", "0");
	set_module_parameter("mac_platform", "ring_level", "0");
	snprintf(parameters, sizeof(parameters), "reads=%d enough=N", 10 * rounds);
	ok(load("mac_consumer", parameters) == 0, "a module reads an instance without pause");
	fd = open(DEVICE, O_RDWR);
	for (i = 0; i < rounds; i++) {
		bad += instance_command(fd, MAC_IOCTL_INIT) != 0;
		bad += instance_command(fd, MAC_IOCTL_DEINIT) != 0;
	}
	close(fd);
	ok(bad == 0, "which is mounted and unmounted %d times: %d failed", rounds, bad);
	set_module_parameter("mac_consumer", "enough", "Y");
	ok(consumer_finished(300), "the reads come to an end");
	answered = module_parameter("mac_consumer", "answered");
	refused = module_parameter("mac_consumer", "refused");
	ok(answered + refused >= 10L * rounds && !module_parameter("mac_consumer", "failures"),
	   "%ld reads beside %d unmounts, none wrong", answered + refused, rounds);
	ok(answered > 0 && refused > 0, "%ld were answered and %ld refused", answered, refused);
	ok(unload("mac_consumer") == 0, "unload the consumer");
}

void left_by_modules(void)
{
	reload_platform(VENDOR_BOARD);
	ok(load("mac_vendor", "env=1") == 0, "a variable is set and not saved");
	ok(unload("mac_vendor") == 0, "its module goes");
}
