#!/usr/bin/env bash
# A real installer as the host: an NSIS installer, built with makensis,
# carries the packed 32-bit Setup.dll (tests/wine/data/nsis_install.cxx and
# readme.txt), calls Action through the System plug-in and writes the number
# it returned into a file. It runs silently (/S) under Wine in the WoW64
# prefix, once with "/install /Acme" and once with "/remove"; the test checks
# the numbers (against setup-run --wow64 too) and what the script did: its
# registry values, seen by the 64-bit reg.exe under WOW6432Node where a
# 32-bit installer's HKLM\SOFTWARE lands, and the file it extracted.
#   nsis.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR DATA_DIR   (BITS: 32)
# Exit 0 passed, 1 failed, 77 skipped (Wine, wine32, makensis or the DLL missing).
set -u -o pipefail
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
setup_run=$(realpath -m "$3")
data=$(realpath -m "$6")
[ "$1" = 32 ] || { echo "NSIS installers are 32-bit programs: BITS must be 32"; exit 2; }
wine_setup "$1" "$4" "$5" "$setup_pack" "$setup_run"
command -v makensis >/dev/null || skip "makensis is not installed (Debian: nsis)"
dir="$work/nsis"
fresh_dir "$dir"

fail() {
  echo "FAILED: $*"
  exit 1
}

key='HKLM\SOFTWARE\WOW6432Node\Golden Nsis'
key64='HKLM\SOFTWARE\Golden Nsis'
target="$WINEPREFIX/drive_c/windows/Golden Nsis"
reg64() { timeout 300 "$wine64_bin" reg "$@" 2>/dev/null | tr -d '\r'; }

cp "$data/nsis_install.cxx" "$data/readme.txt" "$dir/"
(cd "$dir" && "$setup_pack" create "$dir/Setup.dll" --base "$dll_dir/Setup.dll" \
  nsis_install.cxx readme.txt) >"$dir/pack.log" 2>&1 || { cat "$dir/pack.log"; fail "setup-pack create"; }

# installer NAME COMMAND: builds NAME.exe, which calls Action(COMMAND) and
# writes the result into NAME.result; runs it silently; prints the result.
installer() {
  local name=$1 command=$2
  rm -f "$dir/$name.result"
  makensis -V2 -DSETUP_DLL="$dir/Setup.dll" -DCOMMAND="$command" \
    -DRESULT="$(winpath "$dir/$name.result")" -DOUTFILE="$dir/$name.exe" \
    "$data/nsis_installer.nsi" >"$dir/$name.makensis.log" 2>&1 ||
    { cat "$dir/$name.makensis.log"; fail "makensis $name"; }
  (cd "$dir" && timeout 600 "$wine_bin" "$dir/$name.exe" /S) >"$dir/$name.log" 2>&1 ||
    { cat "$dir/$name.log"; fail "$name.exe /S exited $?"; }
  [ -f "$dir/$name.result" ] || fail "$name.exe wrote no result"
  cat "$dir/$name.result"
}

# What an interrupted earlier run may have left.
reg64 delete "$key" /f >/dev/null
rm -rf "$target"

# The simulated machine that the prefix is answers the same.
(cd "$dir" && "$setup_run" --fixed-time "${sim_machine[@]}" --add readme.txt \
  nsis_install.cxx "/install /Acme") >"$dir/sim.out" 2>"$dir/sim.err"
grep -qx 'Action returned 42' "$dir/sim.err" || { cat "$dir/sim.err"; fail "setup-run did not answer 42"; }

result=$(installer install "/install /Acme")
[ "$result" = 42 ] || fail "Action(\"/install /Acme\") returned '$result', expected 42"
reg64 query "$key" /v Version | grep -Eq '^ +Version +REG_SZ +1\.2$' ||
  fail "no Version 1.2 under $key: $(reg64 query "$key")"
reg64 query "$key" /v Name | grep -Eq '^ +Name +REG_SZ +Acme$' || fail "no Name Acme under $key"
if reg64 query "$key64" >/dev/null; then
  fail "$key64 exists: the 32-bit installer's key was not redirected"
fi
cmp -s "$target/readme.txt" "$data/readme.txt" || fail "$target/readme.txt is not the packaged file"
[ ! -e "$WINEPREFIX/drive_c/windows/nsis_install.cxx" ] ||
  fail "the extracted script is left in the Windows directory"
[ ! -e "$WINEPREFIX/drive_c/windows/syswow64/nsis_install.cxx" ] ||
  fail "the extracted script is left in SysWOW64"

result=$(installer remove "/remove")
[ "$result" = 1 ] || fail "Action(\"/remove\") returned '$result', expected 1"
if reg64 query "$key" >/dev/null; then fail "$key is still there after /remove"; fi
[ ! -e "$target" ] || fail "$target is still there after /remove"
echo "passed: the NSIS installer called Action (42, then 1) and the script's effects are right"
