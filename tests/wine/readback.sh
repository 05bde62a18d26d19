#!/usr/bin/env bash
# The registry that a script writes through the real DLL under Wine, exported
# with Wine's own "reg export", equals the export of the same keys that
# setup-run writes after running the script on the simulated machine
# (--export-reg with --export-key). Only what legitimately differs is
# normalised (see docs/wine.md, "Registry read-back"); the files are
# otherwise compared line for line.
#   readback.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR DATA_DIR
# With BITS 32 the 32-bit DLL writes in the WoW64 prefix, where its
# HKLM\SOFTWARE is HKLM\SOFTWARE\WOW6432Node; both sides export the keys
# where they really are, as a 64-bit registry editor sees them: Wine's 64-bit
# reg.exe, and setup-run --wow64, whose exports show the 64-bit layout.
# Exit 0 equal, 1 different, 77 skipped (Wine, the DLL, the harness or iconv missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
setup_run=$(realpath -m "$3")
data=$(realpath -m "$6")
wine_setup "$1" "$4" "$5" "$setup_pack" "$setup_run"
command -v iconv >/dev/null || skip "iconv is not installed"
# Wine takes the ANSI code page from the locale; the script's bytes above
# 0x7F are Windows-1252, as the simulator reads them.
export LC_ALL=C.UTF-8
dir="$work/readback-win$bits"
fresh_dir "$dir"
script=wine_registry.cxx

# The keys the script writes, where they really are, and the file name of
# each key's export. HKLM\SYSTEM is the same in both views.
if [ "$bits" = 32 ]; then
  software='HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432Node\Golden Readback'
else
  software='HKEY_LOCAL_MACHINE\SOFTWARE\Golden Readback'
fi
keys=("$software" 'HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\goldreadsvc')
names=(software service)

# A .reg file as text to compare: UTF-16LE (the byte-order mark checked and
# dropped) to UTF-8, CR LF to LF.
as_text() {  # as_text FILE
  if [ "$(head -c 2 "$1" | od -An -tx1 | tr -d ' ')" != fffe ]; then
    echo "<no UTF-16LE byte-order mark>"
  fi
  tail -c +3 "$1" | iconv -f UTF-16LE -t UTF-8 | tr -d '\r'
}

# Wine's export brought to what Windows writes (docs/wine.md, "Registry
# read-back"):
# - key blocks in Windows' order (windows_key_order below);
# in a service's key:
# - Wine's service control manager adds "ObjectName"="LocalSystem" to a
#   kernel driver's key, and at times its "PreshutdownTimeout" (180 seconds);
#   Windows writes neither for a new driver service.
# - Wine writes ImagePath as REG_SZ; Windows writes REG_EXPAND_SZ, exported as
#   hex(2): UTF-16LE bytes, wrapped as the registry editor wraps hex data.
wine_text() {  # wine_text FILE
  as_text "$1" | LC_ALL=C awk '
    BEGIN { for (i = 32; i < 127; i++) code[sprintf("%c", i)] = i }
    /^\[/ { service = /^\[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\[^\\]*\]$/ }
    service && $0 == "\"ObjectName\"=\"LocalSystem\"" { next }
    service && $0 == "\"PreshutdownTimeout\"=dword:0002bf20" { next }
    service && /^"ImagePath"=".*"$/ {
      text = substr($0, 14, length($0) - 14)
      gsub(/\\\\/, "\\", text)
      n = 0
      for (i = 1; i <= length(text); i++) {
        c = substr(text, i, 1)
        if (!(c in code)) { print "<ImagePath not ASCII>"; next }
        bytes[++n] = code[c]; bytes[++n] = 0
      }
      bytes[++n] = 0; bytes[++n] = 0
      out = "\"ImagePath\"=hex(2):"
      column = length(out)
      for (i = 1; i <= n; i++) {
        out = out sprintf("%02x", bytes[i])
        if (i == n) break
        out = out ","
        column += 3
        if (column >= 77) { out = out "\\\n  "; column = 2 }
      }
      print out
      next
    }
    { print }' | windows_key_order
}

# Key blocks in the order Windows enumerates subkeys: names compared in upper
# case, component by component (Wine compares them in lower case). The sort
# key is the path in upper case with "\" as \001, below every character.
windows_key_order() {
  LC_ALL=C awk '
    /^\[/ { if (block != "") print sortkey "\t" block
            sortkey = toupper(substr($0, 2, length($0) - 2)); gsub(/\\/, "\001", sortkey)
            block = $0; next }
    block == "" { print "\001\t" $0; next }
    { block = block "\002" $0 }
    END { if (block != "") print sortkey "\t" block }' |
    LC_ALL=C sort -s -t $'\t' -k1,1 | cut -f2- | tr '\002' '\n'
}

# The script with its placeholders for bytes above 0x7F filled in.
LC_ALL=C sed 's/@E9@/\xe9/g; s/@FC@/\xfc/g' "$data/$script" >"$dir/$script"

# ---- Wine: run the script, export each key with reg export, remove them.
"$setup_pack" create "$dir/Setup.dll" --base "$dll_dir/Setup.dll" "$dir/$script" \
  >"$dir/pack.log" 2>&1 || { cat "$dir/pack.log"; exit 1; }
# A first /remove clears what an interrupted earlier run may have left.
(cd "$dir" && timeout 300 "$wine_bin" "$host" "$(winpath "$dir/Setup.dll")" /remove) \
  >/dev/null 2>&1
(cd "$dir" && timeout 300 "$wine_bin" "$host" "$(winpath "$dir/Setup.dll")" /write) \
  >"$dir/wine.out" 2>"$dir/wine.err"
for i in "${!keys[@]}"; do
  timeout 300 "$wine64_bin" reg export "${keys[$i]}" "$(winpath "$dir/wine-${names[$i]}.reg")" /y \
    >"$dir/wine-${names[$i]}.log" 2>&1
done
(cd "$dir" && timeout 300 "$wine_bin" "$host" "$(winpath "$dir/Setup.dll")" /remove) \
  >"$dir/wine-remove.out" 2>"$dir/wine-remove.err"

# ---- Simulator: the same script on a fresh machine, then each key exported.
(cd "$dir" && "$setup_run" --fixed-time "${sim_machine[@]}" \
  --machine "$dir/machine" "$script" /write) >"$dir/sim.out" 2>"$dir/sim.err"
for i in "${!keys[@]}"; do
  "$setup_run" --machine "$dir/machine" --show --export-reg "$dir/sim-${names[$i]}.reg" \
    --export-key "${keys[$i]}" >/dev/null 2>"$dir/sim-${names[$i]}.log"
done

# A simulator without the WOW64 registry view writes the 32-bit DLL's keys
# to HKLM\SOFTWARE itself: nothing to compare with Wine's WOW6432Node.
if [ "$bits" = 32 ] && ! as_text "$dir/sim-software.reg" | grep -q '^\['; then
  "$setup_run" --machine "$dir/machine" --show --export-reg "$dir/sim-plain.reg" \
    --export-key 'HKEY_LOCAL_MACHINE\SOFTWARE\Golden Readback' >/dev/null 2>&1
  if as_text "$dir/sim-plain.reg" | grep -q '^\['; then
    skip "setup-run --wow64 does not redirect HKLM\SOFTWARE to WOW6432Node, as Windows" \
      "and Wine's WoW64 prefix do: the 32-bit read-back has nothing to compare"
  fi
fi

status=0
result() { tr -d '\r' <"$1" | grep '^Action returned'; }
if [ "$(result "$dir/sim.err")" != "$(result "$dir/wine.err")" ]; then
  echo "DIFFER: results of /write: simulator '$(result "$dir/sim.err")', Wine '$(result "$dir/wine.err")'"
  status=1
fi
for i in "${!keys[@]}"; do
  name=${names[$i]}
  if [ ! -s "$dir/wine-$name.reg" ]; then
    echo "FAILED: wine reg export ${keys[$i]} wrote nothing"
    cat "$dir/wine-$name.log" "$dir/wine.out" "$dir/wine.err"
    status=1
    continue
  fi
  as_text "$dir/sim-$name.reg" >"$dir/sim-$name.txt"
  wine_text "$dir/wine-$name.reg" >"$dir/wine-$name.txt"
  if cmp -s "$dir/sim-$name.txt" "$dir/wine-$name.txt"; then
    echo "agree: ${keys[$i]} ($(grep -c '^\[' "$dir/sim-$name.txt") keys," \
      "$(grep -c '^[@"]' "$dir/sim-$name.txt") values)"
  else
    echo "DIFFER: ${keys[$i]}"
    diff -u --label "setup-run --export-reg" --label "wine reg export" \
      "$dir/sim-$name.txt" "$dir/wine-$name.txt"
    status=1
  fi
  # /remove left nothing behind under Wine.
  if timeout 300 "$wine64_bin" reg query "${keys[$i]}" >/dev/null 2>&1; then
    echo "FAILED: ${keys[$i]} is still there after /remove"
    status=1
  fi
done
exit $status
