#!/usr/bin/env bash
# Boots a bare Debian 12 that the packages made a device of, in a container and once in a virtual machine whose power is
# cut, and judges each boot from outside of it. Exit status 77 where that cannot be tried; where only the virtual machine
# cannot, that case says so and is left out.
#   boot_test.sh PACKAGES CACHE [CASE...]      CACHE keeps the bare system between runs; remove it to make it anew
set -euo pipefail
# shellcheck source=bare_system.sh
. "$(dirname "$0")/bare_system.sh"
# shellcheck source=boot_machines.sh
. "$(dirname "$0")/boot_machines.sh"
need_bare_system
command -v systemd-nspawn >/dev/null || skip "systemd-nspawn is missing"
if [ -z "${BOOT_TEST_IS_PRIVATE:-}" ]; then # what is mounted here goes with this process
    BOOT_TEST_IS_PRIVATE=1 exec unshare --mount "$0" "$@"
fi

packages=$(realpath -e "$1")
mkdir -p "$2"
cache=$(realpath -e "$2")
shift 2
cases=("$@")
[ ${#cases[@]} -gt 0 ] || cases=(nothing no-device hot cold revoke broken cut-early cut-scan cut-late power-cut)
work=$(mktemp -d "${TMPDIR:-/tmp}/tavomend-boot.XXXXXX")
log=$work/log
end() {
    local code=$?
    # Everything of a container ends with the first process of its process namespace.
    [ -z "$machine" ] || pkill -9 -P "$machine" 2>/dev/null || true
    [ $code -eq 0 ] || tail -n 40 "$log" >&2
    [ -z "$disk" ] || umount "$root" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap end EXIT

make_cache() {
    step "a bare Debian 12 with systemd, kept in $cache"
    rm -rf --one-file-system "$cache/new"
    root=$cache/new
    make_bare_system
    install systemd-sysv dbus
    umount "$root/proc"
    mv "$cache/new" "$cache/bare"
}

# $work/device: a system with the packages that is a device, with a hot and a cold application of version 1.
make_device() {
    step "a device with the packages"
    root=$work/device
    cp -a "$cache/bare" "$root"
    bring_packages "$packages"
    mount -t proc proc "$root/proc"
    # shellcheck disable=SC2046
    install $(cd "$root" && ls ./packages/*.deb)
    umount "$root/proc"
    rm -rf "$root/packages"
    mkdir -p "$root/var/log/journal" # kept, so that it can be read from outside
    cat >"$root/etc/systemd/system/report.service" <<'UNIT'
[Unit]
Description=Tell how the boot went, and end
[Service]
Type=exec
ExecStart=/bin/sh -c 'systemctl is-system-running --wait >/report; systemctl --failed --no-legend --plain >>/report; systemctl poweroff'
UNIT
    cp -a "$root" "$work/no_device"
    for package in "$packages"/libtavomend1_*.deb "$packages"/tavomend_*.deb "$packages"/tvpk_*.deb; do
        dpkg-deb -x "$package" "$work/outside"
    done
    LD_LIBRARY_PATH=$(dirname "$(find "$work/outside" -name libtavomend_platform.so.1)")
    export LD_LIBRARY_PATH
    tvpk=$work/outside/usr/bin/tvpk
    "$tvpk" keygen --out "$work/keys" >>"$log"
    for app in Hot Cold Other; do
        pack "$app" 1
        pack "$app" 2
    done
    for app in Hot Cold; do
        mkdir -p "$root/system/app/$app"
        cp "$work/${app}1.vab" "$root/system/app/$app/$app.vab"
    done
    outside device init --system --public-key "$work/keys/zkkey_tvpk_v1.pem" >>"$log"
    base=$(. "$root/etc/os-release" && echo "$VERSION_ID")
    package hot enable "$(app_of hot Hot Hot)"
    package cold enable "$(app_of cold Cold Cold)"
    package both enable "$(app_of hot Hot Hot), $(app_of cold Cold Cold)"
    package broken enable "$(app_of cold Cold Other)" # made for another version 1 than the device has
    package back revoke ""
}

outside() { "$work/outside/usr/bin/tavomend" --root "$root" "$@" 2>>"$log"; }

# An application's bundle file; Other says that it is Cold.
pack() {
    local app=$1 version=$2 name=${1/Other/Cold}
    mkdir -p "$work/$app$version"
    printf '{"bundleName": "com.example.%s", "versionCode": %s, "versionName": "%s.0", "module": "entry"}\n' \
        "${name,,}" "$version" "$version" >"$work/$app$version/manifest.json"
    seq 1 20000 | sed "s/^\([0-9]*00\)\$/$app \1 of version $version/" >"$work/$app$version/code.txt"
    "$tvpk" pack "$work/$app$version" "$work/$app$version.vab" >>"$log"
}
app_of() { printf '{"patch": "%s", "files": [{"base": "/system/app/%s/%s.vab", "old": "%s1.vab", "new": "%s2.vab"}]}' \
    "$1" "$2" "$2" "$3" "$2"; }
package() {
    printf '{"version": "%s", "action": "%s", "products": [{"model": "m", "baseVersion": "%s"}], "apps": [%s]}\n' \
        "$1" "$2" "$base" "$3" >"$work/$1.json"
    "$tvpk" make "$work/$1.json" --key "$work/keys/tavomend_private.pem" --out "$work/$1" >>"$log" 2>&1
}
deliver() { outside deliver "$work/$1/app.tvpk" "$work/$1/tavomend_sign.bin" >>"$log"; }

# A system of its own for a case: a copy of the one that is named.
fresh() {
    forget_disk
    root=$work/case
    rm -rf --one-file-system "$root"
    cp -a "$work/$1" "$root"
}

want() { # TARGET UNIT
    mkdir -p "$root/etc/systemd/system/$1.wants"
    ln -sf "../$2" "$root/etc/systemd/system/$1.wants/$2"
}

# One whole boot, up to a shutdown of its own: the system runs, and no unit has failed.
whole_boot() {
    rm -f "$root/report"
    want multi-user.target report.service
    power_on
    wait_for_power_off
    [ "$(cat "$root/report")" = running ] || fail "after the boot the system is: $(cat "$root/report")"
}

# A boot that tells what a command says while it works towards a target, and is cut then.
cut_boot_at() { # TARGET, ORDER of the command among the units, COMMAND
    cat >"$root/etc/systemd/system/hold.service" <<UNIT
[Unit]
DefaultDependencies=no
$2
[Service]
Type=oneshot
ExecStart=/bin/sh -c '$3 >$(told_inside); exec sleep infinity'
UNIT
    want "$1" hold.service
    power_on
    local said
    said=$(told) || fail "the boot does not come to: $3"
    cut_power
    [ "$said" = active ] || fail "the boot has come to $said, not to: $3"
    rm "$root/etc/systemd/system/hold.service" "$root/etc/systemd/system/$1.wants/hold.service"
}
cut_boot() { # UNIT that has ended, TARGET that is being reached, and what comes NEXT
    cut_boot_at "$2" "$(printf 'After=%s\nBefore=%s' "$1" "$3")" "systemctl is-active $1"
}

versions() { outside --json device list | sed 's/"bundle":/\n&/g' |
    sed -n 's/^"bundle":"com.example.\([a-z]*\)".*"versionCode":\([0-9]*\),.*/\1 \2/p' | sort | xargs; }
runs() { [ "$(versions)" = "$1" ] || fail "the device has $(versions), not $1"; }
status_has() {
    local said part
    said=$(outside --json status)
    for part in "$@"; do
        [[ $said == *"$part"* ]] || fail "status lacks $part: $said"
    done
}
nothing_waits() { status_has '"pending":{"state":"none"' "$@"; }
file_is() { cmp "$work/$2.vab" "$root/data/app/com.example.$1/v2/entry.vab" >&2 || fail "the file of $1 is another"; }
ended() { journal -u "tavomend-$1.service" -o cat -g '^Finished'; }
journal() { journalctl --directory "$root/var/log/journal" --quiet "$@"; }
in_force() { # PACKAGE, versions, and the bundles that the journal must know
    runs "$2"
    nothing_waits '"whole":true' "\"version\":\"$1\"" '"last":{"operation":"apply","outcome":"done"}'
    local name
    for name in ${3:-}; do
        [ -n "$(journal "TAVOMEND_BUNDLE=com.example.$name")" ] || fail "the journal knows nothing of $name"
    done
}
has_rebuilt() { [ -n "$(find "$root/data/update/tavomend/app/temp/$1" -name '*.vab')" ]; }
after_a_cut() { # UNIT, TARGET, NEXT, versions at the cut
    fresh device
    deliver both
    cut_boot "$1" "$2" "$3"
    runs "$4"
    # A later unit would play a boot once more that failed without the early one: it is to have done this by itself.
    has_rebuilt cold || fail "no cold file has been rebuilt"
    finishes_both
}
finishes_both() {
    whole_boot
    in_force both "cold 2 hot 2"
    file_is cold Cold2
    file_is hot Hot2
}

# One patch whose boots lose their power after each unit, and once more while a hot application is put in place.
power_cut() {
    need_kernel
    fresh device
    deliver both
    put_on_disk
    cut_boot tavomend-early.service sysinit.target sysinit.target
    runs "cold 1 hot 1"
    has_rebuilt cold || fail "no cold file has been rebuilt"
    cut_boot tavomend-scan.service multi-user.target tavomend-late.service
    runs "cold 2 hot 1"
    cut_boot_at multi-user.target Before=multi-user.target \
        "until [ -e /data/app/com.example.hot/v2 ]; do :; done; echo active"
    [[ $(versions) == "cold 2 hot "[12] ]] || fail "after a cut of the late unit the device has $(versions)"
    cut_boot tavomend-late.service multi-user.target multi-user.target
    runs "cold 2 hot 2"
    finishes_both
}

play() {
    case $1 in
        nothing)
            fresh device
            whole_boot
            runs "cold 1 hot 1"
            nothing_waits '"last":{"operation":"none"'
            [ -n "$(ended scan)" ] || fail "the scan has not run"
            [ -z "$(ended early)" ] || fail "the early unit has run for nothing"
            ;;
        no-device) # the packages alone change nothing of a boot
            fresh no_device
            whole_boot
            [ -z "$(ended '*')" ] || fail "a unit has run on no device"
            [ -z "$(find "$root/data" -type f)" ] || fail "a boot has put files into /data"
            ;;
        hot)
            fresh device
            deliver hot
            whole_boot
            in_force hot "cold 1 hot 2" hot
            file_is hot Hot2
            ;;
        cold)
            fresh device
            deliver cold
            whole_boot
            in_force cold "cold 2 hot 1" cold
            file_is cold Cold2
            ;;
        revoke)
            fresh device
            deliver both
            outside boot >>"$log" 2>&1
            runs "cold 2 hot 2"
            deliver back
            whole_boot
            in_force back "cold 1 hot 1"
            ;;
        broken)
            fresh device
            deliver broken
            whole_boot
            runs "cold 1 hot 1"
            nothing_waits '"whole":false' '"outcome":"failed"' "com.example.cold: a file could not be rebuilt"
            [[ $(journal -p err TAVOMEND_BUNDLE=com.example.cold -o verbose) == *TAVOMEND_CODE=* ]] ||
                fail "the journal does not tell why"
            ;;
        cut-early) after_a_cut tavomend-early.service sysinit.target sysinit.target "cold 1 hot 1" ;;
        cut-scan) after_a_cut tavomend-scan.service multi-user.target tavomend-late.service "cold 2 hot 1" ;;
        cut-late) after_a_cut tavomend-late.service multi-user.target multi-user.target "cold 2 hot 2" ;;
        power-cut) power_cut ;;
        *) fail "there is no case $1" ;;
    esac
}

[ -d "$cache/bare" ] || make_cache
make_device
for name in "${cases[@]}"; do
    began=$SECONDS
    why_not=
    [ "$name" != power-cut ] || why_not=$(why_no_virtual_machine)
    if [ -n "$why_not" ]; then
        step "$name: left out, $why_not"
        continue
    fi
    play "$name"
    step "$name: as it should be, $((SECONDS - began)) s"
done
echo "The device boots as it should."
