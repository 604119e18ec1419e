/* SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause */
/*
 * The kernel tests, in TAP: one static program. As process 1 of a guest it loads
 * the modules, runs everything and powers off; "guest commands" issues the control
 * commands only, so that a 32-bit build of the same program can do it too.
 */
#ifndef TESTS_KERNEL_GUEST_H
#define TESTS_KERNEL_GUEST_H

#include <errno.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_status.h"

#define DEVICE "/dev/mac_mng"
#define DEFAULT 0xffffffffu
#define RING "/sys/kernel/debug/mac_platform/mac_mng"

/* --- tap.c: results, files, modules --- */

/* The media: the test board's, with faults, or what the kernel itself brings. */
extern bool stock_media;
/* Whether this kernel checks itself: everything takes several times as long. */
extern bool checkers;

/* One test's line; a subtest's lines are indented. */
void ok(bool good, const char *format, ...) __attribute__((format(printf, 2, 3)));
/* A test that cannot run here, and why. */
void skip(const char *what, const char *why);
void begin_subtest(void);
int tap_failures(void);
void tap_end(void);

/* Read or write bytes of a file; the number moved. */
ssize_t peek(const char *path, off_t offset, void *bytes, size_t count);
ssize_t poke(const char *path, off_t offset, const void *bytes, size_t count);
/* Whether a file's content, up to 1 MiB, holds the text. */
bool file_has(const char *path, const char *text);

/* The value of NAME= on the kernel's command line, as it was when there is none. */
void parameter(const char *name, char *value, size_t room);

/* Load and unload a module of /modules; 0 or an errno. */
int load(const char *name, const char *parameters);
int unload(const char *name);
/* A loaded module's parameter, as a number; of a yes or no 1 or 0. */
long module_parameter(const char *module, const char *name);
void set_module_parameter(const char *module, const char *name, const char *value);

/* How often the kernel's log has the text, since the last mark. */
void log_mark(void);
int log_count(const char *text);
/* Of a clock that only goes on. */
long milliseconds(void);

/* Runs a program; its exit status. */
int run(const char *program, const char *argument, const char *more);

/* --- commands.c: the control device --- */

/* A command's status: results -14 and -1 come back as errno. */
uint32_t command(int fd, unsigned int number, void *record);
/* 0, a result of the module's own, or a code of a platform service. */
bool documented(uint32_t status);
void expect(int fd, const char *what, unsigned int number, void *record, uint32_t expected);
struct mac_ioctl_address address(uint32_t type, uint32_t num, const char *bytes);
/* All twelve commands and their refusals; the program's exit status. */
int commands(void);
/* Eight processes at once, while a module calls the exported functions. */
void eight_processes(void);

/* --- media.c --- */

void damage_and_repair(void);
void failing_media(void);
void stuck_bit(void);
/* Locks, kinds and buffers of flash, and a process killed while it waits for it. */
void flash_service(void);
void killed_while_waiting(void);
void limited_lines(void);
void boot_tools(void);
/* A platform that does not tell macctl where the records lie. */
void unknown_layout(void);
void attributes(void);

/* --- eeprom_file.c --- */

/* A chip that the board names by the path of its file. */
void eeprom_by_file(void);

/* --- lifecycle.c --- */

void load_and_unload(void);
/* Every step of loading either module made to fail. */
void failing_loads(void);
/* What no run may leave in the kernel's log (with failures of allocations: what only they
 * may), and the checkers still at work. */
void kernel_log(bool failures);
/* That a worn range is refused is said once. */
void said_once(void);

/* --- callers.c: modules that call, that are called, and that go --- */

/* A storage driver of another module, and what else such a module may do. */
void other_module(void);
/* Start-ups that fail, and what is said of them. */
void failing_start_ups(void);
/* Reads on one processor while another mounts and unmounts. */
void unmounting_under_reads(void);
/* A variable that is set and never saved; what modules leave in a ring of nobody's. */
void left_by_modules(void);

/* --- fail_nth.c, fuzz.c, leaks.c: kernels that check themselves --- */

/* Every failure point of every command and of loading each module. */
void kernel_failures(void);
/* One minute of calls guided by coverage. */
void fuzz_device(void);
/* What nothing points to any more. */
void leaks(void);

/* --- bench.c --- */

/* What each command costs, in lines "bench NAME: N". */
void bench(void);

/* --- power.c --- */

/* Does not come back. */
void write_until_killed(void);

#endif
