#!/usr/bin/env bash
# The desktop application side by side with its references, in one run:
#  - start to the first painted window against an empty Qt Widgets window (target <= 1.5 x),
#    both under the same Xvfb display, timed by hyperfine;
#  - the review list of 20,000 candidates: sort and filter (target <= 50 ms);
#  - a scan in the application against `velmora scan` of the same home (target <= 1.05 x) and
#    the UI thread's longest stall while it runs (target <= 50 ms);
#  - the insight scan through the insights view model against runInsightScan called directly on
#    the same home (target <= 1.05 x).
# Usage: bench/desktop.sh [BUILD_DIR] [HOME_TREE]
set -euo pipefail
build=${1:-build/release}
tree=${2:-/tmp/velmora-bench/home-300000}
bin=$build/bin
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
# A launch with onboarding done, as every launch after the first.
mkdir -p "$home/.config/Velmora"
printf '[General]\nvelmora.macOnboardingCompleted.v1=true\n' > "$home/.config/Velmora/Velmora.conf"

echo "== start to first painted window (Xvfb) =="
xvfb-run -a -s "-screen 0 1280x900x24" bash -c "
  hyperfine -N --warmup 3 --runs 20 --export-json '$home/start.json' \
    '$bin/velmora_empty_window' \
    'env HOME=$home $bin/velmora-desktop --home $home --exit-after-first-paint' >/dev/null"
python3 - "$home/start.json" <<'PY'
import json, sys
r = json.load(open(sys.argv[1]))["results"]
empty, app = r[0]["median"], r[1]["median"]
print(f"empty window {empty*1000:.1f} ms, velmora-desktop {app*1000:.1f} ms, ratio {app/empty:.2f} (target <= 1.5)")
PY

echo "== review list of 20,000 candidates =="
"$bin/velmora_ui_bench" review 20000

if [ -d "$tree" ]; then
  echo "== scan in the application against velmora scan: $tree =="
  cli=$( { /usr/bin/time -f %e "$bin/velmora" --home "$tree" scan --json --quiet >/dev/null; } 2>&1 )
  ui=$("$bin/velmora_ui_bench" latency "$tree")
  echo "velmora scan ${cli} s; application $ui"
  python3 -c "import json,sys; u=json.loads(sys.argv[2]); print(f'ratio {u[\"scanSeconds\"]/float(sys.argv[1]):.2f} (target <= 1.05), worst UI stall {u[\"worstEventLoopGapMs\"]:.1f} ms (target <= 50)')" "$cli" "$ui"
fi

if [ -d "$tree" ]; then
  echo "== insight scan in the application against runInsightScan: $tree =="
  ins=$("$bin/velmora_ui_bench" insights "$tree" 5)
  echo "$ins"
  python3 -c "import json,sys; u=json.loads(sys.argv[1]); print(f'ratio {u[\"ratio\"]:.3f} (target <= 1.05)')" "$ins"
fi
