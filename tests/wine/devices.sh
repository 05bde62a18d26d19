#!/usr/bin/env bash
# The device built-ins on the real DLL under Wine against setup-run on
# the simulated machine: install, status, update, enable/disable of unknown
# ids, removal and deleteservice, one operation per Action call. Wherever
# Wine's SetupAPI and newdev follow Windows the results must be the same; the
# update that matches no device is where Wine is looser (it answers success)
# and is compared against the Windows result only on the simulator side.
#   devices.sh BITS SETUP_PACK SETUP_RUN DLL_DIR WORK_DIR DATA_DIR GOLDEN_DATA
# The 32-bit DLL runs in the WoW64 prefix, where Windows refuses device
# installation (ERROR_IN_WOW64, as setup-run --wow64 does) but Wine does not:
# Wine's 32-bit SetupAPI and newdev install as the 64-bit ones do. So the
# 32-bit DLL's results are compared with the simulated 64-bit machine without
# that refusal (no --wow64), which checks the 32-bit calls into the system's
# 32-bit libraries; and setup-run --wow64 must refuse the installation.
# Exit 0 agree, 1 differ, 77 skipped (Wine, DLL or harness missing).
set -u
# shellcheck source=SCRIPTDIR/lib.sh
. "$(dirname "$0")/lib.sh"
setup_pack=$(realpath -m "$2")
setup_run=$(realpath -m "$3")
data=$(realpath -m "$6")
golden_data=$(realpath -m "$7")
wine_setup "$1" "$4" "$5" "$setup_pack" "$setup_run"
dir="$work/devices-win$bits"
fresh_dir "$dir"
cp "$golden_data/vdev.inf" "$golden_data/vdev.sys" "$dir/"
commands=(/install /status /statusunknown /updatenothing /update /reboot /disableunknown
          /enableunknown /delete /status /deleteservice)

# Wine: the INF on its Z: drive.
wine_inf=$(winpath "$dir/vdev.inf")
mkdir -p "$dir/wine"
sed "s|@INF@|${wine_inf//\\/\\\\}|" "$data/wine_devices.cxx" >"$dir/wine/wine_devices.cxx"
"$setup_pack" create "$dir/Setup.dll" --base "$dll_dir/Setup.dll" "$dir/wine/wine_devices.cxx" >/dev/null ||
  { echo "setup-pack failed"; exit 1; }
timeout 900 "$wine_bin" "$host" "$(winpath "$dir/Setup.dll")" \
  "${commands[@]}" >"$dir/wine.out" 2>"$dir/wine.err"
grep '^Action returned' "$dir/wine.err" | tr -d '\r' >"$dir/wine.results"

# The simulator: the same script with the INF put on the machine.
mkdir -p "$dir/sim"
sed 's|@INF@|C:\\pkg\\vdev.inf|' "$data/wine_devices.cxx" >"$dir/sim/wine_devices.cxx"
machine=("${sim_machine[@]}")
[ "$bits" = 32 ] && machine=("${machine[@]/#--wow64/--amd64}")  # the same machine, no refusal
"$setup_run" --fixed-time "${machine[@]}" --put "$dir/vdev.inf=C:\\pkg\\vdev.inf" --put "$dir/vdev.sys=C:\\pkg\\vdev.sys" \
  "$dir/sim/wine_devices.cxx" "${commands[@]}" >"$dir/sim.out" 2>"$dir/sim.err"
grep '^Action returned' "$dir/sim.err" >"$dir/sim.results"

status=0
if [ "$bits" = 32 ]; then
  "$setup_run" --fixed-time "${sim_machine[@]}" --put "$dir/vdev.inf=C:\\pkg\\vdev.inf" \
    --put "$dir/vdev.sys=C:\\pkg\\vdev.sys" "$dir/sim/wine_devices.cxx" /install \
    >"$dir/wow64.out" 2>"$dir/wow64.err"
  grep -q 'pSetupDiCallClassInstaller( 0XE0000235) failed' "$dir/wow64.out" ||
    { echo "setup-run --wow64 does not refuse the installation with ERROR_IN_WOW64"; status=1; }
fi
# Line 4 is the update that matches no device: Windows and the simulator
# answer ERROR_NO_SUCH_DEVINST, Wine answers success.
[ "$(sed -n 4p "$dir/sim.results")" = "Action returned -536870389" ] ||
  { echo "simulator: update without a device is not ERROR_NO_SUCH_DEVINST"; status=1; }
[ "$(sed -n 4p "$dir/wine.results")" = "Action returned 1" ] ||
  echo "note: Wine no longer reports success for an update without a device"
if ! diff -u <(sed 4d "$dir/sim.results") <(sed 4d "$dir/wine.results"); then
  echo "simulator and Wine differ (--- simulator, +++ Wine)"
  status=1
fi
[ "$(wc -l <"$dir/sim.results")" -eq ${#commands[@]} ] || { echo "simulator results missing"; status=1; }
exit $status
