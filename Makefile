# The two commands a new user needs: `make demo` and `make test`.
PRESET ?= release
BUILD_DIR := build
JOBS ?= $(shell nproc)
export MAKEFLAGS += --no-print-directory

.PHONY: all deps configure build test demo bench fuzz format clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET) -j $(JOBS)

# The suite runs twice: on the release build and on the AddressSanitizer + UndefinedBehaviorSanitizer
# build (with LeakSanitizer), against one throwaway PostgreSQL cluster.
test: build
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan -j $(JOBS)
	@bash scripts/run-tests.sh $(BUILD_DIR) build-asan

demo: build
	@bash scripts/demo.sh $(BUILD_DIR)

# The report against the raw read at three sizes (see bench/README.md); always a release build.
bench: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS)
	@bash bench/report.sh --build build

# Every fuzz target for FUZZ_SECONDS each (clang, libFuzzer, ASan + UBSan); see fuzz/run.sh.
FUZZ_SECONDS ?= 60
fuzz:
	@bash scripts/install-deps.sh fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz -j $(JOBS) --target fuzz_filter fuzz_layout fuzz_conversions fuzz_efd_reader
	@bash fuzz/run.sh build-fuzz $(FUZZ_SECONDS)

format:
	@clang-format -i $$(git ls-files '*.hpp' '*.cpp')

clean:
	@rm -rf build build-debug build-asan build-profile build-fuzz out
