#!/usr/bin/env bash
# Runs every libFuzzer target of tests/fuzz/ in turn, MINUTES minutes each
# (default 1), one at a time:
#   scripts/fuzz.sh [MINUTES] [TARGET...]     e.g. scripts/fuzz.sh 30 fuzz_state
# Target fuzz_NAME (tests/fuzz/fuzz_NAME.cpp) starts from the seeds in
# tests/fuzz/corpus/NAME/ and uses the dictionary tests/fuzz/NAME.dict when
# there is one. The growing corpus is kept in build/fuzz/corpus/NAME (the
# repository keeps only the small seeds); crashes land in build/fuzz/crashes/.
# For each target the summary gives the executions, executions per second,
# the coverage at the start and at the end, and the corpus size; for
# fuzz_action also how many inputs it ran both ways (fast paths and tree walk)
# and compared, which the target prints at exit.
#
# Environment: JOBS (build jobs, default 2), FUZZ_FLAGS (more libFuzzer flags).
set -euo pipefail

cd "$(dirname "$0")/.."
MINUTES=${1:-1}
shift || true
JOBS=${JOBS:-2}
BUILD=build/fuzz

TARGETS=("$@")
if [ ${#TARGETS[@]} -eq 0 ]; then
  for src in tests/fuzz/fuzz_*.cpp; do TARGETS+=("$(basename "$src" .cpp)"); done
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$JOBS" --target "${TARGETS[@]}"

mkdir -p "$BUILD/crashes" "$BUILD/logs"
SUMMARY=()
STATUS=0
for target in "${TARGETS[@]}"; do
  name=${target#fuzz_}
  corpus="$BUILD/corpus/$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "tests/fuzz/corpus/$name" ] && seeds=("tests/fuzz/corpus/$name")
  dict=()
  [ -f "tests/fuzz/$name.dict" ] && dict=("-dict=tests/fuzz/$name.dict")
  log="$BUILD/logs/$target.log"
  echo "==== $target: $MINUTES min (log: $log)"
  set +e
  # shellcheck disable=SC2086
  "$BUILD/tests/$target" "$corpus" "${seeds[@]}" "${dict[@]}" -max_total_time=$((MINUTES * 60)) \
    -artifact_prefix="$BUILD/crashes/$target-" -print_final_stats=1 ${FUZZ_FLAGS:-} >"$log" 2>&1
  rc=$?
  set -e
  start=$(grep -m1 -oE 'INITED cov: [0-9]+' "$log" | grep -oE '[0-9]+$' || echo 0)
  end=$(grep -oE '(DONE|pulse|NEW|REDUCE|INITED) +cov: [0-9]+' "$log" | tail -1 | grep -oE '[0-9]+$' || echo 0)
  runs=$(grep -m1 -oE 'stat::number_of_executed_units: +[0-9]+' "$log" | grep -oE '[0-9]+$' || echo 0)
  rate=$(grep -m1 -oE 'stat::average_exec_per_sec: +[0-9]+' "$log" | grep -oE '[0-9]+$' || echo 0)
  files=$(find "$corpus" -type f | wc -l)
  bytes=$(du -sk "$corpus" | cut -f1)
  line=$(printf '%-14s exit %-3s runs %-10s exec/s %-6s cov %s -> %s (+%s)  corpus %s files, %s KiB' \
    "$target" "$rc" "$runs" "$rate" "$start" "$end" "$((end - start))" "$files" "$bytes")
  compared=$(grep -oE '[0-9]+ comparisons with the tree walk' "$log" | tail -1 | grep -oE '^[0-9]+' || true)
  if [ -n "$compared" ]; then
    line+="  compared $compared"
  elif [ "$target" = fuzz_action ]; then
    line+="  compared ? (no count: the target did not exit normally)"
  fi
  echo "$line"
  SUMMARY+=("$line")
  if [ "$rc" -ne 0 ]; then
    STATUS=1
    grep -m5 -E 'ERROR|SUMMARY|Test unit written' "$log" || true
  fi
done

echo
echo "==== Summary ($MINUTES min per target)"
printf '%s\n' "${SUMMARY[@]}"
exit $STATUS
