#!/usr/bin/env bash
# Duplicate detection side by side with `jdupes -r -q` over the reference large-file tree (built
# once with make_corpus.py dups). Velmora's side is the BM_DuplicateDetection/2 benchmark (walk
# + detection, two workers, budgets unlimited so that every file is read as jdupes reads it).
# Usage: bench/dups.sh [MIB] [BUILD]   (defaults 2000, build/release)
set -euo pipefail
cd "$(dirname "$0")/.."
mib=${1:-2000}
build=${2:-build/release}
dir=${VELMORA_BENCH_DIR:-/tmp/velmora-bench}
corpus=../shared/bench/make_corpus.py
[ -f "$corpus" ] || corpus=shared/bench/make_corpus.py
tree="$dir/dups"
[ "$mib" = 2000 ] || tree="$dir/dups-$mib"

if [ ! -e "$tree/.done" ]; then
  echo "Building the ${mib} MiB duplicate tree in $tree ..." >&2
  rm -rf "$tree"
  python3 "$corpus" dups "$tree" "$mib"
  touch "$tree/.done"
fi
export VELMORA_BENCH_DUPS="$tree"
hyperfine -N -w 3 -r 10 \
  "$build/bin/velmora_bench --benchmark_filter=BM_DuplicateDetection/2/" \
  "jdupes -r -q $tree"
