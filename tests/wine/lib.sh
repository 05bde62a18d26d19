# shellcheck shell=bash
# Shared prologue of the Wine tests; sourced by the scripts beside it.
#   wine_setup BITS DLL_DIR WORK_DIR [TOOL...]
# BITS is 64 or 32: the 64-bit Setup.dll runs under the 64-bit loader, the
# 32-bit one under the 32-bit loader in the same 64-bit (WoW64) prefix, as a
# 32-bit installer runs on 64-bit Windows. Checks that the loader, the DLL,
# the setup-host harness of DLL_DIR and every TOOL are there (otherwise the
# test is skipped with exit 77, saying why) and sets
#   wine_bin    the loader for the DLL's width
#   wine64_bin  the 64-bit loader (for Wine's own tools: the 64-bit reg.exe
#               sees the registry as the 64-bit system does)
#   dll_dir     DLL_DIR, work WORK_DIR (absolute)
#   host        the setup-host harness built beside the DLL (same width)
#   sim_machine the setup-run options of the simulated machine that the
#               prefix is: 64-bit Windows 7 SP1 (the prefix is set to report
#               win7), with Wine's lower-case system directory; --wow64 for
#               the 32-bit DLL
# and exports WINEPREFIX (one prefix under WORK_DIR for all Wine tests, made
# on first use; the tests hold the ctest resource lock "wineprefix"),
# WINEARCH, WINEDEBUG and WINESERVER.

skip() {
  echo "SKIPPED: $*"
  exit 77
}

# The Windows spelling of a host path, on Wine's Z: drive.
winpath() { printf 'Z:%s' "$(realpath -m "$1" | tr '/' '\\')"; }

# A fresh, empty directory.
fresh_dir() {
  rm -rf "$1"
  mkdir -p "$1"
}

# The first executable among the candidates.
first_program() {
  local candidate
  for candidate in "$@"; do
    if [ -n "$candidate" ] && [ -x "$candidate" ] && [ ! -d "$candidate" ]; then
      echo "$candidate"
      return 0
    fi
  done
  return 1
}

# Debian puts both loaders into Wine's library directory and starts the
# 32-bit one from /usr/bin/wine when it is installed; other systems have
# wine64 (64-bit) and wine (32-bit) on the PATH.
wine_loader64() {
  first_program /usr/lib/wine/wine64 /usr/lib64/wine/wine64 \
    /usr/lib/x86_64-linux-gnu/wine/wine64 "$(command -v wine64)"
}

wine_loader32() {
  local program
  program=$(first_program /usr/lib/wine/wine /usr/lib/i386-linux-gnu/wine/wine) || {
    # A "wine" on the PATH is the 32-bit loader only if it is a 32-bit program.
    program=$(command -v wine) || return 1
    head -c 5 "$program" 2>/dev/null | od -An -tx1 | grep -q '7f 45 4c 46 01' || return 1
  }
  echo "$program"
}

# shellcheck disable=SC2034 # the variables are for the scripts that source this file
wine_setup() {
  bits=$1
  dll_dir=$(realpath -m "$2")
  work=$(realpath -m "$3")
  shift 3
  wine64_bin=$(wine_loader64) || skip "the 64-bit Wine loader (wine64) is not installed"
  case "$bits" in
    64)
      wine_bin=$wine64_bin
      sim_machine=(--profile 7-64 --sysdir 'C:\windows\system32')
      ;;
    32)
      wine_bin=$(wine_loader32) ||
        skip "the 32-bit Wine loader is not installed (Debian: wine32:i386, which" \
          "scripts/install-tools.sh all installs; see its messages for why it could not)"
      sim_machine=(--profile 7-64 --sysdir 'C:\windows\system32' --wow64)
      ;;
    *)
      echo "wine_setup: BITS must be 64 or 32, not '$bits'"
      exit 2
      ;;
  esac
  [ -f "$dll_dir/Setup.dll" ] || skip "$dll_dir/Setup.dll has not been built"
  [ -f "$dll_dir/setup-host.exe" ] || skip "$dll_dir/setup-host.exe has not been built"
  local tool
  for tool in "$@"; do
    [ -x "$tool" ] || skip "$tool has not been built"
  done
  host="$dll_dir/setup-host.exe"
  export WINEPREFIX="$work/wineprefix"
  export WINEARCH=win64
  export WINEDEBUG=-all
  # Both loaders share one server, the 64-bit one, which a WoW64 prefix needs.
  local server
  if server=$(first_program "$(dirname "$wine64_bin")/wineserver64" \
    "$(dirname "$wine64_bin")/wineserver" "$(command -v wineserver)"); then
    export WINESERVER=$server
  fi
  mkdir -p "$WINEPREFIX"
  # A prefix made before the 32-bit loader was installed lacks the 32-bit
  # system; it is made anew.
  if [ "$bits" = 32 ] && [ -f "$WINEPREFIX/system.reg" ] &&
    [ ! -f "$WINEPREFIX/drive_c/windows/syswow64/kernel32.dll" ]; then
    "$wine64_bin" wineboot --shutdown >/dev/null 2>&1
    fresh_dir "$WINEPREFIX"
  fi
  # The prefix reports Windows 7 (6.1.7601 SP1), like the simulated machine.
  if [ ! -f "$WINEPREFIX/.win7" ]; then
    timeout 600 "$wine64_bin" reg add 'HKCU\Software\Wine' /v Version /d win7 /f \
      >/dev/null 2>&1 && touch "$WINEPREFIX/.win7"
  fi
  # Wine's null display driver: windows and message boxes work without an X
  # display (where Wine would fail every MessageBox), and none pops up on a
  # developer's screen.
  if [ ! -f "$WINEPREFIX/.null-display" ]; then
    timeout 600 "$wine64_bin" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f \
      >/dev/null 2>&1 && touch "$WINEPREFIX/.null-display"
  fi
}
