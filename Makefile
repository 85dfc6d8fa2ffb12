# Entry points: `make run` (release build, read-only scan of your home folder),
# `make test` (sanitizer build, every test), `make build` (release command at build/release/bin/velmora).
.PHONY: setup build run test bench fuzz format clean screenshots install package

JOBS ?= $(shell nproc 2>/dev/null || echo 2)

setup:
	@scripts/setup.sh

build: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)

# Opens the desktop application when there is a display; otherwise prints a read-only scan
# of your home folder. Builds only the programs, not the tests and benchmarks.
run: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target velmora velmora-desktop
	@if [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ]; then build/release/bin/velmora-desktop; \
	else echo "No display (DISPLAY and WAYLAND_DISPLAY are unset): a read-only scan instead."; \
	     build/release/bin/velmora scan; fi

# Pictures of each section of the application in English, Korean, Japanese and German (and
# Korean at the extra-large text size, dark) into docs/screenshots, under Xvfb.
screenshots: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target velmora_screenshots
	scripts/screenshots.sh build/release/bin/velmora_screenshots docs/screenshots

test: setup
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

bench: setup
	VELMORA_BENCH_TOOLS=1 scripts/setup.sh
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	bench/run.sh
	bench/dups.sh 2000 build/release

# The history loader, the scan-snapshot loader and the preference-blob decoders (ignore list, kept folders, home grant,
# metric history) under libFuzzer (clang, AddressSanitizer, UBSan) for FUZZ_SECONDS each,
# starting from the seeds in fuzz/corpus and fuzz/<blob>-corpus; new inputs they find are kept
# in build/fuzz/corpus and build/fuzz/<blob>-corpus.
FUZZ_SECONDS ?= 60
fuzz: setup
	VELMORA_FUZZ_TOOLS=1 scripts/setup.sh
	CC=clang CXX=clang++ cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)
	mkdir -p build/fuzz/corpus
	build/fuzz/bin/audit_loader_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=65536 \
		build/fuzz/corpus fuzz/corpus
	mkdir -p build/fuzz/delta-blame-corpus
	build/fuzz/bin/delta_blame_loader_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=65536 \
		build/fuzz/delta-blame-corpus fuzz/delta-blame-corpus
	mkdir -p build/fuzz/ignore-list-corpus
	build/fuzz/bin/ignore_list_fuzzer -max_total_time=$(FUZZ_SECONDS) -max_len=65536 \
		build/fuzz/ignore-list-corpus fuzz/ignore-list-corpus
	for blob in folders home-grant metric-history; do \
		mkdir -p build/fuzz/$$blob-corpus && \
		build/fuzz/bin/$$(echo $$blob | tr - _)_fuzzer -max_total_time=$(FUZZ_SECONDS) \
			-max_len=65536 build/fuzz/$$blob-corpus fuzz/$$blob-corpus || exit 1; \
	done

# `make install` puts the programs, the reminder's systemd user units, the desktop entry, the
# AppStream metadata and the icon below PREFIX (DESTDIR is put in front, for staging);
# `make package` builds the Debian package build/package/velmora_<version>_<arch>.deb.
# Both use the release configuration without tests and benchmarks (preset "package").
PREFIX ?= /usr/local
install: setup
	cmake --preset package >/dev/null
	cmake --build --preset package -j $(JOBS)
	DESTDIR="$(DESTDIR)" cmake --install build/package --prefix "$(PREFIX)"

package: setup
	cmake --preset package >/dev/null
	cmake --build --preset package -j $(JOBS)
	cd build/package && cpack -G DEB

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
