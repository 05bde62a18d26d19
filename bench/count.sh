#!/usr/bin/env bash
# Instruction counts (valgrind --tool=callgrind) of the script benchmarks and
# their Lua twins: they do not depend on the load of a shared machine, so
# before/after comparisons use them. setup-run's fixed cost (a run of size 0)
# is subtracted, and so is lua5.4's (an empty chunk).
#
#   bench/count.sh                 every benchmark at its counting size
#   bench/count.sh fib paths       only those
#   SETUP_RUN=build/host/setup-run bench/count.sh
set -euo pipefail
cd "$(dirname "$0")/.."

SETUP_RUN=${SETUP_RUN:-build/release/setup-run}
LUA=${LUA:-lua5.4}

# name and size: a tenth or less of bench/run.sh's, callgrind runs ~50x slower.
SIZES=("fib 20" "loop 100000" "strings 100000" "arrays 100" "switch 100000" "builtins 100000"
       "strcall 100000" "split 1000" "paths 100000" "switch4 300000" "switchstr 100000"
       "keys 100000")

count() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 >/dev/null |
    sed -n 's/.*Collected : *//p' | tail -1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
: >"$work/empty.lua"
lua_base=$(count "$LUA" "$work/empty.lua")

printf '%-10s %8s %14s %14s %8s\n' bench size "script instr" "lua instr" ratio
for entry in "${SIZES[@]}"; do
  read -r name size <<<"$entry"
  if [ $# -gt 0 ] && ! grep -qw -- "$name" <<<"$*"; then continue; fi
  base=$(count "$SETUP_RUN" --fixed-time "bench/scripts/$name.cxx" /0)
  ours=$(count "$SETUP_RUN" --fixed-time "bench/scripts/$name.cxx" "/$size")
  lua=$(count "$LUA" "bench/lua/$name.lua" "$size")
  awk -v n="$name" -v z="$size" -v s="$((ours - base))" -v l="$((lua - lua_base))" 'BEGIN {
    printf "%-10s %8d %13.1fM %13.1fM %7.2fx\n", n, z, s / 1e6, l / 1e6, (l > 0 ? s / l : 0) }'
done
