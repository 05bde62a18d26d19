#!/usr/bin/env bash
# Runs one life-cycle case of Setup.dll under Wine through the setup-host
# harness of the same width (BITS 64 or 32, see lib.sh).
#   wine_case.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR DATA_DIR CASE
# Exit 0 passed, 1 failed, 77 skipped (Wine, the DLL or the harness missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
data=$(realpath -m "$6")
case_name=$7

fail() {
  echo "FAILED: $*"
  echo "--- stdout:"; cat -A "$out" 2>/dev/null
  echo "--- stderr:"; cat "$err" 2>/dev/null
  exit 1
}

wine_setup "$1" "$4" "$5" "$setup_pack"
dir="$work/win$bits/$case_name"
fresh_dir "$dir"
out="$dir/stdout"
err="$dir/stderr"
windows_dir="$WINEPREFIX/drive_c/windows"

pack() {  # pack OUT FILE...: Setup.dll followed by a package of the FILEs
  local target=$1
  shift
  "$setup_pack" create "$target" --base "$dll_dir/Setup.dll" "$@" || fail "setup-pack create"
}

run_host() {  # run_host ARG...: the harness under Wine; sets $rc
  timeout 600 "$wine_bin" "$host" "$@" >"$out" 2>"$err"
  rc=$?
}

expect_line() {  # expect_line PATTERN: a stderr line matches (extended regex)
  grep -Eq "$1" "$err" || fail "no stderr line matches: $1"
}

case "$case_name" in
  extract_and_cleanup)
    # The script lies in the Windows directory while the library is loaded
    # and is gone once it has been unloaded.
    pack "$dir/Setup.dll" "$data/wine_probe.cxx"
    run_host --watch wine_probe.cxx "$(winpath "$dir/Setup.dll")"
    [ "$rc" -eq 0 ] || fail "harness exit $rc, expected 0"
    expect_line '^\[watch\] loaded: .*\\wine_probe\.cxx exists'
    expect_line '^\[watch\] unloaded: .*\\wine_probe\.cxx missing'
    [ ! -e "$windows_dir/wine_probe.cxx" ] || fail "the script is left in $windows_dir"
    [ ! -s "$out" ] || fail "a load without calls printed something"
    ;;
  run_script)
    # One Action call: main's number comes back, the expanded file exists
    # until the unload, and both files are removed.
    pack "$dir/Setup.dll" "$data/wine_run.cxx"
    run_host --watch wine_run.cxx --watch wine_run.cxx.e "$(winpath "$dir/Setup.dll")" "/install"
    [ "$rc" -eq 0 ] || fail "harness exit $rc, expected 0"
    expect_line '^Action returned 7'
    expect_line '^\[watch\] before unload: .*\\wine_run\.cxx\.e exists'
    expect_line '^\[watch\] unloaded: .*\\wine_run\.cxx missing'
    expect_line '^\[watch\] unloaded: .*\\wine_run\.cxx\.e missing'
    grep -q -- '-----The program executed finished!-----' "$out" || fail "no closing line on stdout"
    ;;
  no_script_entry)
    # A package without a script refuses to load, after the reader's report.
    # setup-pack refuses such a package, so pack the text as a script and
    # rename its entry in the table afterwards (same length, no checksum).
    cp "$data/readme.txt" "$dir/noscript.cxx"
    pack "$dir/Setup.dll" "$dir/noscript.cxx"
    perl -0777 -pi -e 's/noscript\.cxx/noscript.txt/g' "$dir/Setup.dll"
    run_host "$(winpath "$dir/Setup.dll")" "/install"
    [ "$rc" -eq 1 ] || fail "harness exit $rc, expected 1 (load refused)"
    # The C runtime's text-mode stdout ends lines with CR LF on Windows.
    printf '\n$ can not find any *.cxx in resource file list. ' >"$dir/expected"
    sed 's/\r$//' "$out" >"$dir/stdout.lf"
    cmp -s "$dir/expected" "$dir/stdout.lf" || fail "stdout differs from the reader's report"
    if grep -q '^Action returned' "$err"; then fail "Action was called"; fi
    ;;
  *)
    echo "unknown case $case_name"
    exit 2
    ;;
esac
echo "passed: $case_name"
