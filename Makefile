# The two commands of the README, and a few more.
#   make test   install what is missing, build, run every test (native, the
#               Python package and the installed package in the Release
#               build, then the Windows build under Wine)
#   make run    the main job: a demo calendar (made once, in build/demo-home),
#               its agenda and this month's grid
#   make install PREFIX=...   install the build of `make build`
#   make soak   the long soaks: change propagation between processes, and a
#               calendar killed 250 times while it saves
#   make fuzz   every fuzzer for FUZZ_SECONDS (60) each, in build-fuzz/
SHELL := /bin/bash
BUILD ?= build
ASAN_BUILD ?= build-asan
RELEASE_BUILD ?= build-release
WINDOWS_BUILD ?= build-windows
DEMO_HOME ?= $(BUILD)/demo-home
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
# The project's own builds treat every warning as an error.
CONFIGURE = cmake -S . -G Ninja -DORNCAL_WARNINGS_AS_ERRORS=ON

.PHONY: all deps build install test test-native test-release test-windows soak fuzz run format bench clean

all: build

deps:
	@./scripts/install-deps.sh native interop

build: deps
	@$(CONFIGURE) -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNCAL_BUILD_TESTS=OFF >/dev/null
	@cmake --build $(BUILD) -j $(JOBS) > $(BUILD)/build.log || { cat $(BUILD)/build.log; exit 1; }

# The test suites run under AddressSanitizer and UndefinedBehaviorSanitizer.
test-native: deps
	@$(CONFIGURE) -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DORNCAL_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS) -LE soak

# The Release build of what is installed (the test suites already ran under
# the sanitizers above and are not compiled again); the Python package, which
# a sanitized build cannot load, is tested here (ctest -L python); then the
# build is installed into a temporary prefix and an example is built against
# the installed package (scripts/test-package.sh).
RELEASE_TARGETS = orncalendar orncalendar_shared orncal OrnCalNtf orncalendar_python add_appointments
test-release: deps
	@$(CONFIGURE) -B $(RELEASE_BUILD) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build $(RELEASE_BUILD) -j $(JOBS) --target $(RELEASE_TARGETS)
	@cd $(RELEASE_BUILD) && ctest -L python --output-on-failure
	@./scripts/test-package.sh $(RELEASE_BUILD)

# The Windows build, cross-compiled and run under Wine (scripts/test-windows.sh).
test-windows:
	@BUILD_WINDOWS=$(WINDOWS_BUILD) JOBS=$(JOBS) ./scripts/test-windows.sh

# Native first, then Release, then Windows; one after the other even under
# make -j.
test: test-native
	@$(MAKE) --no-print-directory test-release
	@$(MAKE) --no-print-directory test-windows

# The long soaks, in the sanitizer build: change propagation (4 processes x
# 500 random changes on one data folder; ORNCAL_SOAK_SEED picks another
# interleaving), and a calendar killed 250 times while it saves
# (ORNCAL_CRASH_SEED picks the moments).
soak: deps
	@$(CONFIGURE) -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DORNCAL_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS) --target soak_tests crash_tests
	@cd $(ASAN_BUILD) && ctest --output-on-failure -V -L soak

# Every fuzzer for FUZZ_SECONDS (default 60) each, FUZZ_PARALLEL (1) at a
# time, in a clang build (scripts/run-fuzzers.sh).
fuzz:
	@FUZZ_SECONDS=$(or $(FUZZ_SECONDS),60) FUZZ_PARALLEL=$(or $(FUZZ_PARALLEL),1) JOBS=$(JOBS) \
	  ./scripts/run-fuzzers.sh

# Headers, libraries, the CMake package, orncalendar.pc and the tools under
# PREFIX (sudo may be needed for the default /usr/local).
install: build
	@cmake --install $(BUILD) --prefix "$(PREFIX)"

# The demo calendar is made at the first run and kept; delete $(DEMO_HOME)
# for a new one around the day it is made.
run: build
	@orncal=./$(BUILD)/tools/orncal/orncal && \
	  { [ -e "$(DEMO_HOME)" ] || $$orncal --data-home "$(DEMO_HOME)" demo; } && \
	  echo && $$orncal --data-home "$(DEMO_HOME)" agenda && \
	  echo && $$orncal --data-home "$(DEMO_HOME)" month

format:
	@git ls-files '*.cc' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(RELEASE_BUILD) $(WINDOWS_BUILD) build-bench build-fuzz

# Benchmarks in a release build.
bench:
	@./scripts/install-deps.sh bench
	@$(CONFIGURE) -B build-bench -DCMAKE_BUILD_TYPE=Release -DORNCAL_BUILD_TESTS=OFF -DORNCAL_BUILD_BENCH=ON >/dev/null
	@cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do [ -x "$$b" ] && "$$b" || exit 1; done
	@PYTHONPATH=build-bench/python /usr/bin/python3 bench/python_month_view.py build-bench
