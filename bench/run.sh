#!/usr/bin/env bash
# Builds the reference trees (once) and compares velmora with the established tools on them:
# the scan, and the insight scan of a whole Linux home, with `du -sk` (warm, and as root also with
# the page cache dropped before every run); the scan's human table in Japanese against English; moving 1,000 and 10,000
# confirmed folders to the Trash with `trash-put`; then the peak memory of scanning and cleaning
# 1,000,000 candidates in one folder (about 4 GB of disk for the tree; VELMORA_BENCH_HUGE=0
# leaves it out).
# Usage: bench/run.sh [FILES]   (default 300000). Trees live in $VELMORA_BENCH_DIR
# (default /tmp/velmora-bench); the release build must exist (make bench does both), or
# VELMORA names another velmora binary.
set -euo pipefail
cd "$(dirname "$0")/.."
files=${1:-300000}
dir=${VELMORA_BENCH_DIR:-/tmp/velmora-bench}
velmora=${VELMORA:-build/release/bin/velmora}
corpus=../shared/bench/make_corpus.py
[ -f "$corpus" ] || corpus=shared/bench/make_corpus.py

mkdir -p "$dir"
if [ ! -e "$dir/scan-$files/.done" ]; then
  echo "Building the $files-file reference home in $dir/scan-$files ..." >&2
  rm -rf "$dir/scan-$files"
  python3 "$corpus" scan "$dir/scan-$files" "$files"
  touch "$dir/scan-$files/.done"
fi
if [ ! -e "$dir/home-$files/.done" ]; then
  echo "Building the $files-file Linux home in $dir/home-$files ..." >&2
  rm -rf "$dir/home-$files"
  python3 "$corpus" home "$dir/home-$files" "$files"
  touch "$dir/home-$files/.done"
fi
echo "| work | velmora | reference | ratio | velmora peak memory |"
echo "|---|---|---|---|---|"
python3 bench/compare.py scan "$velmora" "$dir/scan-$files" linux
python3 bench/compare.py scan "$velmora" "$dir/scan-$files" macos
python3 bench/compare.py scan "$velmora" "$dir/home-$files" linux
python3 bench/compare.py insights "$velmora" "$dir/home-$files"
python3 bench/compare.py localized "$velmora" "$dir/scan-$files" ja
if [ "$(id -u)" = 0 ]; then  # dropping the page cache needs root
  VELMORA_BENCH_COLD=1 python3 bench/compare.py scan "$velmora" "$dir/scan-$files" linux
  VELMORA_BENCH_COLD=1 python3 bench/compare.py insights "$velmora" "$dir/home-$files"
fi
python3 bench/compare.py trash "$velmora" "$dir" 1000
python3 bench/compare.py trash "$velmora" "$dir" 10000 3
if [ "${VELMORA_BENCH_HUGE:-1}" != 0 ]; then
  python3 bench/compare.py huge "$velmora" "$dir" 1000000
fi
