#!/usr/bin/env bash
# Installs the build tools that are missing, from Debian packages.
#   scripts/install-tools.sh host   tools for the host build (setup-run, tests)
#   scripts/install-tools.sh all    also the Windows cross compilers, Lua, Wine
#                                   (64- and 32-bit), NSIS and Neovim
# Runs apt-get update at most once, and only when something is missing. Works
# as root, or through sudo otherwise. Wine, NSIS and Neovim are optional: when
# they cannot be installed, the tests that need them report SKIPPED, and this
# script says why.
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
  "openssl|openssl"
  "osslsigncode|osslsigncode"
  "lcov|genhtml"
)
ALL=(
  "clang|clang++"
  "libbenchmark-dev|/usr/include/benchmark/benchmark.h"
  "mingw-w64|x86_64-w64-mingw32-g++"
  "mingw-w64|i686-w64-mingw32-g++"
  "binutils-mingw-w64|i686-w64-mingw32-objdump"
  "lua5.4|lua5.4"
)
WINE=("wine64|wine" "wine|wine")
NSIS=("nsis|makensis")
NEOVIM=("neovim|nvim")

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
  apt_update
  "${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get "${APT_LOCK[@]}" install -y -qq --no-install-recommends "$@"
}

# Another apt run (or a developer's) may hold the dpkg lock: wait for it.
APT_LOCK=(-o DPkg::Lock::Timeout=900)

# An index that fails to download (a mirror in the middle of a sync) is not
# fatal: apt keeps the old one or none, and the installs below say what they
# cannot find.
apt_update() {
  [ "$APT_UPDATED" -eq 0 ] || return 0
  APT_UPDATED=1
  if ! "${SUDO[@]}" apt-get "${APT_LOCK[@]}" update -qq; then
    echo "apt-get update: some package indexes failed to download; using what there is." >&2
  fi
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
  mapfile -t NEED < <(missing_packages "${WINE[@]}")
  if [ ${#NEED[@]} -gt 0 ] && ! apt_install "${NEED[@]}"; then
    echo "Wine could not be installed: the Wine tests will be skipped." >&2
  fi
  mapfile -t NEED < <(missing_packages "${NSIS[@]}")
  if [ ${#NEED[@]} -gt 0 ] && ! apt_install "${NEED[@]}"; then
    echo "NSIS could not be installed: the NSIS installer test will be skipped." >&2
  fi
  mapfile -t NEED < <(missing_packages "${NEOVIM[@]}")
  if [ ${#NEED[@]} -gt 0 ] && ! apt_install "${NEED[@]}"; then
    echo "Neovim could not be installed: setup-lsp's Neovim test will be skipped." >&2
  fi
fi

# ---- wine32: the 32-bit Wine loader, for the 32-bit Setup.dll ----------------
# Debian's wine32 is an i386 package: the i386 architecture must be enabled.
# The i386 indexes can be out of step with the amd64 ones (a security or
# updates index that failed to download, or lags behind), so that a plain
# "apt-get install wine32:i386" cannot resolve: its libraries want versions
# the i386 side does not have. Taking every package from the main suite
# (one preferences file, for this one command only) resolves it; the amd64
# libraries that are "Multi-Arch: same" must then have the version of their
# i386 twins, so they are named in the same command, which upgrades them (or
# moves them back to the main suite's build).
wine32_installed() {
  [ "$(dpkg-query -W -f='${Status}' wine32:i386 2>/dev/null)" = "install ok installed" ]
}

install_wine32() {
  local codename prefs twins=() line pkg
  if ! command -v dpkg >/dev/null 2>&1 || ! command -v apt-get >/dev/null 2>&1; then
    echo "dpkg and apt-get are not available"
    return 1
  fi
  if [ "$(id -u)" -ne 0 ] && [ ${#SUDO[@]} -eq 0 ]; then
    echo "not root and no sudo"
    return 1
  fi
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    "${SUDO[@]}" dpkg --add-architecture i386 || { echo "dpkg --add-architecture i386 failed"; return 1; }
    APT_UPDATED=0
  fi
  apt_update
  # shellcheck source=/dev/null
  codename=$(. /etc/os-release 2>/dev/null && echo "${VERSION_CODENAME:-}")
  [ -n "$codename" ] || { echo "the Debian release has no code name in /etc/os-release"; return 1; }
  prefs=$(mktemp)
  printf 'Package: *\nPin: release n=%s\nPin-Priority: 1001\n' "$codename" >"$prefs"
  chmod 644 "$prefs"
  # A library that came from a security or updates suite can be newer than
  # its i386 twin in the main suite: it goes back to the main suite's build.
  local apt=(apt-get "${APT_LOCK[@]}" -o "Dir::Etc::Preferences=$prefs" -y -qq
             --no-install-recommends --allow-downgrades)
  # The i386 libraries the install brings in whose installed amd64 twin has
  # another version ("Inst NAME:i386 [OLD] (NEW SUITE [i386])").
  local version installed
  while IFS= read -r line; do
    pkg=${line#Inst }
    pkg=${pkg%% *}
    case "$pkg" in *:i386) ;; *) continue ;; esac
    pkg=${pkg%:i386}
    version=${line#*(}
    version=${version%% *}
    installed=$(dpkg-query -W -f='${Status} ${Version}' "$pkg:amd64" 2>/dev/null)
    case "$installed" in
      "install ok installed $version") ;;
      "install ok installed "*) twins+=("$pkg:amd64") ;;
    esac
  done < <("${apt[@]}" -s install wine32:i386 2>/dev/null | grep '^Inst ')
  echo "Installing: wine32:i386${twins[*]:+ (and the amd64 twins ${twins[*]})}"
  if ! "${SUDO[@]}" env DEBIAN_FRONTEND=noninteractive "${apt[@]}" \
      install wine32:i386 "${twins[@]}" >"$prefs.log" 2>&1; then
    echo "apt-get install wine32:i386 failed:"
    tail -n 25 "$prefs.log"
    rm -f "$prefs" "$prefs.log"
    return 1
  fi
  rm -f "$prefs" "$prefs.log"
}

if [ "$WHAT" = all ] && command -v wine >/dev/null 2>&1 && ! wine32_installed; then
  if ! reason=$(install_wine32 2>&1) || ! wine32_installed; then
    printf '%s\n' "$reason" >&2
    echo "wine32 could not be installed: the 32-bit Wine tests (ctest -R win32) will be skipped." >&2
  else
    printf '%s\n' "$reason"
  fi
fi
exit 0
