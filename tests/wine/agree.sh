#!/usr/bin/env bash
# Agreement of the real DLL with the simulated machine: golden cases that do
# not depend on machine state run once through setup-run (profile: Windows
# 6.1, system directory C:\windows\system32) and once under Wine (the 64-bit
# Setup.dll packed with setup-pack, driven by setup-host.exe). Standard output
# and the "Action returned N" lines must be the same.
#   agree.sh SETUP_PACK SETUP_RUN WIN64_DIR WORK_DIR GOLDEN_DIR
# Exit 0 all agree, 1 some differ, 77 skipped (Wine, DLL or harness missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$1")
setup_run=$(realpath -m "$2")
golden=$(realpath -m "$5")
wine_setup "$3" "$4" "$setup_pack" "$setup_run"
scratch="$work/agree"
mkdir -p "$scratch"

# Built-ins whose results depend on the machine (files, registry, services,
# devices, programs, boxes, clock, locale): cases using them are left out, and
# so are includes of absolute paths. The registry, file and service groups are
# the exception: their cases work in keys and directories of their own and
# remove them again, so they run on a Wine prefix as on a fresh machine.
STATEFUL='\b(checkregstatus|installdriverbyhardwareid|installusbdriver|copyfile|deletefile|deletefilex|addsubreg|addregvalues|addregvalued|createservice|deleteservice|execute|reboot|extractresfile|sleep|deletereg|deleteregx|deleteregbyfindstr|msgbox|createdirectory|deletedirectory|updatedevicebyhardwareid|deletedriverbyhardwareid|checkdevicestatus|getregvalued|getregvalues|enumsubreg|getlanguage|updatedevicelist|disabledriverbyhardwareid|enabledriverbyhardwareid|startservice|stopservice)\b|include +"[A-Za-z]:'

# The Wine prefix reports Windows 7, like the setup-run profile below.
if [ ! -f "$WINEPREFIX/.agree-win7" ]; then
  timeout 600 "$wine_bin" reg add 'HKCU\Software\Wine' /v Version /d win7 /f >/dev/null 2>&1
  touch "$WINEPREFIX/.agree-win7"
fi

checked=0
differ=0
left_out=0
while IFS= read -r -d '' script; do
  dir=$(dirname "$script")
  base=${script%.cxx}
  name=${base#"$golden"/}
  case "/$name" in */cli/*) continue ;; esac  # the runner's own cases

  # Options: only --add, --put FILE, --fixed-time and --fast-sleep keep a case
  # independent of the machine; a --check case runs through Action on both
  # sides. The commands follow on the next lines.
  options=()
  puts=()
  commands=()
  usable=1
  if [ -f "$base.cmd" ]; then
    first=1
    while IFS= read -r line || [ -n "$line" ]; do
      line=${line%$'\r'}
      if [ $first -eq 1 ]; then
        first=0
        read -ra words <<<"$line"
        i=0
        while [ $i -lt ${#words[@]} ]; do
          case "${words[$i]}" in
            --add) options+=("${words[$((i + 1))]:-}"); i=$((i + 2)) ;;
            --put)
              case "${words[$((i + 1))]:-}" in
                *=* | /* | *..* | "") usable=0; break ;;
              esac
              puts+=("${words[$((i + 1))]}"); i=$((i + 2)) ;;
            --fixed-time | --fast-sleep | --check) i=$((i + 1)) ;;
            *) usable=0; break ;;
          esac
        done
        continue
      fi
      case "$line" in
        '# not under Wine'*) usable=0; continue ;;  # the comment says why
        \#*) continue ;;
      esac
      commands+=("$line")
    done <"$base.cmd"
  fi
  if [ -f "$base.err" ] && grep -Eq '^exit [1-9]' "$base.err"; then usable=0; fi
  case "/$name" in
    */registry/* | */files/* | */services/*) ;;
    *) if grep -Eq "$STATEFUL" "$script"; then usable=0; fi ;;
  esac
  if [ $usable -eq 0 ]; then
    left_out=$((left_out + 1))
    continue
  fi
  [ ${#commands[@]} -gt 0 ] || commands=("")

  case_dir="$scratch/${name//\//_}"
  rm -rf "$case_dir"
  mkdir -p "$case_dir"
  (cd "$dir" && "$setup_pack" create "$case_dir/Setup.dll" --base "$win64_dir/Setup.dll" \
    "$(basename "$script")" "${options[@]}") >"$case_dir/pack.log" 2>&1 || {
    echo "DIFFER: $name (setup-pack failed)"; cat "$case_dir/pack.log"
    checked=$((checked + 1)); differ=$((differ + 1)); continue; }

  # A --put file lands in the simulated current directory; under Wine the
  # harness runs in the case directory, so the file goes there.
  add_args=()
  for file in "${options[@]}"; do add_args+=(--add "$file"); done
  for file in "${puts[@]}"; do
    add_args+=(--put "$file")
    mkdir -p "$case_dir/$(dirname "$file")"
    cp "$dir/$file" "$case_dir/$file"
  done
  (cd "$dir" && "$setup_run" --fixed-time --os 6.1 --lcid 409 --sysdir 'C:\windows\system32' \
    "${add_args[@]}" -- "$(basename "$script")" "${commands[@]}") \
    >"$case_dir/sim.out" 2>"$case_dir/sim.err"
  (cd "$case_dir" && timeout 300 "$wine_bin" "$host" "$(winpath "$case_dir/Setup.dll")" \
    "${commands[@]}") >"$case_dir/wine.raw" 2>"$case_dir/wine.err"
  # The C runtime under Windows may write text-mode line ends.
  tr -d '\r' <"$case_dir/wine.raw" >"$case_dir/wine.out"
  tr -d '\r' <"$case_dir/sim.out" >"$case_dir/sim.cmp"
  grep '^Action returned' "$case_dir/sim.err" >"$case_dir/sim.res"
  tr -d '\r' <"$case_dir/wine.err" | grep '^Action returned' >"$case_dir/wine.res"

  checked=$((checked + 1))
  if cmp -s "$case_dir/sim.cmp" "$case_dir/wine.out" && cmp -s "$case_dir/sim.res" "$case_dir/wine.res"; then
    echo "agree: $name"
  else
    differ=$((differ + 1))
    echo "DIFFER: $name"
    diff -u --label setup-run --label wine "$case_dir/sim.cmp" "$case_dir/wine.out" | head -40
    diff -u --label setup-run --label wine "$case_dir/sim.res" "$case_dir/wine.res" | head -10
  fi
done < <(find "$golden" -name '*.cxx' -not -path '*/include/*' -not -path '*/data/*' -print0 | sort -z)

echo "$checked cases compared, $differ differ, $left_out left out (machine-dependent)"
[ $checked -gt 0 ] || skip "no golden case is independent of the machine"
[ $differ -eq 0 ]
