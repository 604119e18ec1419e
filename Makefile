# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
# Entry points. Two do everything on a fresh Debian 12 machine, as root or with
# sudo: "make demo" and "make test".

.DEFAULT_GOAL := help
.PHONY: help build install demo test test-clang test-threads modules test-kernel test-kernels test-kernel-debug test-kernel-trees kernel-gates fuzz bench bench-check \
	scenarios replay soak mutants mutants-sample freestanding coverage lint clean packages-demo packages-test packages-clang packages-mutants \
	packages-kernel packages-kernels packages-kernel-debug packages-bench packages-all

help:
	@echo "make demo          install what is missing, build, show the main job on the demo board"
	@echo "make test          install what is missing, build, pass the tests (under sanitizers,"
	@echo "                   and both modules in an arm64 guest)"
	@echo "make test-clang    the same tests, built by the second compiler"
	@echo "make build         build macctl: build/release/macctl"
	@echo "make install       macctl and the public headers, under PREFIX (/usr/local) and DESTDIR"
	@echo "make modules       the kernel modules, KDIR=... for a kernel tree other than the running one's"
	@echo "make test-kernel   both modules on Debian's arm64 kernel under QEMU, tests in the guest"
	@echo "                   KERNEL=PATH: on a kernel built from that source, LEVEL=debug with checkers"
	@echo "make test-kernel-trees   the same again on all kernels that were built so"
	@echo "make test-kernels  the same on Debian's other kernels: 5.10 to 6.12, arm64 and amd64"
	@echo "make test-kernel-debug   on kernels that check themselves: failing allocations, leaks, locks,"
	@echo "                   coverage-guided fuzzing, power cuts of a machine with CFI flash"
	@echo "make kernel-gates  what refuses a module or a kernel source refuses each fault"
	@echo "make test-threads  callers on several threads under the thread sanitizer"
	@echo "make fuzz          fuzzers of everything that reads hostile input"
	@echo "make bench         measure, and write docs/benchmarks.md; make bench-check: counts that rose"
	@echo "make scenarios     power cuts, two in a row, and failing media; make replay ID=... for one"
	@echo "make soak          macctl killed while it writes, 1000 times"
	@echo "make mutants       planted faults, which have to be caught: four by hand, and all that a"
	@echo "                   machine finds (an hour); make mutants-sample: what changed, and a sample"
	@echo "make freestanding  gate: the system's objects as a kernel module needs them"
	@echo "make coverage      line and branch coverage of the system"
	@echo "make lint          direction of includes, clang-tidy"
	@echo "make clean         remove the build folder"

packages-demo:
	@scripts/install-packages.sh demo
packages-test:
	@scripts/install-packages.sh test
packages-kernel:
	@scripts/install-packages.sh kernel
packages-kernels:
	@scripts/install-packages.sh kernels
packages-kernel-debug:
	@scripts/install-packages.sh kernel-debug
packages-clang:
	@scripts/install-packages.sh clang
packages-mutants:
	@scripts/install-packages.sh mutants
packages-bench:
	@scripts/install-packages.sh bench
packages-all:
	@scripts/install-packages.sh all

build: packages-demo
	@scripts/build.sh

# PREFIX and DESTDIR as usual.
PREFIX ?= /usr/local
install: build
	@cmake --install build/release --prefix "$(PREFIX)"

demo: build
	@scripts/demo.sh build/release/macctl

test: packages-test
	@scripts/test.sh

# The unit tests once more with the second compiler.
test-clang: packages-clang
	@scripts/run-tests.sh clang-sanitized -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DMAC_SANITIZE=ON -DMAC_UNITY=ON

# KDIR: a kernel tree or its headers; further variables (ARCH, CROSS_COMPILE) pass through.
KDIR ?= /lib/modules/$(shell uname -r)/build
modules:
	@scripts/build-modules.sh "$(KDIR)" build/modules
	@echo "built build/modules/mac_mng.ko and build/modules/mac_platform.ko"

# Lanes ARCH:SERIES:RUN[,RUN]; see scripts/test-kernel.sh. KERNEL: an unpacked kernel source
# instead, with LEVEL=debug one that checks itself.
KERNELS ?= arm64:6.1:test
LEVEL ?= lean
ifdef KERNEL
test-kernel: packages-kernel-debug
	@scripts/test-kernel-tree.sh "$(KERNEL)" "$(LEVEL)"
else
test-kernel: $(if $(findstring amd64,$(KERNELS)),packages-kernels,packages-kernel)
	@scripts/test-kernels.sh $(KERNELS)
endif

# What refuses a module or a kernel source, held against one with each fault.
kernel-gates: packages-kernel
	@scripts/test-module-gate.sh
	@scripts/test-tree-refusals.sh

# Every kernel of the cache that was built from a tree; LINE=4.4: of that line.
test-kernel-trees: packages-kernel
	@scripts/test-kernel-trees.sh $(LINE)

# The other kernels that Debian has, and the media that a kernel brings itself.
test-kernels: packages-kernels
	@scripts/test-kernels.sh amd64:6.12:test,stock amd64:6.1:test,stock amd64:5.10:test \
		arm64:6.12:test arm64:5.10:test

# The kernels are built from source on first use. MAC_CALLER_ROUNDS: how often an instance
# is unmounted under its reader.
test-kernel-debug: packages-kernel-debug
	@scripts/test-kernel-debug.sh

# MAC_THREAD_ROUNDS: how often an instance is unmounted under its readers.
test-threads: packages-test
	@scripts/test-threads.sh

# MAC_FUZZ_SECONDS for each target.
fuzz: packages-clang
	@scripts/fuzz.sh

# Exact counts of instructions against those on record; all of it, and the report.
bench-check: packages-bench
	@scripts/bench.sh check
bench: packages-bench
	@scripts/bench.sh write

# Power cuts and failing media in full; one run again by its id.
scenarios: packages-test
	@scripts/scenarios.sh
replay: packages-test
	@scripts/scenarios.sh --replay "$(ID)"

# A SIGKILL at random moments, two processes at once.
soak: packages-test
	@scripts/build.sh
	@python3 tests/soak.py build/release/macctl 1000

# Planted faults that have to be caught: one in each of a few builds, by the gates; all that
# a machine finds, by the unit tests. WRITE=1: records the run.
mutants: packages-mutants
	@scripts/mutants.sh
	@scripts/planted-faults.sh prove
	@scripts/planted-faults.sh full $(if $(WRITE),--write)
# Of the latter those in functions that changed, and as many others as MAC_SAMPLE_SECONDS allow.
mutants-sample: packages-mutants
	@scripts/planted-faults.sh prove
	@scripts/planted-faults.sh sample

freestanding: packages-all
	@scripts/freestanding.sh

coverage: packages-all
	@scripts/coverage.sh

lint: packages-all
	@scripts/lint.sh

clean:
	rm -rf build
