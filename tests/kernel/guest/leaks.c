// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Memory that nothing points to any more, as the kernel's leak detector sees it: none. What
 * is left on purpose stays until the module goes, and goes with it. */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "guest.h"

#define KMEMLEAK "/sys/kernel/debug/kmemleak"
#define MOUNTS 10
#define REPORT "unreferenced object"

static char report[1 << 20];

/* With a position this file refuses to be written. */
static bool tell(const char *what)
{
	int fd = open(KMEMLEAK, O_WRONLY);
	const bool done = write(fd, what, strlen(what)) == (ssize_t)strlen(what);

	close(fd);
	return done;
}

static void read_report(void)
{
	ssize_t length = 0;
	ssize_t moved;
	int fd = open(KMEMLEAK, O_RDONLY);

	while ((moved = read(fd, report + length, sizeof(report) - 1 - length)) > 0)
		length += moved;
	close(fd);
	report[length] = '\0';
}

/* Twice, for a stale pointer on a stack hides an object from the first. */
static void scan(void)
{
	int i;

	sleep(6); /* what is younger is not reported */
	for (i = 0; i < 2; i++)
		ok(tell("scan"), "the memory is scanned");
	read_report();
}

/* The objects reported, and those of them whose allocation the text belongs to. */
static int reported(const char *text)
{
	char *at = report;
	int count = 0;

	while ((at = strstr(at, REPORT)) != NULL) {
		char *next = strstr(at + 1, REPORT);
		char *found = strstr(at, text);

		count += found && (!next || found < next);
		if (!next)
			break;
		at = next;
	}
	return count;
}

static void mount_and_unmount(int rounds)
{
	struct mac_ioctl_instance instance = { 3 };
	int fd = open(DEVICE, O_RDWR);
	int bad = 0;
	int i;

	for (i = 0; i < rounds; i++) {
		bad += command(fd, MAC_IOCTL_INIT, &instance) != 0;
		bad += command(fd, MAC_IOCTL_DEINIT, &instance) != 0;
	}
	close(fd);
	ok(bad == 0, "instance 3 is mounted and unmounted %d times", rounds);
}

static void expect_no_leaks(const char *what)
{
	int all;

	scan();
	all = reported(REPORT);
	ok(all == 0, "%d objects leak %s", all, what);
	if (all)
		printf("# %.4000s\n", report);
}

/* A load that fails in its last step but one, and before its first. */
static void fail_to_load(void)
{
	if (access("/modules/mac_fault.ko", F_OK)) {
		skip("loads that fail", "this kernel has no kprobes");
		return;
	}
	ok(load("mac_fault", "symbol=sysfs_create_group target=mac_mng value=-12 nth=1") == 0 &&
		   load("mac_mng", "") == ENOMEM && unload("mac_fault") == 0,
	   "a load fails after the drivers were made");
	ok(load("mac_fault", "symbol=misc_register target=mac_mng value=-16 nth=1") == 0 &&
		   load("mac_mng", "") == EIO && unload("mac_fault") == 0,
	   "another one without a device");
}

void leaks(void)
{
	ok(tell("clear"), "the kernel looks for leaks");
	mount_and_unmount(MOUNTS);
	expect_no_leaks("by unmounting");
	ok(unload("mac_mng") == 0, "unload mac_mng");
	fail_to_load();
	ok(load("mac_mng", "") == 0, "it loads again");
	left_by_modules();
	ok(unload("mac_platform") == 0, "unload the platform");
	expect_no_leaks("when both modules have gone");
	ok(load("mac_platform", "") == 0 && load("mac_mng", "") == 0, "both load again");
}
