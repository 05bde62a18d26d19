#!/usr/bin/env bash
# Installs the build tools that are missing, from Debian packages.
#   scripts/install-tools.sh host   tools for the host build (setup-run, tests)
#   scripts/install-tools.sh all    also the Windows cross compilers, Lua and Wine
# Runs apt-get update at most once, and only when something is missing. Works
# as root, or through sudo otherwise. Wine and Neovim are optional: when they
# cannot be installed, the Wine tests and setup-lsp's Neovim test are skipped.
set -euo pipefail

WHAT=${1:-all}

SUDO=()
if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null 2>&1; then SUDO=(sudo); fi

# Each entry: "package|test", where the test is a command or a file path.
HOST=(
  "cmake|cmake"
  "ninja-build|ninja"
  "g++|g++"
  "libgtest-dev|/usr/include/gtest/gtest.h"
  "libgmock-dev|/usr/include/gmock/gmock.h"
  "nlohmann-json3-dev|/usr/include/nlohmann/json.hpp"
  "libcli11-dev|/usr/include/CLI/CLI.hpp"
)
ALL=(
  "clang|clang++"
  "libbenchmark-dev|/usr/include/benchmark/benchmark.h"
  "mingw-w64|x86_64-w64-mingw32-g++"
  "mingw-w64|i686-w64-mingw32-g++"
  "binutils-mingw-w64|i686-w64-mingw32-objdump"
  "lua5.4|lua5.4"
)
OPTIONAL=("wine64|wine" "wine|wine" "neovim|nvim")

have() {
  case "$1" in
    /*) [ -e "$1" ] ;;
    *) command -v "$1" >/dev/null 2>&1 ;;
  esac
}

missing_packages() {
  local entry
  for entry in "$@"; do
    have "${entry#*|}" || echo "${entry%%|*}"
  done | sort -u
}

APT_UPDATED=0
apt_install() {
  [ $# -gt 0 ] || return 0
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "apt-get is not available; please install: $*" >&2
    return 1
  fi
  if [ "$(id -u)" -ne 0 ] && [ ${#SUDO[@]} -eq 0 ]; then
    echo "not root and no sudo; please install: $*" >&2
    return 1
  fi
  echo "Installing: $*"
  if [ "$APT_UPDATED" -eq 0 ]; then
    "${SUDO[@]}" apt-get update -qq
    APT_UPDATED=1
  fi
  "${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "$@"
}

REQUIRED=("${HOST[@]}")
[ "$WHAT" = all ] && REQUIRED+=("${ALL[@]}")

mapfile -t NEED < <(missing_packages "${REQUIRED[@]}")
apt_install "${NEED[@]}"

# Clang's sanitizer and libFuzzer runtimes (the asan-clang and fuzz presets)
# come in a package of their own.
if [ "$WHAT" = all ]; then
  RT_DIR=$(clang++ -print-resource-dir)/lib/linux
  mapfile -t NEED < <(missing_packages "libclang-rt-dev|$RT_DIR/libclang_rt.asan-x86_64.a" \
    "libclang-rt-dev|$RT_DIR/libclang_rt.fuzzer-x86_64.a")
  apt_install "${NEED[@]}"
fi

if [ "$WHAT" = all ]; then
  mapfile -t NEED < <(missing_packages "${OPTIONAL[@]}")
  if [ ${#NEED[@]} -gt 0 ] && ! apt_install "${NEED[@]}"; then
    echo "Wine or Neovim could not be installed: their tests will be skipped." >&2
  fi
fi
exit 0
