// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Damage underneath and its repair, media that fail, the boot loader's tools on the
 * same environment, and the attribute files. */
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "guest.h"

#define CHIP_264 "/sys/bus/i2c/devices/0-0050/eeprom"
#define CHIP_265 "/sys/bus/i2c/devices/0-0051/eeprom"
#define FAULTS "/sys/kernel/debug/mac_test_board/"

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

void damage_and_repair(void)
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
	ok(file_has(RING, "1 mac inst 0xffffffff type 0 area 0 format fail 0x811601a7.\n"),
	   "the ring says what was wrong");
	ok(file_has(RING, "2 mac inst 0xffffffff type 0 copy[1->0] write OK.\n"), "and what was done");

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

void failing_media(void)
{
	int fd = open(DEVICE, O_RDWR);
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x66");

	if (stock_media) {
		skip("media that fail", "the kernel's own media have no faults");
		close(fd);
		return;
	}
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

static unsigned int fault_count(const char *file)
{
	char path[128];
	char text[16] = "";
	int fd;

	/* These files have no position: pread() is refused. */
	snprintf(path, sizeof(path), FAULTS "%s", file);
	fd = open(path, O_RDONLY);
	if (read(fd, text, sizeof(text) - 1) <= 0)
		ok(0, "%s cannot be read", path);
	close(fd);
	return (unsigned int)atoi(text);
}

/* A bit of the main copy that nothing can set, read over and over. */
void stuck_bit(void)
{
	int fd = open(DEVICE, O_RDWR);
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x55");
	unsigned int before;
	int i;

	if (stock_media) {
		skip("a stuck bit", "the kernel's own media have no faults");
		close(fd);
		return;
	}
	expect(fd, "program type 0", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	plan_fault("nor_stuck", "1230"); /* 0x4cd, plus 1: the last byte of the address */
	poke("/dev/mtd0", 0x4cd, "\x00", 1);
	before = fault_count("nor_erase/count");
	for (i = 0; i < 1000; i++)
		command(fd, MAC_IOCTL_GET_ADDR, &record);
	ok(fault_count("nor_erase/count") - before == 16, "1000 reads of a stuck bit erase %u times",
	   fault_count("nor_erase/count") - before);
	ok(file_has("/sys/kernel/debug/mac_platform/failing_flash_writes", "0x4c0 16 16 refused\n"),
	   "the range is shown as refused");
	plan_fault("nor_stuck", "0");
	close(fd);
}

/* The board of these modules is another one from now on. */
static void reload_with(const char *board)
{
	ok(unload("mac_mng") == 0 && unload("mac_platform") == 0 && load("mac_platform", board) == 0 &&
		   load("mac_mng", "") == 0,
	   "both modules with %s", board[0] ? board : "the board as it was");
}

static void locked_blocks(int fd)
{
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x70");
	const unsigned int unlocks = fault_count("nor_unlocks");

	expect(fd, "a write of blocks that are not locked", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	ok(fault_count("nor_unlocks") == unlocks, "unlocks none");
	plan_fault("nor_locked", "63");
	record.addr[5] = 0x71;
	expect(fd, "a write of locked blocks", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	ok(fault_count("nor_unlocks") > unlocks && fault_count("nor_locked") == 63,
	   "unlocks them and locks them again: 0x%x", fault_count("nor_locked"));
	expect(fd, "the same bytes", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	record.addr[5] = 0x72;
	plan_fault("nor_write/fail", "1");
	expect(fd, "a write that fails", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000003);
	ok(fault_count("nor_locked") == 63, "leaves them locked: 0x%x", fault_count("nor_locked"));
	plan_fault("nor_erase/fail", "1");
	expect(fd, "an erase that fails", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000003);
	ok(fault_count("nor_locked") == 63, "leaves them locked: 0x%x", fault_count("nor_locked"));
	plan_fault("nor_locked", "0");
	expect(fd, "after that the block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
}

/* Partitions that records cannot be kept on. */
static void refused_partitions(void)
{
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x73");
	unsigned int unlocks;
	int fd;

	log_mark();
	reload_with("board=mac_mng/readonly.dtb");
	unlocks = fault_count("nor_unlocks");
	plan_fault("nor_locked", "63");
	fd = open(DEVICE, O_RDWR);
	expect(fd, "a write of a read-only partition", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000009);
	close(fd);
	ok(fault_count("nor_unlocks") == unlocks && fault_count("nor_locked") == 63,
	   "unlocks nothing of it");
	plan_fault("nor_locked", "0");
	ok(log_count("manuread is read-only: nothing is written") > 0, "and is told");
	reload_with("board=mac_mng/nand.dtb");
	fd = open(DEVICE, O_RDWR);
	expect(fd, "a partition of NAND flash", MAC_IOCTL_SET_ADDR_NUM, &record, 0x82000008);
	close(fd);
	ok(fault_count("nand/count") == 0, "is neither read nor written");
	ok(log_count("manunand is no NOR flash (its MTD type is 4)") > 0, "and is told");
	reload_with("board=mac_mng/overlap.dtb");
	fd = open(DEVICE, O_RDWR);
	record.type = 2;
	expect(fd, "copies of the environment that overlap", MAC_IOCTL_SET_ADDR_NUM, &record,
	       0x82000017);
	close(fd);
	ok(log_count("its copies at 0x0 and 0x10 overlap, each has 0x4000 bytes") > 0, "are told");
	reload_with("");
}

void flash_service(void)
{
	struct mac_ioctl_address record = address(2, 8, "\x00\x11\x22\x33\x44\x74");
	int fd;

	if (stock_media) {
		skip("the flash service", "the kernel's own media have no locks and count nothing");
		return;
	}
	fd = open(DEVICE, O_RDWR);
	locked_blocks(fd);
	expect(fd, "store the environment's block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	close(fd);
	refused_partitions();
	ok(fault_count("nor_foreign") == 0, "%u buffers were none of the heap",
	   fault_count("nor_foreign"));
}

static int get_address(void)
{
	struct mac_ioctl_address record = address(0, 0, "\0\0\0\0\0");
	int fd = open(DEVICE, O_RDWR);
	const bool failed = command(fd, MAC_IOCTL_GET_ADDR, &record) != 0;

	close(fd);
	return failed;
}

static pid_t start_getting(void)
{
	pid_t child = fork();

	if (child == 0)
		_exit(get_address());
	usleep(200000);
	return child;
}

/* One command takes a second and a half; another one waits for it and is killed. */
void killed_while_waiting(void)
{
	pid_t working, waiting;
	int status = 0;
	long begun;

	if (stock_media) {
		skip("a process killed while it waits", "the kernel's own media are never slow");
		return;
	}
	plan_fault("nor_read/delay", "1500");
	working = start_getting();
	waiting = start_getting();
	begun = milliseconds();
	kill(waiting, SIGKILL);
	waitpid(waiting, &status, 0);
	ok(WIFSIGNALED(status) && milliseconds() - begun < 700 && waitpid(working, &status, WNOHANG) == 0,
	   "a process that waits for another one's command can be killed: %ld ms", milliseconds() - begun);
	plan_fault("nor_read/delay", "0");
	waitpid(working, &status, 0);
	ok(WIFEXITED(status) && WEXITSTATUS(status) == 0, "the other one's command succeeds");
	ok(get_address() == 0, "and so does the next one");
}

/* A text that comes over and over. */
void limited_lines(void)
{
	static const char text[] = "mac_mng: mac inst 0xffffffff get type[99] addr failed 0x811601a4.";
	struct mac_ioctl_address record = address(99, 0, "\0\0\0\0\0");
	int fd = open(DEVICE, O_RDWR);
	const long begun = milliseconds();
	int allowed;
	int count;
	int i;

	log_mark();
	for (i = 0; i < 1000; i++)
		command(fd, MAC_IOCTL_GET_ADDR, &record);
	allowed = 10 * (int)((milliseconds() - begun) / 5000 + 2);
	count = log_count(text);
	ok(count > 0 && count <= allowed, "of 1000 equal lines %d are printed, at most %d", count,
	   allowed);
	ok(log_count("mac_mng: mac inst 0xffffffff type 99 find mng no exist.") > 0,
	   "another text is printed all the same");
	ok(file_has(RING, "1 mac inst 0xffffffff get type[99] addr failed 0x811601a4.\n1 mac inst"),
	   "the ring has each");
	sleep(6);
	command(fd, MAC_IOCTL_GET_ADDR, &record);
	ok(log_count(" lines were left out") > 0, "how many were left out is told");
	close(fd);
}

void attributes(void)
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

void boot_tools(void)
{
	struct mac_ioctl_address record = address(2, 16, "\x00\x11\x22\x33\x44\x77");
	char text[64] = "";
	int fd;

	if (stock_media) {
		skip("the boot loader's tools", "they refuse an MTD device that is neither NOR nor NAND");
		return;
	}
	fd = open(DEVICE, O_RDWR);
	expect(fd, "program the environment's block", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	ok(run("/bin/sh", "-c",
	       "fw_printenv -n ethaddr_pool > /tmp/out && fw_setenv ethaddr_pool 02:00:00:00:00:99") ==
		   0,
	   "the boot tools read and write it");
	peek("/tmp/out", 0, text, 18);
	ok(!strncmp(text, "00:11:22:33:44:77\n", 18), "they read %.17s", text);
	expect(fd, "what they wrote", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(record.addr[0] == 2 && record.addr[5] == 0x99, "is read back");
	close(fd);
}

static int say(const char *line)
{
	char command[160];

	snprintf(command, sizeof(command), "macctl %s > /tmp/out 2>&1", line);
	return run("/bin/sh", "-c", command);
}

void unknown_layout(void)
{
	const char *board = stock_media ? "/lib/firmware/mac_mng/stock.dtb"
					: "/lib/firmware/mac_mng/board.dtb";
	struct mac_ioctl_address record = address(0, 8, "\x00\x11\x22\x33\x44\x88");
	int fd = open(DEVICE, O_RDWR);

	expect(fd, "program type 0", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	ok(rename(board, "/tmp/board.dtb") == 0, "the platform's board is nowhere to be seen");
	ok(say("set block -t 0 02:00:00:77:00:88 4") == 7, "a change wants --yes");
	ok(file_has("/tmp/out", "holds the good block 00:11:22:33:44:88 count 8; what else a write to "
				"instance 0xffffffff type 0 touches is not known here ("),
	   "and says what is not known");
	ok(file_has("/tmp/out", board), "and why");
	expect(fd, "nothing was written", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(record.addr[0] == 0 && record.addr[5] == 0x88, "the block is as it was");
	ok(say("set block -t 0 02:00:00:77:00:88 4 --yes --dry-run") == 9,
	   "a rehearsal cannot tell");
	ok(say("-j set block -t 0 02:00:00:77:00:88 4 --yes") == 0, "with --yes it is done");
	ok(file_has("/tmp/out", "\"layout\": \"unknown\""), "and the answer says so");
	ok(file_has("/tmp/out", "warning: what else a write to"), "and a warning");
	expect(fd, "and it is there", MAC_IOCTL_GET_ADDR, &record, 0);
	ok(record.addr[0] == 2 && record.addr[5] == 0x88, "to be read back");
	ok(rename("/tmp/board.dtb", board) == 0, "the board is back");
	ok(say("set block -t 0 02:00:00:77:00:88 4") == 0, "what changes nothing needs no --yes");
	ok(!file_has("/tmp/out", "not known"), "and the layout is known again");
	close(fd);
}
