#!/usr/bin/env bash
# A module whose package holds a 1.5 GiB entry followed by small ones loads
# under Wine, and extractresfile writes the small entry behind the large one.
# The reader must get there through bounded views of the module file: one view
# of the whole file does not fit a 32-bit process. The large entry is a sparse
# file, so the test writes and reads little.
#   large_package.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR
# BITS and DLL_DIR as in lib.sh. Exit 0 passed, 1 failed, 77 skipped (Wine,
# the build or, for a 32-bit build, Wine's 32-bit support missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")

wine_setup "$1" "$4" "$5" "$setup_pack"
width=win$bits
dir="$work/large_package_$width"
fresh_dir "$dir"
trap 'rm -rf "$dir"' EXIT
out="$dir/stdout"
err="$dir/stderr"

fail() {
  echo "FAILED: $*"
  echo "--- stdout:"; cat -A "$out" 2>/dev/null
  echo "--- stderr:"; cat "$err" 2>/dev/null
  exit 1
}

# The harness without arguments prints its usage and exits 2. Anything else
# means this Wine cannot run the build's programs (a 32-bit build without
# Wine's 32-bit part): skipped, not passed.
timeout 300 "$wine_bin" "$host" >"$out" 2>"$err"
probe=$?
if [ "$probe" -ne 2 ] || ! grep -q '^usage: setup-host' "$err"; then
  skip "this Wine cannot run $host (exit $probe): $(head -c 300 "$err")"
fi

truncate -s 1536M "$dir/big.bin"
printf 'the small entry behind the large one\r\n' >"$dir/small.txt"
target="C:\\large_package_small.txt"
cat >"$dir/large.cxx" <<SCRIPT
num main() {
  return extractresfile("small.txt", "$target")
}
SCRIPT
"$setup_pack" create "$dir/Setup.dll" --base "$dll_dir/Setup.dll" \
  "$dir/big.bin" "$dir/small.txt" "$dir/large.cxx" >/dev/null || fail "setup-pack create"
rm -f "$dir/big.bin"
written="$WINEPREFIX/drive_c/large_package_small.txt"
rm -f "$written"

timeout 600 "$wine_bin" "$host" "$(winpath "$dir/Setup.dll")" "/install" >"$out" 2>"$err"
rc=$?
[ "$rc" -eq 0 ] || fail "harness exit $rc, expected 0 (the module did not load)"
grep -q '^Action returned 1' "$err" || fail "extractresfile did not succeed"
cmp -s "$dir/small.txt" "$written" || fail "the extracted entry differs from small.txt"
rm -f "$written"
echo "passed: large_package ($width)"
