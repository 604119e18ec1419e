// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Blocks written without pause on the machine's own CFI flash, until somebody kills
 * the machine. Each block's bytes follow from one number, so that halves are seen. */
#include <fcntl.h>
#include <unistd.h>

#include "guest.h"

/* Of tests/kernel/cfi.xml: two on flash, one in the boot environment and on flash. */
#define ENV_TYPE 2u
static const uint32_t types[] = { 0, 1, ENV_TYPE };
#define TYPES (sizeof(types) / sizeof(types[0]))

/* The environment saves count and address one after the other: there the count stays. */
static struct mac_ioctl_address block_of(uint32_t type, unsigned int number)
{
	struct mac_ioctl_address record =
		address(type, type == ENV_TYPE ? 16 : 1 + number % 16, "\x02\0\0\0\0\0");

	record.addr[1] = type;
	record.addr[2] = number >> 24;
	record.addr[3] = number >> 16;
	record.addr[4] = number >> 8;
	record.addr[5] = number;
	return record;
}

/* Says what each block holds; a block that nobody wrote is one that is not so. */
static void read_blocks(int fd)
{
	size_t i;

	for (i = 0; i < TYPES; i++) {
		struct mac_ioctl_address record = address(types[i], 0, "\0\0\0\0\0\0");
		struct mac_ioctl_address whole;
		struct mac_ioctl_count count = { DEFAULT, 0, types[i] };
		uint32_t status = command(fd, MAC_IOCTL_GET_ADDR, &record);
		unsigned int number = record.addr[2] << 24 | record.addr[3] << 16 |
				      record.addr[4] << 8 | record.addr[5];

		if (!status)
			status = command(fd, MAC_IOCTL_GET_NUM, &count);
		whole = block_of(types[i], number);
		if (status)
			printf("type %u: status 0x%x\n", types[i], status);
		else if (memcmp(whole.addr, record.addr, 6) || whole.num != count.num)
			printf("type %u: a third block, number %u count %u\n", types[i], number,
			       count.num);
		else
			printf("type %u: block %u\n", types[i], number);
	}
}

void write_until_killed(void)
{
	char first[32] = "1";
	unsigned int number;
	int fd = open(DEVICE, O_RDWR);
	size_t i;

	poke("/sys/module/mac_platform/parameters/log_level", 0, "0", 1);
	read_blocks(fd);
	parameter("mac_first", first, sizeof(first));
	sscanf(first, "%u", &number);
	printf("ready\n");
	for (;; number++) {
		for (i = 0; i < TYPES; i++) {
			struct mac_ioctl_address record = block_of(types[i], number);
			uint32_t status = command(fd, MAC_IOCTL_SET_ADDR_NUM, &record);

			if (status)
				printf("type %u: set gives 0x%x\n", types[i], status);
		}
		printf("wrote %u\n", number);
	}
}
