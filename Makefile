# The two commands of the README, and a few more.
#   make test   install what is missing, build, run every test (native, then
#               the Windows build under Wine)
#   make run    the main job: this week's appointments on the default data
#               folder (orncal list, Monday 00:00 to the next Monday 00:00)
SHELL := /bin/bash
BUILD ?= build
ASAN_BUILD ?= build-asan
WINDOWS_BUILD ?= build-windows
JOBS ?= $(shell nproc)

.PHONY: all deps build test test-native test-windows run format bench clean

all: build

deps:
	@./scripts/install-deps.sh native

build: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORNCAL_BUILD_TESTS=OFF >/dev/null
	@cmake --build $(BUILD) -j $(JOBS) > $(BUILD)/build.log || { cat $(BUILD)/build.log; exit 1; }

# The test suites run under AddressSanitizer and UndefinedBehaviorSanitizer.
test-native: deps
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DORNCAL_SANITIZE=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS)

# The Windows build, cross-compiled and run under Wine (scripts/test-windows.sh).
test-windows:
	@BUILD_WINDOWS=$(WINDOWS_BUILD) JOBS=$(JOBS) ./scripts/test-windows.sh

# Native first, then Windows; one after the other even under make -j.
test: test-native
	@$(MAKE) --no-print-directory test-windows

run: build
	@monday=$$(date -d "-$$(( $$(date +%u) - 1 )) days" +%F) && \
	  next=$$(date -d "$$monday 7 days" +%F) && \
	  echo "This week, $$monday to $$next:" && \
	  ./$(BUILD)/tools/orncal/orncal list --from "$$monday" --to "$$next"

format:
	@git ls-files '*.cc' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(WINDOWS_BUILD) build-bench

# Benchmarks in a release build.
bench:
	@./scripts/install-deps.sh bench
	@cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DORNCAL_BUILD_TESTS=OFF -DORNCAL_BUILD_BENCH=ON >/dev/null
	@cmake --build build-bench -j $(JOBS)
	@for b in build-bench/bench/*_bench; do [ -x "$$b" ] && "$$b" || exit 1; done
