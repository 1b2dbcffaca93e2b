# The commands of this project. Each installs what it needs and is missing (Debian), then says what it does.
MAKEFLAGS += --no-print-directory
.DEFAULT_GOAL := help
MODE ?= silent
SECONDS ?= 60
# More tests than cores at a time: many of them wait.
JOBS ?= $(shell expr $$(nproc) + 2)

.PHONY: help run build test faults fuzz bench lint format sanitize package package-test screenshots clean

help:
	@echo "make run        build, then a silent run against a loopback support service; MODE=window opens the window"
	@echo "make test       build, then run every test"
	@echo "make build      the shipped bundle, in build/release;  make clean removes all that was built"
	@echo "make bench      measure speed and memory; QUICK=1 only tries it"
	@echo "make lint       formatting, layers, qmllint and clang-tidy;  make format corrects the formatting"
	@echo "make sanitize   every test under the address, undefined-behaviour and thread sanitizers"
	@echo "make faults     the silent run with each of its system calls failing once, all of them"
	@echo "make fuzz       made-up input for every parser, SECONDS=60 each (libFuzzer)"
	@echo "make screenshots  pictures of the window in every state, in build/screenshots"
	@echo "make package    the Debian packages and their bill of materials, in build/package; OPTIONS=-DLUMAMON_SUPPORT_HOST=..."
	@echo "make package-test  the packages built twice and compared, then installed, used and removed in a Debian of their own"

run: build
	@scripts/demonstration build/release $(MODE)

build:
	@scripts/require-packages build
	@scripts/build release bundle support_service sample_product

test:
	@scripts/require-packages build test
	@scripts/tests $(JOBS)

sanitize:
	@scripts/require-packages build test
	@scripts/sanitize $(JOBS)

faults:
	@scripts/require-packages build test
	@scripts/build release -DLUMAMON_TESTS=ON fault_test
	@LUMAMON_ALL_FAULTS=1 build/release/UnitTests.app/Contents/Linux/fault_test

fuzz:
	@scripts/require-packages build fuzz
	@scripts/fuzz $(SECONDS)

bench:
	@scripts/require-packages build test bench
	@scripts/build release -DLUMAMON_BENCHMARKS=ON
	@build/release/Bench.app/Contents/Linux/bench
	@build/release/bench/bench_whole_run
	@build/release/bench/bench_upload
	@build/release/bench/bench_endpoint
	@build/release/bench/bench_helpers
	@build/release/bench_window.app/Contents/Linux/bench_window

screenshots:
	@scripts/require-packages build test
	@scripts/screenshots

lint:
	@scripts/require-packages build test bench lint
	@scripts/lint

format:
	@scripts/require-packages lint
	@git ls-files '*.cpp' '*.h' '*.mm' | xargs clang-format -i

package:
	@scripts/require-packages build package
	@scripts/package $(OPTIONS)

package-test:
	@scripts/require-packages build test package package-test
	@scripts/package-test

clean:
	@rm -rf build
