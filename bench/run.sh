#!/usr/bin/env bash
# Times the script language against Lua 5.4 on the same programs:
# bench/scripts/NAME.cxx through setup-run, bench/lua/NAME.lua through lua5.4.
# Both print (setup-run: "Action returned N") the same checksum, which is
# compared. setup-run's fixed cost (process, machine, load, compile) is
# measured with a run of size 0 and subtracted.
#
#   bench/run.sh            default sizes
#   BENCH_SCALE=4 bench/run.sh   four times the work
#   BENCH_ONLY="fib paths" bench/run.sh   only the benchmarks named (compile and memory still run)
# Then compilation of the same generated 100k-line program (bench/gen_program.sh)
# against `luac -p`, and the peak memory of compiling a 10 MB script.
# The runner is the release preset's (the flags of the DLL builds); set
# SETUP_RUN to time another build. Each time is the fastest of BENCH_RUNS
# runs (default 5); timings on a shared machine are still noisy: repeat, or
# compare instruction counts (valgrind --tool=callgrind).
# The in-process Google Benchmark variant is build/host/setup_bench.
set -euo pipefail
cd "$(dirname "$0")/.."

SCALE=${BENCH_SCALE:-1}
SETUP_RUN=${SETUP_RUN:-build/release/setup-run}
LUA=${LUA:-lua5.4}
LUAC=${LUAC:-luac5.4}

if [ ! -x "$SETUP_RUN" ]; then
  bash scripts/install-tools.sh host >/dev/null
  cmake --preset release >/dev/null
  cmake --build --preset release --target setup-run >/dev/null
fi
if ! command -v "$LUA" >/dev/null 2>&1; then
  echo "bench: $LUA is missing (apt-get install lua5.4)" >&2
  exit 1
fi

# name and size (fib's size grows the work exponentially, so it is not scaled).
# The last seven are shaped like installer scripts: string built-ins compared
# (strcall), a hardware-ID list split (split), string parameters and results
# (paths), fib(32), switches on a num and on a string selector, registry keys
# built in string locals and joined after the call (keys).
BENCHES=("fib 27" "loop $((1000000 * SCALE))" "strings $((500000 * SCALE))" "arrays $((1000 * SCALE))"
         "switch $((1000000 * SCALE))" "builtins $((1000000 * SCALE))"
         "strcall $((1000000 * SCALE))" "split $((10000 * SCALE))" "paths $((300000 * SCALE))"
         "fib 32" "switch4 $((3000000 * SCALE))" "switchstr $((1000000 * SCALE))"
         "keys $((300000 * SCALE))")

now() { date +%s%N; }

# Every timing is the fastest of RUNS runs, which is the least disturbed by
# other load on a shared machine.
RUNS=${BENCH_RUNS:-5}

# Runs the script; prints "<result> <nanoseconds>".
run_script() {
  local name=$1 size=$2 start end err best=0 i
  for ((i = 0; i < RUNS; i++)); do
    start=$(now)
    err=$("$SETUP_RUN" --fixed-time "bench/scripts/$name.cxx" "/$size" 2>&1 >/dev/null)
    end=$(now)
    if ((best == 0 || end - start < best)); then best=$((end - start)); fi
  done
  echo "$(sed -n 's/^Action returned //p' <<<"$err" | tail -1) $best"
}

# Runs the Lua version; prints "<result> <nanoseconds>".
run_lua() {
  local name=$1 size=$2 start end out best=0 i
  for ((i = 0; i < RUNS; i++)); do
    start=$(now)
    out=$("$LUA" "bench/lua/$name.lua" "$size")
    end=$(now)
    if ((best == 0 || end - start < best)); then best=$((end - start)); fi
  done
  echo "$out $best"
}

printf '%-10s %10s %12s %12s %10s %8s\n' bench size "script ms" "lua ms" "ratio" check
for entry in "${BENCHES[@]}"; do
  read -r name size <<<"$entry"
  if [ -n "${BENCH_ONLY:-}" ] && ! grep -qw -- "$name" <<<"$BENCH_ONLY"; then continue; fi
  read -r _ base < <(run_script "$name" 0)
  read -r result elapsed < <(run_script "$name" "$size")
  read -r expected lua < <(run_lua "$name" "$size")
  script=$(( elapsed > base ? elapsed - base : 0 ))
  check=ok
  [ "$result" = "$expected" ] || check="DIFF($result/$expected)"
  awk -v n="$name" -v z="$size" -v s="$script" -v l="$lua" -v c="$check" 'BEGIN {
    printf "%-10s %10d %12.1f %12.1f %9.1fx %8s\n", n, z, s / 1e6, l / 1e6, (l > 0 ? s / l : 0), c }'
done

# Compilation: setup-run --check (minus its fixed cost) against luac -p.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
lines=$((100000 * SCALE))
bash bench/gen_program.sh cxx "$lines" >"$work/p.cxx"
bash bench/gen_program.sh lua "$lines" >"$work/p.lua"
printf 'num main() {\n  return 0\n}\n' >"$work/empty.cxx"
elapsed() {
  local start end best=0 i
  for ((i = 0; i < RUNS; i++)); do
    start=$(now)
    "$@" >/dev/null 2>&1
    end=$(now)
    if ((best == 0 || end - start < best)); then best=$((end - start)); fi
  done
  echo "$best"
}
base=$(elapsed "$SETUP_RUN" --check "$work/empty.cxx")
ours=$(elapsed "$SETUP_RUN" --check "$work/p.cxx")
ours=$(( ours > base ? ours - base : 0 ))
luac=$(elapsed "$LUAC" -p "$work/p.lua")
awk -v z="$lines" -v s="$ours" -v l="$luac" 'BEGIN {
  printf "%-10s %10d %12.1f %12.1f %9.1fx %8s\n", "compile", z, s / 1e6, l / 1e6, (l > 0 ? s / l : 0), "luac -p" }'

# Peak memory compiling a 10 MB script, as a multiple of its size. A kept
# machine holds the packaged script and its extracted copies in host files; a
# temporary one would hold them in memory and count them as well.
bash bench/gen_program.sh cxx $((450000 * SCALE)) >"$work/big.cxx"
size=$(stat -c %s "$work/big.cxx")
mkdir -p "$work/machine"
if command -v /usr/bin/time >/dev/null 2>&1; then
  peak=$(/usr/bin/time -f %M "$SETUP_RUN" --machine "$work/machine" --check "$work/big.cxx" 2>&1 >/dev/null | tail -1)
  awk -v b="$size" -v k="$peak" 'BEGIN {
    printf "%-10s %10.1f MB source, %.1f MB peak: %.1fx the source\n", "memory", b / 1048576, k / 1024, k * 1024 / b }'
fi
