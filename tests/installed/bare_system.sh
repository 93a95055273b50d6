# shellcheck shell=bash disable=SC2016,SC2154
# What the tests of the packages share: a bare Debian 12 in a folder. To be sourced, with root= and log= set.
skip() { echo "skipped: $*"; exit 77; }
fail() { echo "FAILED: $*" >&2; exit 1; }
step() { printf -- '-- %s\n' "$*"; }
inside() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive ${http_proxy:+http_proxy="$http_proxy"} "$@"; }
install() { inside apt-get install -y -qq --no-install-recommends "$@" >>"$log" 2>&1 || fail "apt cannot install $*"; }

# Gives the mirror that this machine's apt takes bookworm from.
need_bare_system() {
    [ "$(id -u)" -eq 0 ] || skip "a bare system is made by root only"
    command -v debootstrap >/dev/null || skip "debootstrap is missing"
    mirror=$(apt-get indextargets --format '$(SITE) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' |
        awk '$2 == "bookworm" && $3 == "main" { print $1; exit }')
    [ -n "$mirror" ] || skip "apt of this machine has no source for bookworm"
}

# A bare system in $root; where dpkg is told to leave man pages out, it is told no longer.
make_bare_system() {
    debootstrap --variant=minbase bookworm "$root" "$mirror" >>"$log" 2>&1 || fail "debootstrap"
    sed -i '/^path-exclude.*man/d' "$root"/etc/dpkg/dpkg.cfg.d/* "$root/etc/dpkg/dpkg.cfg" 2>/dev/null || true
    mount -t proc proc "$root/proc"
}

# The packages of a folder, but those with debug symbols, to /packages of the bare system.
bring_packages() {
    mkdir "$root/packages"
    cp "$1"/*.deb "$root/packages"
    rm -f "$root"/packages/*-dbgsym_*
}
