#!/usr/bin/env bash
# Installs the build folder into a folder of its own, moves it, and uses it from there alone.
#   installed_tree_test.sh SOURCES BUILD COMPILER
set -euo pipefail
sources=$1
build=$2
compiler=$3
work=$(mktemp -d "${TMPDIR:-/tmp}/tavomend-installed.XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved" # nothing may know where it was installed to
tree=$work/moved
lib=$(dirname "$(find "$tree" -name libtavomend_platform.so)")
export PKG_CONFIG_PATH=$lib/pkgconfig

# The libraries are found by their sonames, from where the program stands.
for library in engine_app platform; do
    readelf -d "$lib/libtavomend_$library.so" | grep -q "SONAME.*\[libtavomend_$library.so.1\]" || fail "soname $library"
done
for file in "$tree/bin/tavomend" "$lib/libtavomend_engine_app.so.1"; do
    runpath=$(readelf -d "$file" | sed -n 's/.*RUNPATH.*\[\(.*\)\]/\1/p')
    [[ $runpath == '$ORIGIN'* && $runpath != *:* ]] || fail "$file has the run path '$runpath'"
    ldd "$file" | grep libtavomend | grep -v "=> $tree/" && fail "$file takes a library from elsewhere"
done

# Each header by itself, from the installed tree alone.
cd "$tree/include/tavomend"
headers=$(find . -name '*.h')
[ "$(wc -l <<<"$headers")" -ge 16 ] || fail "headers are missing: $headers"
xargs -P 2 -n 8 "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ -I . <<<"$headers"

# The example, by find_package and by pkg-config.
cd "$work"
cmake -S "$sources/docs/example" -B by_cmake -DCMAKE_PREFIX_PATH="$tree" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build by_cmake >/dev/null
read -ra flags <<<"$(pkg-config --cflags --libs tavomend)"
"$compiler" -std=c++17 "$sources/docs/example/patch_status.cpp" -o by_pkg_config "${flags[@]}" -Wl,-rpath,"$lib"

# On a device that has come up without a patch: as a root of its own, with the libraries that the programs name.
"$tree/bin/tavomend" --root device device init --base-version 1.0.0 >/dev/null
"$tree/bin/tavomend" --root device boot >/dev/null
for program in by_cmake/patch_status by_pkg_config; do
    { ldd "$program" | grep -oE '/[^ ]+'; echo "$PWD/$program"; } | xargs -I FILE cp --parents -L FILE device
    said=$(unshare -r chroot device "$PWD/$program")
    [ "$said" = $'version patch00\nstatus idle' ] || fail "$program says: $said"
done

# Another zlib than the one that the devices have is no accident that passes.
printf '\0 deflate 1.2.99 Copyright 1995 \0' >libz.a
if cmake -DTAVOMEND_STATIC_ZLIB="$work/libz.a" -P "$sources/cmake/pinned_zlib.cmake" 2>refused; then
    fail "a foreign zlib is taken"
fi
grep -q '1\.2\.99' refused || fail "$(cat refused)"
cmake -DTAVOMEND_STATIC_ZLIB="$work/libz.a" -DTAVOMEND_ZLIB_VERSION=1.2.99 -P "$sources/cmake/pinned_zlib.cmake"
