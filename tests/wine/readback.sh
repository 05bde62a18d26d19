#!/usr/bin/env bash
# The registry that a script writes through the real 64-bit DLL under Wine,
# read back with Wine's own "reg query", equals the registry the same script
# leaves on the simulated machine (read from its machine.json).
#   readback.sh SETUP_PACK SETUP_RUN WIN64_DIR WORK_DIR DATA_DIR
# Exit 0 equal, 1 different, 77 skipped (Wine, the DLL, the harness or jq missing).
set -u
setup_pack=$(realpath -m "$1")
setup_run=$(realpath -m "$2")
win64_dir=$(realpath -m "$3")
work=$(realpath -m "$4")
data=$(realpath -m "$5")
key='HKEY_LOCAL_MACHINE\SOFTWARE\Golden Readback'

skip() {
  echo "SKIPPED: $*"
  exit 77
}
wine_bin=$(command -v wine || command -v wine64 || true)
[ -n "$wine_bin" ] || skip "wine is not installed"
command -v jq >/dev/null || skip "jq is not installed"
[ -f "$win64_dir/Setup.dll" ] || skip "$win64_dir/Setup.dll has not been built"
[ -f "$win64_dir/setup-host.exe" ] || skip "$win64_dir/setup-host.exe has not been built"
[ -x "$setup_pack" ] || skip "$setup_pack has not been built"
[ -x "$setup_run" ] || skip "$setup_run has not been built"

export WINEPREFIX="$work/wineprefix"
export WINEDEBUG=-all
dir="$work/readback"
rm -rf "$dir"
mkdir -p "$dir" "$WINEPREFIX"
winpath() { printf 'Z:%s' "$(realpath -m "$1" | tr '/' '\\')"; }

# ---- Wine: run the script, then list the key with reg query.
"$setup_pack" create "$dir/Setup.dll" --base "$win64_dir/Setup.dll" "$data/wine_registry.cxx" \
  >"$dir/pack.log" 2>&1 || { cat "$dir/pack.log"; exit 1; }
(cd "$dir" && timeout 300 "$wine_bin" "$win64_dir/setup-host.exe" "$(winpath "$dir/Setup.dll")" "") \
  >"$dir/wine.out" 2>"$dir/wine.err"
timeout 300 "$wine_bin" reg query "$key" /s >"$dir/wine.raw" 2>&1
# "KEY" lines and "    NAME    TYPE    DATA" lines become KEY|NAME|TYPE|DATA.
tr -d '\r' <"$dir/wine.raw" | awk -v FS='    ' '
  /^HKEY_/ { current = $0; print current "|||"; next }
  /^    / { name = $2; if (name == "(Default)") name = ""; print current "|" name "|" $3 "|" $4 }
' | sort >"$dir/wine.list"

# ---- Simulator: the same script, then the key from machine.json.
(cd "$data" && "$setup_run" --fixed-time --os 6.1 --sysdir 'C:\windows\system32' \
  --machine "$dir/machine" wine_registry.cxx "") >"$dir/sim.out" 2>"$dir/sim.err"
jq -r --arg key "$key" '
  def hexbytes: [range(0; length; 2) as $i | .[$i:$i+2] | ascii_downcase | explode
                 | map(if . >= 97 then . - 87 else . - 48 end) | .[0] * 16 + .[1]];
  def text: hexbytes | (index(0) // length) as $stop | .[0:$stop] | implode;
  def hex: if . == 0 then "0" else [recurse(if . >= 16 then (. / 16 | floor) else empty end) % 16]
           | reverse | map("0123456789abcdef"[.:.+1]) | join("") end;
  def dword: hexbytes | .[0] + .[1] * 256 + .[2] * 65536 + .[3] * 16777216 | "0x" + hex;
  def types: {"1": "REG_SZ", "2": "REG_EXPAND_SZ", "4": "REG_DWORD"};
  def walk($path): ($path + "|||"),
    (.values[] | $path + "|" + .name + "|" + types[(.type | tostring)] + "|"
                 + (if .type == 4 then (.data | dword) else (.data | text) end)),
    (.keys[] | walk($path + "\\" + .name));
  def find($parts): if ($parts | length) == 0 then . else
    (.keys[] | select((.name | ascii_downcase) == ($parts[0] | ascii_downcase))) | find($parts[1:]) end;
  ($key | split("\\")) as $parts
  | .registry[$parts[0]] | find($parts[1:]) | walk($key)
' "$dir/machine/machine.json" | sort >"$dir/sim.list"

if [ ! -s "$dir/wine.list" ]; then
  echo "FAILED: reg query found nothing"; cat "$dir/wine.raw" "$dir/wine.err"; exit 1
fi
if cmp -s "$dir/sim.list" "$dir/wine.list"; then
  echo "agree: $(wc -l <"$dir/sim.list") keys and values"
  timeout 300 "$wine_bin" reg delete "$key" /f >/dev/null 2>&1
  exit 0
fi
echo "DIFFER: registry read back"
diff -u --label setup-run --label "wine reg query" "$dir/sim.list" "$dir/wine.list"
exit 1
