// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* The kernel's own fault injection: the n-th failure point (an allocation or a copy
 * from or to user space) of one system call fails, n = 1, 2, 3, ... until the call
 * reaches fewer. */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "guest.h"

#define INJECTION "/sys/kernel/debug/"
/* More than any call has. */
#define POINTS_MAX 2000
#define OTHER 3u

static int fail_nth;

/* Twice: a failure that is still to come can be that of this very call. */
static void arm(int nth)
{
	char text[16];
	int length = snprintf(text, sizeof(text), "%d", nth);

	if (pwrite(fail_nth, text, length, 0) != length &&
	    pwrite(fail_nth, text, length, 0) != length)
		ok(false, "the failure of point %d cannot be planned", nth);
}

/* Whether the planned failure came to pass; nothing is planned any more. */
static bool disarm(void)
{
	char text[16] = "";
	const bool failed = pread(fail_nth, text, sizeof(text) - 1, 0) > 0 && atoi(text) == 0;

	arm(0);
	return failed;
}

static void prepare(void)
{
	static const char *const kinds[] = { "failslab", "fail_page_alloc", "fail_usercopy" };
	char path[64];
	size_t i;

	for (i = 0; i < sizeof(kinds) / sizeof(kinds[0]); i++) {
		/* By default what may sleep never fails. */
		snprintf(path, sizeof(path), INJECTION "%s/ignore-gfp-wait", kinds[i]);
		poke(path, 0, "N", 1);
		snprintf(path, sizeof(path), INJECTION "%s/min-order", kinds[i]);
		poke(path, 0, "0", 1);
		snprintf(path, sizeof(path), INJECTION "%s/verbose", kinds[i]);
		poke(path, 0, "0", 1);
	}
	fail_nth = open("/proc/self/fail-nth", O_RDWR);
	ok(fail_nth >= 0, "the kernel injects failures");
}

/* What each call is, as often as it is made. */
struct request {
	const char *name;
	unsigned int number;
	uint32_t (*undo)(int fd); /* before the next one, where it is needed */
};

static char buffer[4096];

static uint32_t issue(int fd, unsigned int number)
{
	struct mac_ioctl_address record = address(1, 8, "\x00\x11\x22\x33\x44\x55");
	struct mac_ioctl_count count = { DEFAULT, 8, 1 };
	struct mac_ioctl_instance other = { OTHER };
	struct mac_ioctl_list list = { DEFAULT, 1, 8, (uintptr_t)buffer, 48 };
	struct mac_ioctl_buffer bytes = { (uintptr_t)buffer, 1000 };

	switch (number) {
	case MAC_IOCTL_INIT:
	case MAC_IOCTL_DEINIT:
		return command(fd, number, &other);
	case MAC_IOCTL_SET_NUM:
	case MAC_IOCTL_GET_NUM:
		return command(fd, number, &count);
	case MAC_IOCTL_GET_ADDR_NUM:
		return command(fd, number, &list);
	case MAC_IOCTL_PATCH1:
	case MAC_IOCTL_PATCH2:
	case MAC_IOCTL_SHOW_CFG:
	case MAC_IOCTL_SHOW_TYPES:
		return command(fd, number, &bytes);
	default:
		return command(fd, number, &record);
	}
}

static uint32_t unmount_other(int fd)
{
	return issue(fd, MAC_IOCTL_DEINIT);
}

static uint32_t mount_other(int fd)
{
	return issue(fd, MAC_IOCTL_INIT);
}

static void fail_command(int fd, const struct request *request)
{
	int failures = 0;
	uint32_t status = 0;
	bool good = true;
	int nth;

	for (nth = 1; nth < POINTS_MAX && good; nth++) {
		bool failed;

		if (request->undo)
			request->undo(fd);
		arm(nth);
		status = issue(fd, request->number);
		failed = disarm();
		failures += status != 0;
		if (!failed)
			break;
		good = documented(status);
		if (request->undo)
			request->undo(fd);
		good = good && issue(fd, request->number) == 0;
	}
	ok(good && nth > 1 && nth < POINTS_MAX,
	   "%s: %d points failed in turn, %d refusals, the last status 0x%08x", request->name, nth - 1,
	   failures, status);
}

static void fail_commands(void)
{
	static const struct request requests[] = {
		{ "mount", MAC_IOCTL_INIT, unmount_other },
		{ "unmount", MAC_IOCTL_DEINIT, mount_other },
		{ "set address and count", MAC_IOCTL_SET_ADDR_NUM, NULL },
		{ "set address", MAC_IOCTL_SET_ADDR, NULL },
		{ "get address", MAC_IOCTL_GET_ADDR, NULL },
		{ "set count", MAC_IOCTL_SET_NUM, NULL },
		{ "get count", MAC_IOCTL_GET_NUM, NULL },
		{ "get list", MAC_IOCTL_GET_ADDR_NUM, NULL },
		{ "first hook", MAC_IOCTL_PATCH1, NULL },
		{ "second hook", MAC_IOCTL_PATCH2, NULL },
		{ "show configuration", MAC_IOCTL_SHOW_CFG, NULL },
		{ "show types", MAC_IOCTL_SHOW_TYPES, NULL },
	};
	struct mac_ioctl_address record = address(1, 8, "\x00\x11\x22\x33\x44\x55");
	struct mac_ioctl_count count = { DEFAULT, 0, 1 };
	int fd = open(DEVICE, O_RDWR);
	/* Unmounting allocates nothing: all that can fail is the copy of its argument. */
	const bool copies_fail = access(INJECTION "fail_usercopy", F_OK) == 0;
	size_t i;

	expect(fd, "program type 1", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	for (i = 0; i < sizeof(requests) / sizeof(requests[0]); i++) {
		if (requests[i].number == MAC_IOCTL_DEINIT && !copies_fail)
			skip(requests[i].name, "this kernel makes no copies fail");
		else
			fail_command(fd, &requests[i]);
	}
	unmount_other(fd);
	memset(record.addr, 0, 6);
	expect(fd, "after all this the block", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(!memcmp(record.addr, "\x00\x11\x22\x33\x44\x55", 6), "has the address that was set");
	expect(fd, "its count", MAC_IOCTL_GET_NUM, &count, 0);
	ok(count.num == 8, "and the count %u", count.num);
	close(fd);
}

static void fail_load(const char *module)
{
	int refused = 0;
	int result = 0;
	bool good = true;
	int nth;

	for (nth = 1; nth < POINTS_MAX && good; nth++) {
		bool failed;

		arm(nth);
		result = load(module, "");
		failed = disarm();
		refused += result != 0;
		if (!failed)
			break;
		/* Other modules' files are not opened by this; a consumer's calls may fail. */
		good = result ? unload(module) == ENOENT : unload(module) == 0;
	}
	ok(good && nth > 10 && result == 0, "loading %s: %d points failed in turn, %d loads refused",
	   module, nth - 1, refused);
}

void kernel_failures(void)
{
	prepare();
	fail_commands();
	fail_load("mac_consumer");
	ok(unload("mac_consumer") == 0 && unload("mac_mng") == 0, "unload mac_mng");
	fail_load("mac_mng");
	ok(unload("mac_mng") == 0 && unload("mac_platform") == 0, "unload both");
	fail_load("mac_platform");
	ok(load("mac_mng", "") == 0, "mac_mng loads after all this");
	close(fail_nth);
	ok(run("/guest", "commands", NULL) == 0, "all commands after all this");
}
