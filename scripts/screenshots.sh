#!/usr/bin/env bash
# Takes the README's pictures of the desktop application under a virtual display.
# Usage: scripts/screenshots.sh TOOL OUTPUT_DIR
set -euo pipefail
tool=$1
out=$2
mkdir -p "$out"
run() { xvfb-run -a -s "-screen 0 1280x900x24" "$tool" "$out" "$@"; }
for language in en ko ja de; do run "$language"; done
run ko extraLarge dark
