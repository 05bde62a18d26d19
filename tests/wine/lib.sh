# shellcheck shell=bash
# Shared prologue of the Wine tests; sourced by the scripts beside it.
#   wine_setup WIN64_DIR WORK_DIR [TOOL...]
# checks that Wine, the 64-bit Setup.dll, the setup-host harness and every
# TOOL are there (otherwise the test is skipped with exit 77) and sets
#   wine_bin   the wine program
#   win64_dir  the 64-bit build directory, work the work directory (absolute)
#   host       the setup-host harness
# and exports WINEPREFIX (one prefix under WORK_DIR for all Wine tests, made
# on first use; the tests hold the ctest resource lock "wineprefix") and
# WINEDEBUG.

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

wine_setup() {
  win64_dir=$(realpath -m "$1")
  work=$(realpath -m "$2")
  shift 2
  wine_bin=$(command -v wine || command -v wine64 || true)
  [ -n "$wine_bin" ] || skip "wine is not installed"
  [ -f "$win64_dir/Setup.dll" ] || skip "$win64_dir/Setup.dll has not been built"
  [ -f "$win64_dir/setup-host.exe" ] || skip "$win64_dir/setup-host.exe has not been built"
  local tool
  for tool in "$@"; do
    [ -x "$tool" ] || skip "$tool has not been built"
  done
  # shellcheck disable=SC2034 # used by the scripts that source this file
  host="$win64_dir/setup-host.exe"
  export WINEPREFIX="$work/wineprefix"
  export WINEDEBUG=-all
  mkdir -p "$WINEPREFIX"
}
