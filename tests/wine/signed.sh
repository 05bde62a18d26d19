#!/usr/bin/env bash
# A module packed by setup-pack and then signed by osslsigncode, run by the
# real DLL under Wine: the library finds its package in front of the
# certificate table, runs the script and extracts an entry.
#   signed.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR DATA_DIR
# BITS and DLL_DIR as in lib.sh. Exit 0 passed, 1 failed, 77 skipped (the
# Wine loader of that width, the DLL, the harness, openssl or osslsigncode
# missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
data=$(realpath -m "$6")

fail() {
  echo "FAILED: $*"
  echo "--- stdout:"; cat -A "$out" 2>/dev/null
  echo "--- stderr:"; cat "$err" 2>/dev/null
  exit 1
}

wine_setup "$1" "$4" "$5" "$setup_pack"
command -v openssl >/dev/null || skip "openssl is not installed"
command -v osslsigncode >/dev/null || skip "osslsigncode is not installed"
width=win$bits
dir="$work/signed_$width"
fresh_dir "$dir"
out="$dir/stdout"
err="$dir/stderr"

cd "$dir" || fail "cannot enter $dir"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 \
  -subj '/CN=Setup signing test' -addext extendedKeyUsage=codeSigning >/dev/null 2>&1 ||
  fail "openssl could not make a certificate"
printf 'payload of a signed module\r\n' >signed_payload.txt
"$setup_pack" create packed.dll --base "$dll_dir/Setup.dll" "$data/wine_signed.cxx" \
  signed_payload.txt >/dev/null || fail "setup-pack create"
osslsigncode sign -certs cert.pem -key key.pem -h sha256 -in packed.dll -out Setup.dll \
  >"$out" 2>"$err" || fail "osslsigncode sign"
osslsigncode verify -CAfile cert.pem -in Setup.dll >"$out" 2>"$err" || fail "osslsigncode verify"
"$setup_pack" verify Setup.dll >"$out" 2>"$err" || fail "setup-pack verify"
grep -q '^setup-pack: Setup.dll: the package lies inside the signed range$' "$out" ||
  fail "setup-pack verify does not report the package as signed"

windows_dir="$WINEPREFIX/drive_c/windows"
rm -f "$windows_dir"/[Tt]emp/signed_payload.txt
timeout 600 "$wine_bin" "$host" --watch wine_signed.cxx "$(winpath "$dir/Setup.dll")" "/install" \
  >"$out" 2>"$err"
rc=$?
[ "$rc" -eq 0 ] || fail "harness exit $rc, expected 0"
grep -q '^Action returned 7' "$err" || fail "the script did not extract its payload"
grep -Eq '^\[watch\] loaded: .*\\wine_signed\.cxx exists' "$err" || fail "no script was extracted"
extracted=$(find "$windows_dir" -maxdepth 2 -iname signed_payload.txt | head -1)
[ -n "$extracted" ] || fail "the payload is not in the Windows temp directory"
cmp -s "$extracted" signed_payload.txt || fail "the payload differs from the packed file"
echo "passed: signed module, $width"
