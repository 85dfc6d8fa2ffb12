# Entry points: `make run` (release build, read-only scan of your home folder),
# `make test` (sanitizer build, every test), `make build` (release command at build/release/bin/velmora).
.PHONY: setup build run test bench format clean

JOBS ?= $(shell nproc 2>/dev/null || echo 2)

setup:
	@scripts/setup.sh

build: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)

run: build
	build/release/bin/velmora scan

test: setup
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

bench: setup
	VELMORA_BENCH_TOOLS=1 scripts/setup.sh
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	bench/run.sh

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
