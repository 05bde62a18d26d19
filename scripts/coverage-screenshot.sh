#!/usr/bin/env bash
# Makes docs/coverage-example.png, the picture of a coverage report in
# docs/setup-run.md: the example installer (examples/acme_logger) runs
# /install, /uninstall and /repair on a matrix of profiles (as its coverage
# test does), scripts/coverage.sh renders the report, and wkhtmltoimage (from
# Debian's wkhtmltopdf, installed when missing) draws the top of the
# script's page without a display.
#   scripts/coverage-screenshot.sh [OUTPUT.png]
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
OUTPUT=${1:-$ROOT/docs/coverage-example.png}
EXAMPLE=$ROOT/examples/acme_logger
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

if ! command -v wkhtmltoimage >/dev/null 2>&1; then
  SUDO=()
  if [ "$(id -u)" -ne 0 ]; then SUDO=(sudo); fi
  "${SUDO[@]}" apt-get -o DPkg::Lock::Timeout=900 install -y -qq --no-install-recommends \
    wkhtmltopdf >/dev/null
fi

ADDS=()
for file in "$EXAMPLE"/*; do
  case "$file" in *.cxx) ;; *) ADDS+=(--add "$file") ;; esac
done
COVERAGE_DIR=$WORK bash "$ROOT/scripts/coverage.sh" --fixed-time --fast-sleep \
  --matrix 98,xp,7,10-64 --device 'USB\VID_0AC3&PID_1207\5&1A2B&0&1=USB\VID_0AC3&PID_1207' \
  "${ADDS[@]}" "$EXAMPLE/install.cxx" /install /uninstall /repair || [ $? -eq 5 ]

PAGE=$(find "$WORK/html" -name 'install.cxx.gcov.html' | head -1)
mkdir -m 700 "$WORK/runtime"
QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=$WORK/runtime \
  wkhtmltoimage --quiet --enable-local-file-access --width 900 --height 1000 --quality 10 \
  "file://$PAGE" "$OUTPUT"
echo "wrote $OUTPUT"
