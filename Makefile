# The two commands a new user needs: `make demo` and `make test`.
PRESET ?= release
BUILD_DIR := build
JOBS ?= $(shell nproc)
export MAKEFLAGS += --no-print-directory

.PHONY: all deps configure build test demo bench format clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET) -j $(JOBS)

test: build
	@bash scripts/run-tests.sh $(BUILD_DIR)

demo: build
	@bash scripts/demo.sh $(BUILD_DIR)

# The report against the raw read at three sizes (see bench/README.md); always a release build.
bench: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS)
	@bash bench/report.sh --build build

format:
	@clang-format -i $$(git ls-files '*.hpp' '*.cpp')

clean:
	@rm -rf build build-debug build-asan out
