#!/usr/bin/env bash
# Agreement of the real DLL with the simulated machine over the golden suite:
# every golden case that a packaged module can run goes once through
# setup-run and once through Setup.dll under Wine (packed with setup-pack,
# driven by setup-host.exe of the same width). Standard output, the
# "Action returned N" lines and the message boxes shown must be the same.
#   agree.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR GOLDEN_DIR
# BITS 64: the 64-bit DLL under the 64-bit loader, against setup-run's 64-bit
# Windows 7 (--profile 7-64); BITS 32: the 32-bit DLL in the same WoW64
# prefix, against 64-bit Windows 7 running the 32-bit DLL (--wow64). See lib.sh.
#
# A case runs when its options are only packed files (--add), and those that
# leave it independent of the machine: --put of a relative file (copied into
# the working directory on both sides), --check (the compiler's messages,
# which Action prints too) and --fixed-time, and those that name the machine
# the prefix is: --profile 7-64, and --wow64 (32-bit DLL only). Left out, each
# with its reason in docs/wine.md: cases whose .cmd says "# not under Wine:
# REASON" (for both DLLs) or "# not under Wine 32: REASON" (32-bit DLL only),
# and cases where the runner itself fails (an "exit N" line in the .err).
#
# All cases run in one Wine process (setup-host --batch), which saves Wine's
# start-up per case; a case the batch did not finish runs again on its own.
# Exit 0 all agree, 1 some differ, 77 skipped (Wine, DLL or harness missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
setup_run=$(realpath -m "$3")
golden=$(realpath -m "$6")
wine_setup "$1" "$4" "$5" "$setup_pack" "$setup_run"
scratch="$work/agree-win$bits"
fresh_dir "$scratch"
# Wine reads the script's bytes above 0x7F in the ANSI code page of the
# locale; the simulator reads them as Windows-1252.
export LC_ALL=C.UTF-8

list="$scratch/batch.txt"
: >"$list"
cases=()
left_out=0
started=$SECONDS
while IFS= read -r -d '' script; do
  dir=$(dirname "$script")
  base=${script%.cxx}
  name=${base#"$golden"/}

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
            --fixed-time | --check) i=$((i + 1)) ;;
            # The machine the prefix is: 64-bit Windows 7, running the
            # 32-bit DLL under WOW64 for a --wow64 case.
            --wow64) [ "$bits" = 32 ] || { usable=0; break; }; i=$((i + 1)) ;;
            --profile)
              [ "${words[$((i + 1))]:-}" = 7-64 ] || { usable=0; break; }
              i=$((i + 2)) ;;
            *) usable=0; break ;;
          esac
        done
        continue
      fi
      case "$line" in
        '# not under Wine:'*) usable=0; continue ;;
        "# not under Wine $bits:"*) usable=0; continue ;;
        \#*) continue ;;
      esac
      commands+=("$line")
    done <"$base.cmd"
  fi
  if [ -f "$base.err" ] && grep -Eq '^exit [1-9]' "$base.err"; then usable=0; fi
  if [ $usable -eq 0 ]; then
    left_out=$((left_out + 1))
    continue
  fi
  [ ${#commands[@]} -gt 0 ] || commands=("")

  case_dir="$scratch/${name//\//_}"
  mkdir -p "$case_dir"
  if ! (cd "$dir" && "$setup_pack" create "$case_dir/Setup.dll" --base "$dll_dir/Setup.dll" \
    "$(basename "$script")" "${options[@]}") >"$case_dir/pack.log" 2>&1; then
    echo "setup-pack failed" >"$case_dir/failed"
  fi

  # A --put file lands in the simulated current directory; under Wine the
  # harness runs in the case directory, so the file goes there.
  add_args=()
  for file in "${options[@]}"; do add_args+=(--add "$file"); done
  for file in "${puts[@]}"; do
    add_args+=(--put "$file")
    mkdir -p "$case_dir/$(dirname "$file")"
    cp "$dir/$file" "$case_dir/$file"
  done
  (cd "$dir" && "$setup_run" --fixed-time "${sim_machine[@]}" "${add_args[@]}" \
    -- "$(basename "$script")" "${commands[@]}") >"$case_dir/sim.out" 2>"$case_dir/sim.err"

  {
    echo "@case"
    winpath "$case_dir"; echo
    winpath "$case_dir/Setup.dll"; echo
    winpath "$case_dir/wine.raw"; echo
    winpath "$case_dir/wine.err"; echo
    for command in "${commands[@]}"; do printf '+%s\n' "$command"; done
  } >>"$list"
  printf '%s\n' "${commands[@]}" >"$case_dir/commands"
  cases+=("$name")
done < <(find "$golden" -name '*.cxx' -not -path '*/include/*' -not -path '*/data/*' -print0 | sort -z)
[ ${#cases[@]} -gt 0 ] || skip "no golden case can run from a packaged module"
echo "prepared ${#cases[@]} cases in $((SECONDS - started))s"

# One Wine process for all cases.
started=$SECONDS
timeout 1200 "$wine_bin" "$host" --batch "$(winpath "$list")" >"$scratch/batch.out" 2>&1
echo "batch exit $?, $((SECONDS - started))s"
for name in "${cases[@]}"; do
  case_dir="$scratch/${name//\//_}"
  if ! tr -d '\r' <"$case_dir/wine.err" 2>/dev/null | grep -q '^exit [0-9]*$'; then
    echo "rerunning on its own (the batch did not finish it): $name"
    mapfile -t commands <"$case_dir/commands"
    (cd "$case_dir" && timeout 300 "$wine_bin" "$host" "$(winpath "$case_dir/Setup.dll")" \
      "${commands[@]}") >"$case_dir/wine.raw" 2>"$case_dir/wine.err"
  fi
done

checked=0
differ=0
for name in "${cases[@]}"; do
  case_dir="$scratch/${name//\//_}"
  checked=$((checked + 1))
  if [ -f "$case_dir/failed" ]; then
    differ=$((differ + 1))
    echo "DIFFER: $name ($(cat "$case_dir/failed"))"
    cat "$case_dir/pack.log"
    continue
  fi
  # The C runtime under Windows may write text-mode line ends.
  tr -d '\r' <"$case_dir/wine.raw" >"$case_dir/wine.out"
  tr -d '\r' <"$case_dir/sim.out" >"$case_dir/sim.cmp"
  grep -E '^(Action returned|\[msgbox\] .* -> [0-9]+$)' "$case_dir/sim.err" >"$case_dir/sim.res"
  tr -d '\r' <"$case_dir/wine.err" |
    grep -E '^(Action returned|\[msgbox\] .* -> [0-9]+$)' >"$case_dir/wine.res"
  if cmp -s "$case_dir/sim.cmp" "$case_dir/wine.out" && cmp -s "$case_dir/sim.res" "$case_dir/wine.res"; then
    echo "agree: $name"
  else
    differ=$((differ + 1))
    echo "DIFFER: $name"
    diff -u --label setup-run --label wine "$case_dir/sim.cmp" "$case_dir/wine.out" | head -40
    diff -u --label setup-run --label wine "$case_dir/sim.res" "$case_dir/wine.res" | head -10
  fi
done

echo "win$bits: $checked cases compared, $differ differ, $left_out left out (runner options or listed in docs/wine.md)"
[ $differ -eq 0 ]
