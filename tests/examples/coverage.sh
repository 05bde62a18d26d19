#!/usr/bin/env bash
# The example's coverage: /install, /uninstall and /repair (which the example
# answers with its usage message) on a matrix of Windows profiles, one lcov
# tracefile for all of them. Prints the tracefile's line, function and branch
# coverage; fails when setup-run or lcov rejects something, or when a
# function of the example never ran.
#   coverage.sh SETUP_RUN WORK_DIR SCRIPT [--add FILE | other setup-run options]...
set -eu
setup_run=$1
work=$2
script=$3
shift 3
if ! command -v lcov >/dev/null 2>&1; then
  echo "lcov is not installed (scripts/install-tools.sh host installs it)"
  exit 77
fi
rm -rf "$work"
mkdir -p "$work"
status=0
"$setup_run" --fixed-time --matrix 98,xp,7,10-64 --coverage "$work/coverage.info" "$@" \
  "$script" /install /uninstall /repair || status=$?
# Exit status 5: the profiles answer differently (old Windows are refused).
if [ "$status" -ne 0 ] && [ "$status" -ne 5 ]; then
  echo "setup-run failed with exit status $status"
  exit 1
fi
summary=$(lcov --rc lcov_branch_coverage=1 --summary "$work/coverage.info" 2>&1)
echo "$summary"
grep -q '^  lines\.\.\.\.\.\.: ' <<<"$summary"
grep -q '^  branches\.\.\.: ' <<<"$summary"
if grep -q '^FNDA:0,' "$work/coverage.info"; then
  echo "functions that never ran:"
  grep '^FNDA:0,' "$work/coverage.info"
  exit 1
fi
