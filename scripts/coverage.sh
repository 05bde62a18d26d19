#!/usr/bin/env bash
# Line, branch and function coverage of a setup script as an HTML report:
# runs the script through setup-run with --coverage and renders the lcov
# tracefile with genhtml.
#   scripts/coverage.sh [setup-run options] SCRIPT [COMMAND...]
#   scripts/coverage.sh --matrix xp,7,10 --add driver.inf install.cxx /install /uninstall
# Everything is passed to setup-run as it is (--matrix runs count together).
# Environment:
#   COVERAGE_DIR  where coverage.info and html/ go (default build/coverage)
#   SETUP_RUN     the runner (default build/host/setup-run, built when missing)
# Prints lcov's summary and the report's index.html. Exit status: setup-run's
# (5 when --matrix rows differ), 2 when no tracefile was written.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
OUT=${COVERAGE_DIR:-$ROOT/build/coverage}
SETUP_RUN=${SETUP_RUN:-$ROOT/build/host/setup-run}

if [ $# -eq 0 ]; then
  echo "usage: scripts/coverage.sh [setup-run options] SCRIPT [COMMAND...]" >&2
  exit 2
fi
if ! command -v genhtml >/dev/null 2>&1; then
  bash "$ROOT/scripts/install-tools.sh" host >&2
fi
if [ ! -x "$SETUP_RUN" ]; then
  (cd "$ROOT" && bash scripts/install-tools.sh host >/dev/null &&
    cmake --preset host >/dev/null && cmake --build --preset host --target setup-run >/dev/null)
fi

mkdir -p "$OUT"
rm -rf "$OUT/html" "$OUT/coverage.info"
status=0
"$SETUP_RUN" --coverage "$OUT/coverage.info" "$@" || status=$?
if [ ! -s "$OUT/coverage.info" ]; then
  echo "coverage.sh: setup-run wrote no tracefile (exit status $status)" >&2
  exit 2
fi
# An included file that no --put brought from the host has no source here:
# genhtml warns and lists its counts without the text.
genhtml --quiet --branch-coverage --function-coverage --legend --title "setup script coverage" \
  --ignore-errors source --output-directory "$OUT/html" "$OUT/coverage.info"
lcov --rc lcov_branch_coverage=1 --summary "$OUT/coverage.info" 2>&1 | sed -n 's/^  //p'
echo "report: $OUT/html/index.html"
exit "$status"
