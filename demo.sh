#!/usr/bin/env bash
# The main job from end to end: two versions of an application, a signed patch between them, a device that takes it.
#   ./demo.sh                    with a sample application of several MB
#   ./demo.sh OLD.vab NEW.vab    with your own bundle files
#   ./demo.sh --keep ...         the same, and keeps the device to look around
# Exit status 0 only if the device runs the new version at the end.
set -euo pipefail
start_dir=$PWD
cd "$(dirname "$0")"

keep=false
if [ "${1:-}" = "--keep" ]; then
    keep=true
    shift
fi
if [ $# -ne 0 ] && [ $# -ne 2 ]; then
    sed -n '2,6s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi

step() { printf '\n== %s\n' "$*"; }

step "Building tavomend and tvpk: some minutes for the first time"
scripts/install_dependencies.sh
cmake --preset default -G Ninja -DTAVOMEND_TESTS=OFF >/dev/null
cmake --build --preset default --target tavomend tvpk -- --quiet
tvpk=$PWD/build/default/apps/tvpk/tvpk
tavomend=$PWD/build/default/apps/tavomend/tavomend

work=$(mktemp -d "${TMPDIR:-/tmp}/tavomend-demo.XXXXXX")
trap '$keep || rm -rf "$work"' EXIT

# An application as it might be: code, which changes in places, and resources, which hardly compress.
make_sample() {
    local dir=$1 version=$2
    mkdir -p "$dir/res"
    printf '{"bundleName": "com.example.demo", "versionCode": %s, "versionName": "%s.0", "module": "entry"}\n' \
        "$version" "$version" >"$dir/manifest.json"
    seq 1 400000 | sed "s/^\([0-9]*000\)\$/call \1 of version $version/" >"$dir/code.txt"
    for image in 1 2 3; do
        { openssl enc -aes-256-ctr -pass "pass:image$image" -nosalt -pbkdf2 -in /dev/zero 2>/dev/null || true; } |
            head -c 1500000 >"$dir/res/image$image.bin"
    done
    { openssl enc -aes-256-ctr -pass "pass:new$version" -nosalt -pbkdf2 -in /dev/zero 2>/dev/null || true; } |
        head -c 20000 >"$dir/res/changed.bin"
}

if [ $# -eq 2 ]; then
    old=$(cd "$start_dir" && realpath -e "$1")
    new=$(cd "$start_dir" && realpath -e "$2")
else
    step "Packing two versions of a sample application"
    make_sample "$work/demo1" 1
    make_sample "$work/demo2" 2
    "$tvpk" pack "$work/demo1" "$work/demo1.vab"
    "$tvpk" pack "$work/demo2" "$work/demo2.vab"
    old=$work/demo1.vab
    new=$work/demo2.vab
fi
cp "$old" "$work/App.vab"

step "Making a device with the old version as a factory application"
"$tvpk" keygen --out "$work/key"
"$tavomend" --root "$work/device" device init --base-version 1.0.0 \
    --public-key "$work/key/zkkey_tvpk_v1.pem" --factory "$work/App.vab"

step "Making the signed patch package"
cat >"$work/release.json" <<EOF
{
  "version": "patch01",
  "products": [{"model": "demo-device", "baseVersion": "1.0.0"}],
  "apps": [{"patch": "hot", "files": [{"base": "/system/app/App/App.vab", "old": "App.vab", "new": "$new"}]}]
}
EOF
"$tvpk" make "$work/release.json" --key "$work/key/tavomend_private.pem" --out "$work/out"

step "Before"
"$tavomend" --root "$work/device" device list

step "Delivering and applying"
"$tavomend" --root "$work/device" deliver "$work/out/app.tvpk" "$work/out/tavomend_sign.bin"
"$tavomend" --root "$work/device" apply

step "After"
"$tavomend" --root "$work/device" device list
"$tavomend" --root "$work/device" info

# The proof: the file that the device runs is, byte for byte, the new one.
if cmp -s "$new" "$work"/device/data/app/*/v*/*.vab; then
    printf '\nThe device runs the new version.\n'
    if $keep; then
        printf '\nLook around:\n    %s --root %s status\n    %s --root %s device list\n' \
            "$tavomend" "$work/device" "$tavomend" "$work/device"
    fi
else
    printf '\nThe device does not run the new version.\n' >&2
    exit 1
fi
