#!/usr/bin/env bash
# An example's /install followed by /uninstall on one simulated machine leaves
# the machine as it was: its registry, services, devices and files equal those
# of a machine on which the library was only loaded (a run that changes
# nothing).
#   roundtrip.sh SETUP_RUN WORK_DIR SCRIPT [--add FILE | other setup-run options]...
set -eu
setup_run=$1
work=$2
script=$3
shift 3
rm -rf "$work"
mkdir -p "$work"
"$setup_run" --fixed-time --machine "$work/changed" "$@" "$script" /install /uninstall \
  >"$work/changed.out" 2>"$work/changed.err"
"$setup_run" --fixed-time --machine "$work/untouched" "$@" "$script" /none \
  >"$work/untouched.out" 2>"$work/untouched.err"
[ "$(grep -c '^Action returned 0$' "$work/changed.err")" = 2 ] || {
  echo "install or uninstall failed:"
  cat "$work/changed.out" "$work/changed.err"
  exit 1
}
status=0
diff -u "$work/untouched/machine.json" "$work/changed/machine.json" || status=1
diff -ru "$work/untouched/fs" "$work/changed/fs" || status=1
exit $status
