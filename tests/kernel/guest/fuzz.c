// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* A fuzzer of the control device that is guided by the kernel's coverage (kcov): an
 * input that reaches code not seen before is kept and varied further. */
#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include "guest.h"

#define KCOV "/sys/kernel/debug/kcov"
#define KCOV_INIT_TRACE _IOR('c', 1, unsigned long)
#define KCOV_ENABLE _IO('c', 100)
#define KCOV_TRACE_PC 0
#define COVER_WORDS (64 << 10)
#define PLACES (1 << 16)
#define CORPUS_MAX 1024
#define PAGE 4096
#define AREA (4 * PAGE)

struct input {
	uint32_t number; /* of the command */
	uint32_t words[6]; /* the record */
};

static unsigned long *cover;
static unsigned char seen[PLACES];
static struct input corpus[CORPUS_MAX];
static int corpus_size;
static int places;
static char *area; /* the caller's memory: pages, then one that is not mapped */

static bool start_kcov(void)
{
	int fd = open(KCOV, O_RDWR);

	if (fd < 0 || ioctl(fd, KCOV_INIT_TRACE, COVER_WORDS))
		return false;
	cover = mmap(NULL, COVER_WORDS * sizeof(*cover), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
	return cover != MAP_FAILED && ioctl(fd, KCOV_ENABLE, KCOV_TRACE_PC) == 0;
}

static uint32_t pick(const uint32_t *values, size_t count)
{
	return values[rand() % count];
}

/* A number that a record may well hold. */
static uint32_t some_word(void)
{
	static const uint32_t values[] = { 0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 48, 63, 64, 79, 80, 1000, 1001,
					   65534, 65535, DEFAULT, 0x80000000 };
	const uintptr_t end = (uintptr_t)area + AREA;

	switch (rand() % 8) {
	case 0:
		return (uint32_t)rand() >> rand() % 32;
	case 1:
		return (uint32_t)((uintptr_t)area + rand() % AREA);
	case 2:
		return (uint32_t)(end - rand() % 64);
	default:
		return pick(values, sizeof(values) / sizeof(values[0]));
	}
}

/* Mounting takes long, and what is not mounted is not reached. */
static uint32_t some_command(void)
{
	const uint32_t number = 0x4d00 + rand() % 16;

	return number > MAC_IOCTL_DEINIT || rand() % 16 == 0 ? number : MAC_IOCTL_GET_ADDR;
}

static struct input fresh(void)
{
	struct input input = { some_command(), { 0 } };
	const uintptr_t place = (uintptr_t)area + rand() % AREA;
	size_t i;

	for (i = 0; i < 6; i++)
		input.words[i] = some_word();
	input.words[0] = rand() % 4 ? DEFAULT : 3;
	/* Where the records have the address of a buffer. */
	if (input.number == MAC_IOCTL_GET_ADDR_NUM)
		memcpy(&input.words[3], &place, sizeof(place));
	if (input.number >= MAC_IOCTL_PATCH1)
		memcpy(&input.words[0], &place, sizeof(place));
	return input;
}

static struct input varied(struct input input)
{
	int changes = 1 + rand() % 3;

	while (changes--) {
		switch (rand() % 4) {
		case 0:
			input.words[rand() % 6] = some_word();
			break;
		case 1:
			((unsigned char *)input.words)[rand() % sizeof(input.words)] = rand();
			break;
		case 2:
			input.words[rand() % 6] += rand() % 3 - 1;
			break;
		default:
			input.number = rand() % 64 ? some_command() : (uint32_t)rand();
		}
	}
	return input;
}

/* How many places of the kernel the last call was the first to reach. */
static int new_places(void)
{
	const unsigned long reached = cover[0];
	int found = 0;
	unsigned long i;

	for (i = 1; i <= reached && i < COVER_WORDS; i++) {
		const unsigned int place = (cover[i] >> 2) * 2654435761u % PLACES;

		found += !seen[place];
		seen[place] = 1;
	}
	return found;
}

/* Large buffers are allowed, but one of them costs as much as a thousand calls. */
static void shrink(struct input *input)
{
	uint32_t *length = NULL;

	if (input->number == MAC_IOCTL_GET_ADDR_NUM)
		length = &input->words[5];
	else if (input->number == MAC_IOCTL_SHOW_CFG || input->number == MAC_IOCTL_SHOW_TYPES)
		length = &input->words[2];
	if (length && *length > 2 * AREA && rand() % 256)
		*length %= 2 * AREA;
}

/* The record ends where the caller's memory ends, sometimes too early. */
static uint32_t issue(int fd, const struct input *input)
{
	size_t length = rand() % 16 ? sizeof(input->words) : rand() % sizeof(input->words);
	char *record = area + AREA - length;
	int result;

	memcpy(record, input->words, length);
	__atomic_store_n(&cover[0], 0, __ATOMIC_RELAXED);
	errno = 0;
	result = ioctl(fd, input->number, record);
	return result == -1 && errno ? (uint32_t)-errno : (uint32_t)result;
}

void fuzz_device(void)
{
	struct mac_ioctl_address record = address(0, 8, "\x02\x00\x00\x00\x00\x01");
	struct mac_ioctl_instance instance = { DEFAULT };
	const time_t end = time(NULL) + 60;
	const unsigned int seed = (unsigned int)time(NULL) ^ (unsigned int)clock();
	int fd = open(DEVICE, O_RDWR);
	long bad = 0;
	long runs;

	srand(seed);
	/* The module's lines would be all that is left in the kernel's log. */
	poke("/sys/module/mac_platform/parameters/log_level", 0, "0", 1);
	area = mmap(NULL, AREA + PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
	munmap(area + AREA, PAGE);
	ok(start_kcov(), "the kernel tells what code a call reaches; seed %u", seed);
	for (runs = 0; time(NULL) < end; runs++) {
		struct input input = corpus_size && rand() % 8 ? varied(corpus[rand() % corpus_size]) :
								 fresh();
		uint32_t status;
		int found;

		shrink(&input);
		status = issue(fd, &input);
		found = new_places();
		if (!documented(status) && ++bad < 10)
			printf("# command 0x%x gives 0x%x\n", input.number, status);
		if (input.number == MAC_IOCTL_DEINIT && input.words[0] == DEFAULT)
			command(fd, MAC_IOCTL_INIT, &instance);
		places += found;
		if (found && corpus_size < CORPUS_MAX)
			corpus[corpus_size++] = input;
	}
	ok(bad == 0, "%ld calls, %d inputs kept, %d places of the kernel reached: %ld undocumented",
	   runs, corpus_size, places, bad);
	ok(corpus_size > 50, "the calls found their way");
	expect(fd, "after all this a block is set", MAC_IOCTL_SET_ADDR_NUM, &record, 0);
	expect(fd, "and read", MAC_IOCTL_GET_ADDR, &record, 0);
	close(fd);
}
