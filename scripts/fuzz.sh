#!/usr/bin/env bash
# Builds the fuzz targets with clang, AddressSanitizer and UndefinedBehaviorSanitizer, and runs one after the other.
#   scripts/fuzz.sh [RUNS [TARGET...]]     a million runs of every target of fuzz unless told otherwise
# New inputs are kept in build/fuzz/found/TARGET and are where the next run starts; an input that fails stays there too,
# as crash-*, slow-* and so on. Put it into fuzz/corpus/TARGET with the fix.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang++ >/dev/null || { echo "clang is missing: apt-get install clang libclang-rt-14-dev" >&2; exit 1; }

runs=${1:-1000000}
shift || true
[ $# -gt 0 ] || set -- $(ls fuzz/corpus)

cmake --preset fuzz -G Ninja >/dev/null
cmake --build --preset fuzz >/dev/null
fuzzers=$PWD/build/fuzz/fuzz
# A folder in memory where there is one: the program's device root.
device=$(mktemp -d -p "${TMPDIR:-$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)}")
trap 'rm -rf "$device"' EXIT
# Leaks are looked for by ./test.sh --sanitize: from inside the device the sanitizer sees no /proc.
export ASAN_OPTIONS=detect_leaks=0
failed=0
for target in "$@"; do
    found=$PWD/build/fuzz/found/$target
    rm -rf "${device:?}"/*
    mkdir -p "$found" "$device/found" "$device/corpus"
    cp fuzz/corpus/"$target"/* "$device/corpus"
    [ -z "$(ls "$found")" ] || cp "$found"/* "$device/found"
    echo "== $target"
    (cd "$device" && exec "$fuzzers/${target}_fuzzer" -runs="$runs" -max_len=1500 -timeout=20 -print_final_stats=1 \
        -artifact_prefix=/found/ /found /corpus) >"$found.log" 2>&1 || failed=1
    grep -E '^Done|does not hold|ERROR|runtime error|SUMMARY' "$found.log" || true
    cp "$device"/found/* "$found"
done
exit "$failed"
