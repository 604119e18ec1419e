// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
/* Results, files and modules. */
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <sys/klog.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "guest.h"

bool stock_media;
bool checkers;

static int tests;
static int failures;
static const char *indent = "";

void ok(bool good, const char *format, ...)
{
	va_list arguments;

	tests++;
	failures += !good;
	printf("%s%s %d - ", indent, good ? "ok" : "not ok", tests);
	va_start(arguments, format);
	vprintf(format, arguments);
	va_end(arguments);
	printf("\n");
	fflush(stdout);
}

void skip(const char *what, const char *why)
{
	printf("%sok %d - %s # SKIP %s\n", indent, ++tests, what, why);
}

void begin_subtest(void)
{
	indent = "    ";
}

int tap_failures(void)
{
	return failures;
}

void tap_end(void)
{
	printf("1..%d\n# %d passed, %d failed\n", tests, tests - failures, failures);
	fflush(stdout);
}

ssize_t peek(const char *path, off_t offset, void *bytes, size_t count)
{
	int fd = open(path, O_RDONLY);
	ssize_t moved = pread(fd, bytes, count, offset);

	close(fd);
	return moved;
}

ssize_t poke(const char *path, off_t offset, const void *bytes, size_t count)
{
	int fd = open(path, O_WRONLY);
	ssize_t moved = pwrite(fd, bytes, count, offset);

	close(fd);
	return moved;
}

bool file_has(const char *path, const char *text)
{
	static char content[1 << 20];
	ssize_t length = 0;
	int fd = open(path, O_RDONLY);
	ssize_t moved;

	while ((moved = read(fd, content + length, sizeof(content) - 1 - length)) > 0)
		length += moved;
	close(fd);
	content[length] = '\0';
	return strstr(content, text) != NULL;
}

void parameter(const char *name, char *value, size_t room)
{
	static char line[4096];
	char *word;

	line[0] = '\0';
	if (peek("/proc/cmdline", 0, line, sizeof(line) - 1) <= 0)
		return;
	for (word = strtok(line, " \n"); word; word = strtok(NULL, " \n"))
		if (!strncmp(word, name, strlen(name)) && word[strlen(name)] == '=')
			snprintf(value, room, "%s", word + strlen(name) + 1);
}

int load(const char *name, const char *parameters)
{
	char path[64];
	int fd;
	int result;

	snprintf(path, sizeof(path), "/modules/%s.ko", name);
	fd = open(path, O_RDONLY | O_CLOEXEC);
	result = (int)syscall(SYS_finit_module, fd, parameters, 0);
	if (result)
		result = errno;
	close(fd);
	return result;
}

int unload(const char *name)
{
	return syscall(SYS_delete_module, name, O_NONBLOCK) ? errno : 0;
}

long module_parameter(const char *module, const char *name)
{
	char path[128];
	char text[32] = "";

	snprintf(path, sizeof(path), "/sys/module/%s/parameters/%s", module, name);
	if (peek(path, 0, text, sizeof(text) - 1) <= 0)
		ok(false, "%s cannot be read", path);
	return text[0] == 'Y' ? 1 : atol(text);
}

void set_module_parameter(const char *module, const char *name, const char *value)
{
	char path[128];

	snprintf(path, sizeof(path), "/sys/module/%s/parameters/%s", module, name);
	if (poke(path, 0, value, strlen(value)) != (ssize_t)strlen(value))
		ok(false, "%s cannot be set", path);
}

static char mark[32];

void log_mark(void)
{
	static int marks;

	/* Else the kernel leaves some of these lines out. */
	poke("/proc/sys/kernel/printk_devkmsg", 0, "on", 2);
	snprintf(mark, sizeof(mark), "mac_test: mark %d\n", ++marks);
	poke("/dev/kmsg", 0, mark, strlen(mark));
}

int log_count(const char *text)
{
	static char log[1 << 20];
	const int length = klogctl(3, log, sizeof(log) - 1);
	const char *at;
	int count = 0;

	log[length < 0 ? 0 : length] = '\0';
	/* A mark that is no longer there has only newer lines after it. */
	at = mark[0] ? strstr(log, mark) : NULL;
	for (at = at ? at : log; (at = strstr(at, text)) != NULL; at += strlen(text))
		count++;
	return count;
}

long milliseconds(void)
{
	struct timespec time;

	clock_gettime(CLOCK_MONOTONIC, &time);
	return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

int run(const char *program, const char *argument, const char *more)
{
	pid_t child = fork();
	int status;

	if (child == 0) {
		execl(program, program, argument, more, (char *)NULL);
		_exit(127);
	}
	waitpid(child, &status, 0);
	return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
