#!/usr/bin/env bash
# Builds the Debian packages libtavomend1, libtavomend-dev, tavomend and tvpk into build/packages.
#   ./package.sh           installs what is missing, builds, looks them over with lintian
set -euo pipefail
cd "$(dirname "$0")"
if [ $# -ne 0 ]; then
    sed -n '2,3s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi

scripts/install_dependencies.sh --packages
packages=$PWD/build/packages
log=$packages/build.log

# The packages come out beside the tree that they are built in, so that tree is a copy.
rm -rf "$packages"
mkdir -p "$packages/source"
tar --exclude=./build --exclude=./.git -cf - . | tar -C "$packages/source" -xf -

echo "Building the packages; $log tells more"
export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-terse parallel=$(nproc)}"
if ! (cd "$packages/source" && dpkg-buildpackage -us -uc -b) >"$log" 2>&1; then
    tail -n 30 "$log" >&2
    echo "the packages could not be built" >&2
    exit 1
fi
lintian --allow-root --fail-on error --display-level error "$packages"/*.changes
rm -rf "$packages/source"
ls "$packages"/*.deb
