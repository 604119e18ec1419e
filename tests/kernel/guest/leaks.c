// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Memory that nothing points to any more, as the kernel's leak detector sees it:
 * exactly the record buffers that an unmounted instance leaves on purpose. */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "guest.h"

#define KMEMLEAK "/sys/kernel/debug/kmemleak"
#define MOUNTS 10
/* Instance 3 of the demo board: one type, main and spare. */
#define BUFFERS_OF_A_MOUNT 2
#define REPORT "unreferenced object"

static char report[1 << 20];

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
	sleep(6); /* what is younger is not reported */
	poke(KMEMLEAK, 0, "scan", 4);
	poke(KMEMLEAK, 0, "scan", 4);
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

void leaks(void)
{
	const int expected = MOUNTS * BUFFERS_OF_A_MOUNT;
	int all;

	poke(KMEMLEAK, 0, "scan=off", 8);
	poke(KMEMLEAK, 0, "clear", 5);
	ok(access(KMEMLEAK, F_OK) == 0 && !file_has("/proc/cmdline", "kmemleak=off"),
	   "the kernel looks for leaks");
	mount_and_unmount(MOUNTS);
	scan();
	all = reported(REPORT);
	ok(all == expected && reported("mac_data_area_config") == all,
	   "%d objects leak, %d of them buffers of records; %d are left on purpose", all,
	   reported("mac_data_area_config"), expected);
	if (all != expected)
		printf("# %.4000s\n", report);
}
