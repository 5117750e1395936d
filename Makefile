# SPDX-FileCopyrightText: 2026 The AppList authors
# SPDX-License-Identifier: MIT
#
#   make run       a user interface in this terminal, with a remote side on a private bus; without
#                  a terminal, the whole job by itself
#   make test      build, and run all tests
#   make test-arm  build for ARM with 32 and with 64 bits; unit tests, bus tests and the
#                  fuzz corpus in an emulator
#   make build     build everything
#   make docs      the reference of the headers, in build/docs/html
#   make check     what else must be quiet: clang, sanitizers, clang-tidy, clang-format, the ABI
#   make fault-test  every fault as often as it takes, on both buses, with and without a direct line
#   make check-abi   whether programs that use the shared library go on with this one; part of
#                  make check. make abi-update writes down what they can rely on from now on
#   make coverage  line and branch coverage of src/
#   make bench     what AppList costs beside what else does the same: docs/figures.md
#   make sizes     how big the release is, and its memory at rest: the end of docs/figures.md. For
#                  ARM as well, where build/sysroot has armhf or arm64
#   make fuzz      FUZZ_SECONDS (60) of each fuzz target
#   make deb       the Debian packages, in build/deb
#   make test-deb  the Debian packages on a machine that has nothing else; needs root
#
# Each installs the packages that it needs.

SOURCES = find apps benchmarks docs include platform remote src tests \
  -name '*.h' -print0 -o -name '*.cpp' -print0

.PHONY: build test run check coverage format clean

build:
	packaging/install build test
	cmake --preset dev
	cmake --build --preset dev

test: build
	ctest --preset dev

ARM = armhf arm64
.PHONY: test-arm arm-packages $(ARM:%=test-%)
test-arm: $(ARM:%=test-%)

arm-packages:
	packaging/install build test arm

$(ARM:%=test-%): test-%: arm-packages
	packaging/sysroot $* build/sysroot/$*
	cmake --preset $*
	cmake --build --preset $*
	ctest --preset $*

# One program for each bus and each way, which prints how long an operation took at most. With -j4,
# they run side by side.
.PHONY: fault-test fault-build
fault-test: $(foreach bus,dbus-daemon dbus-broker,$(foreach line,direct bus,fault-$(bus)-$(line)))
fault-build: build

fault-%: line = $(lastword $(subst -, ,$*))
fault-%: fault-build
	APPLIST_FAULT_LONG=1 APPLIST_TEST_BUS=$(patsubst %-$(line),%,$*) APPLIST_LINE=$(line) \
	  build/dev/tests/fault/FaultTest

run:
	packaging/install build run
	cmake --preset release
	cmake --build --preset release
	if [ -t 0 ] && [ -t 1 ]; then \
	  build/release/apps/try-out/applist-try-out build/release/apps/applistd/applistd \
	    build/release/apps/applist-ui/applist-ui apps/walk-through/samples; \
	else \
	  build/release/apps/walk-through/applist-walk-through \
	    build/release/apps/applistd/applistd apps/walk-through/samples; \
	fi

# The folder of this name is there all the time.
.PHONY: docs
docs:
	packaging/install docs
	mkdir -p build
	doxygen docs/Doxyfile

# Runs of the benchmark that are shown beside each other.
BENCH_RUNS = 1 2
.PHONY: bench bench-build $(BENCH_RUNS:%=bench-run-%)
bench: $(BENCH_RUNS:%=bench-run-%)
	benchmarks/figures.py docs/figures.md $(BENCH_RUNS:%=build/bench/run-%.json)

bench-build:
	packaging/install build bench
	cmake --preset bench
	cmake --build --preset bench

# One after another, also with -j.
$(BENCH_RUNS:%=bench-run-%): bench-run-%: bench-build
	flock build/bench benchmarks/run.py build/bench build/bench/run-$*.json

.PHONY: sizes
sizes: arm-packages
	packaging/install run bench
	set -e; for architecture in $(ARM); do \
	  packaging/sysroot $$architecture build/sysroot/$$architecture; \
	done
	python3 -B benchmarks/sizes.py docs/figures.md $(ARM)

check: check-format check-clang check-tidy check-asan check-tsan check-abi

.PHONY: check-packages check-format check-clang check-tidy check-asan check-tsan
check-packages:
	packaging/install build test check

check-format: check-packages
	$(SOURCES) | xargs -0 clang-format --dry-run -Werror

check-clang check-asan check-tsan: check-%: check-packages
	cmake --preset $*
	cmake --build --preset $*
	ctest --preset $*

check-tidy: check-clang
	run-clang-tidy -quiet -p build/clang '$(CURDIR)/(src|platform|remote|apps|tests|benchmarks)/'

.PHONY: check-abi abi-update abi-build
check-abi: abi-build
	packaging/abi/check

abi-update: abi-build
	packaging/abi/check update

abi-build: check-packages
	cmake --preset abi
	cmake --build --preset abi

# Of the core as the unit tests build it; the copies of its templates in programs that do not run
# here are not counted, nor are branches that only an exception of the standard library takes.
coverage: check-packages
	cmake --preset coverage
	cmake --build --preset coverage --target tests/unit/all
	ctest --preset coverage -L unit
	gcovr --root . --filter src/ --exclude-throw-branches --print-summary \
	  --fail-under-line 98 --fail-under-branch 90 \
	  build/coverage/src build/coverage/tests/unit build/coverage/tests/support

# What is found is written to build/fuzz/found: it belongs into tests/fuzz/crashes/NAME.
FUZZ_SECONDS = 60
FUZZ_TARGETS = item endpoint model remote-side bus-text
.PHONY: fuzz fuzz-build $(FUZZ_TARGETS:%=fuzz-%)
fuzz: $(FUZZ_TARGETS:%=fuzz-%)

fuzz-build: check-packages
	cmake --preset fuzz
	cmake --build --preset fuzz

$(FUZZ_TARGETS:%=fuzz-%): fuzz-%: fuzz-build
	mkdir -p build/fuzz/corpus/$* build/fuzz/found
	cp tests/fuzz/corpus/$*/* build/fuzz/corpus/$*
	build/fuzz/tests/fuzz/fuzz-$* -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	  -timeout=10 -rss_limit_mb=1024 -max_len=4096 -artifact_prefix=build/fuzz/found/$*- \
	  build/fuzz/corpus/$*

.PHONY: deb test-deb
deb:
	packaging/install build deb
	packaging/build-deb

test-deb: deb
	packaging/install test-deb
	tests/packages/run

format:
	$(SOURCES) | xargs -0 clang-format -i

clean:
	rm -rf build
