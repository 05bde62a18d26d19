#!/usr/bin/env bash
# Builds everything and runs every test:
#   1. installs the missing build tools (Debian packages),
#   2. cross-builds Setup.dll, 64-bit and 32-bit (presets win64, win32),
#   3. builds the host tools and tests (preset host) and runs ctest,
#   4. builds them again as users do, Release (preset release), and runs ctest,
#   5. builds with ASan+UBSan, by GCC (preset asan) and by Clang (preset
#      asan-clang, whose UBSan also checks float-to-integer conversions), and
#      runs ctest with each.
# The Wine tests (ctest wine_*) run against both DLLs: the 64-bit one under the
# 64-bit loader (names ending in _win64), the 32-bit one in the same 64-bit
# (WoW64) prefix under the 32-bit loader (_win32), and an NSIS installer that
# carries the 32-bit one; step 1 installs wine64, wine32:i386 and nsis. Without
# them (or without wine32 alone) the tests report SKIPPED, never passed.
#
# Environment: JOBS (parallel build jobs, default: number of cores),
#              SETUP_SKIP_RELEASE=1 (leave out step 4, for quick local runs),
#              SETUP_SKIP_ASAN=1 (leave out step 5, for quick local runs).
# Every step's heading shows the seconds elapsed since the start.
set -euo pipefail

cd "$(dirname "$0")/.."
ROOT=$(pwd)
JOBS=${JOBS:-$(nproc 2>/dev/null || echo 2)}

log() { printf '\n==== %s (%ds)\n' "$*" "$SECONDS"; }

# ---- 1. Tools ---------------------------------------------------------------

log "Checking tools"
bash scripts/install-tools.sh all

# ---- 2. Windows DLLs ---------------------------------------------------------

for preset in win64 win32; do
  log "Building Setup.dll ($preset)"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$JOBS"
done

# ---- 3. Host build and tests -----------------------------------------------------

run_tests() {
  local preset=$1
  log "Building $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$JOBS"
  log "Testing $preset"
  ctest --preset "$preset" -j "$JOBS" --timeout 600
}

run_tests host

# ---- 4. Release build ------------------------------------------------------------
# Optimisation turns on warnings (and -Werror failures) that the other builds
# never see, and the tests must pass on the optimised code too. The Wine tests
# check the cross-built DLL, which step 3 has already run them on.

if [ "${SETUP_SKIP_RELEASE:-0}" != 1 ]; then
  run_tests release
fi

# ---- 5. Sanitizers ---------------------------------------------------------------

if [ "${SETUP_SKIP_ASAN:-0}" != 1 ]; then
  export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
  export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
  run_tests asan
  # The Wine tests check the cross-built DLL, not the host code, and the GCC
  # run has just run them: the asan-clang test preset leaves them out.
  run_tests asan-clang
fi

log "All tests passed ($ROOT)"
