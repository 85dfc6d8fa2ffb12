#!/usr/bin/env bash
# The insight scan side by side with `jdupes -r -q` over the reference large-file home (built once
# with make_corpus.py dups), in one hyperfine run:
#   1. `velmora --home TREE --catalogue macos insights --json`: the whole insight scan with the
#      default budgets (walk, storage map, findings, duplicates, system snapshot);
#   2. BM_DuplicateDetection/2: walk + duplicate detection with every budget raised, so that all
#      files are read as jdupes reads them;
#   3. `jdupes -r -q` over the insight folders of the tree.
# Then checks that the groups agree: each group velmora reports is one of jdupes' groups, and
# each jdupes group velmora does not report has members skipped for a duplicate budget.
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
folders=()
for f in Downloads Desktop Documents Movies Pictures Music "Library/Application Support" \
  "Library/Developer"; do
  [ -d "$tree/$f" ] && folders+=("$tree/$f")
done
jdupes_cmd="jdupes -r -q$(printf ' %q' "${folders[@]}")"
export VELMORA_BENCH_DUPS="$tree"
hyperfine -N -w 3 -r 10 \
  "$build/bin/velmora --home $tree --catalogue macos insights --json" \
  "$build/bin/velmora_bench --benchmark_filter=BM_DuplicateDetection/2/" \
  "$jdupes_cmd"

report=$(mktemp)
jd=$(mktemp)
trap 'rm -f "$report" "$jd"' EXIT
"$build/bin/velmora" --home "$tree" --catalogue macos insights --json >"$report"
jdupes -r -q "${folders[@]}" >"$jd"
python3 - "$report" "$jd" <<'PY'
import json, sys, urllib.parse
report = json.load(open(sys.argv[1]))
def path(url):
    return urllib.parse.unquote(url[len("file://"):]).rstrip("/")
ours = [frozenset(path(f["url"]) for f in g["files"]) for g in report["duplicateGroups"]]
theirs, group = [], set()
for line in open(sys.argv[2]).read().splitlines() + [""]:
    if line:
        group.add(line)
    elif group:
        theirs.append(frozenset(group)); group = set()
budget = {path(s["url"]) for s in report["skippedItems"] if "budget exceeded" in s["reason"]}
wrong = [g for g in ours if g not in theirs]
missing = [g for g in theirs if g not in ours and len(g - budget) > 1]
print(f"velmora {len(ours)} groups within the budgets, jdupes {len(theirs)}; "
      f"{len(theirs) - len(ours)} left out for a budget")
if wrong or missing:
    print("groups differ:", wrong, missing); sys.exit(1)
PY
