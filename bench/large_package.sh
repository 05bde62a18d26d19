#!/usr/bin/env bash
# Packs and extracts one large entry and reports, for every step, the wall
# time, the time against `cat` of the same bytes and the peak memory (maximum
# resident set size of the tool's process, from /usr/bin/time).
#
#   bench/large_package.sh                    a 1.9 GiB sparse entry
#   BENCH_LARGE_MIB=512 bench/large_package.sh    another size (at most 2047)
#   BENCH_LARGE_DENSE=1 bench/large_package.sh    an entry of real, non-zero bytes
#                                                 (writes several copies to disk)
#
# The entry is a sparse file by default, so the benchmark needs little disk
# and what it times is the tools' own work: reading, the bounded views, the
# copies in pieces; `cat` reads the same file to /dev/null. With a dense entry
# the tools must write every byte, and `cat` copies the file to another on the
# same file system. Every file is
# made in a scratch directory under $TMPDIR (default /tmp) that is removed at
# the end. The tools are the release preset's; set SETUP_PACK and SETUP_RUN
# to time other builds.
set -euo pipefail
cd "$(dirname "$0")/.."

MIB=${BENCH_LARGE_MIB:-1946}
SETUP_PACK=${SETUP_PACK:-build/release/setup-pack}
SETUP_RUN=${SETUP_RUN:-build/release/setup-run}
if [ ! -x "$SETUP_PACK" ] || [ ! -x "$SETUP_RUN" ]; then
  bash scripts/install-tools.sh host >/dev/null
  cmake --preset release >/dev/null
  cmake --build --preset release --target setup-pack setup-run >/dev/null
fi
if [ ! -x /usr/bin/time ]; then
  echo "bench: /usr/bin/time is missing (apt-get install time)" >&2
  exit 1
fi
SETUP_PACK=$(realpath "$SETUP_PACK")
SETUP_RUN=$(realpath "$SETUP_RUN")

work=$(mktemp -d "${TMPDIR:-/tmp}/large-package-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

if [ "${BENCH_LARGE_DENSE:-0}" = 1 ]; then
  # Non-zero bytes throughout: nothing can be skipped as a hole.
  { yes 'dense entry bytes' || true; } | head -c "$((MIB * 1048576))" >big.bin
else
  truncate -s "${MIB}M" big.bin
  printf 'end of the entry' | dd of=big.bin bs=1 seek=$((MIB * 1048576 - 16)) conv=notrunc status=none
fi
printf 'num main() {\n  return extractresfile("big.bin", "C:\\big.bin")\n}\n' >copy.cxx

# measure NAME COMMAND...: prints "NAME seconds peak-KiB" after running the
# command once (its output dropped, a failure ends the benchmark).
measure() {
  local name=$1
  shift
  /usr/bin/time -f '%e %M' -o time.txt "$@" >/dev/null 2>err.txt || {
    echo "bench: $name failed:" >&2
    cat err.txt >&2
    exit 1
  }
  echo "$name $(cat time.txt)"
}

results=()
if [ "${BENCH_LARGE_DENSE:-0}" = 1 ]; then
  results+=("$(measure "cat entry" sh -c 'cat big.bin >copy.bin')")
  rm -f copy.bin
else
  results+=("$(measure "cat entry" cat big.bin)")
fi
results+=("$(measure "pack create" "$SETUP_PACK" create module.bin copy.cxx big.bin)")
results+=("$(measure "pack list" "$SETUP_PACK" list module.bin)")
results+=("$(measure "pack extract" "$SETUP_PACK" extract module.bin big.bin out.bin)")
cmp -s big.bin out.bin || { echo "bench: the extracted entry differs" >&2; exit 1; }
rm -f out.bin
results+=("$(measure "run --module" "$SETUP_RUN" --module module.bin /x)")
grep -q 'Action returned 1' err.txt || { echo "bench: extraction failed" >&2; cat err.txt >&2; exit 1; }
results+=("$(measure "run --add" "$SETUP_RUN" --add big.bin copy.cxx /x)")
results+=("$(measure "run kept" "$SETUP_RUN" --machine kept --module module.bin /x)")
cmp -s big.bin kept/fs/C/big.bin || { echo "bench: the kept machine's copy differs" >&2; exit 1; }
rm -rf kept

printf '%s MiB entry (%s)\n' "$MIB" "$([ "${BENCH_LARGE_DENSE:-0}" = 1 ] && echo dense || echo sparse)"
printf '%-14s %9s %9s %10s\n' step seconds "x cat" "peak MiB"
cat_time=$(awk '{print $(NF-1)}' <<<"${results[0]}")
for line in "${results[@]}"; do
  awk -v c="$cat_time" '{
    t = $(NF-1); k = $NF; name = $1; for (i = 2; i <= NF - 2; i++) name = name " " $i
    printf "%-14s %9.2f %8.2fx %10.1f\n", name, t, (c > 0 ? t / c : 0), k / 1024 }' <<<"$line"
done
