#!/usr/bin/env bash
# Installs the packages with apt into a bare Debian 12, uses them there, and purges them again. Takes some minutes, mostly
# for apt. Exit status 77 where that cannot be tried.
#   packages_test.sh PACKAGES
set -euo pipefail
# shellcheck source=bare_system.sh
. "$(dirname "$0")/bare_system.sh"
need_bare_system
if [ -z "${PACKAGES_TEST_IS_PRIVATE:-}" ]; then # what is mounted here goes with this process
    PACKAGES_TEST_IS_PRIVATE=1 exec unshare --mount "$0" "$@"
fi

packages=$(realpath -e "$1")
work=$(mktemp -d "${TMPDIR:-/tmp}/tavomend-packages.XXXXXX")
root=$work/root
log=$work/log
end() {
    local code=$?
    [ $code -eq 0 ] || tail -n 20 "$log" >&2
    umount "$root/proc" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap end EXIT
# Every name outside of /data but those that apt and dpkg keep about any package.
names() {
    (cd "$root" && find . \( -path ./proc -o -path ./dev -o -path ./data -o -path ./packages -o -path ./tmp \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log \) -prune -o -print) | sort
}

step "a bare Debian 12"
make_bare_system
install g++ pkg-config systemd man-db bash-completion
bring_packages "$packages"
version=$(dpkg-deb -f "$(ls "$root"/packages/tavomend_*.deb)" Version)
names >"$work/before"

step "the maker alone"
install "./packages/$(basename "$root"/packages/tvpk_*.deb)"
inside dpkg-query -W -f='${Package}\n' | grep -E 'libtavomend|sqlite' && fail "the maker brings what it must not need"
[[ $(inside tvpk --help) == *inspect* ]] || fail "tvpk --help"
inside tvpk keygen --out /tmp/keys >>"$log" || fail "tvpk keygen"

step "all of them"
# shellcheck disable=SC2046
install $(cd "$root" && ls ./packages/*.deb)
[[ $(inside tavomend --help) == *deliver* ]] || fail "tavomend --help"
inside tavomend --root /tmp/device device init --base-version 1.0.0 --public-key /tmp/keys/zkkey_tvpk_v1.pem >>"$log" ||
    fail "tavomend device init"
for page in tavomend tvpk "5 tavomend-package" "5 tavomend-status"; do
    # shellcheck disable=SC2086
    [[ $(inside man $page 2>>"$log") == *$'\nNAME\n'* ]] || fail "man $page"
done
# What a shell offers after "tavomend del", as bash-completion finds it by the program's name.
completed=$(inside bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader tavomend
    COMP_WORDS=(tavomend del) COMP_CWORD=1 COMP_LINE="tavomend del" COMP_POINT=12
    "$(complete -p tavomend | sed "s/.*-F \([^ ]*\).*/\1/")" tavomend del tavomend && echo "${COMPREPLY[*]}"') || true
[[ $completed =~ ^deliver\ *$ ]] || fail "bash completes del by: $completed"
for unit in early scan late; do
    [ "$(inside systemctl is-enabled tavomend-$unit.service)" = enabled ] || fail "tavomend-$unit.service is not enabled"
done
[ "$(inside pkg-config --modversion tavomend)" = "$version" ] || fail "tavomend.pc has another version than $version"
flags=$(inside pkg-config --cflags --libs tavomend)
[[ $flags == *-I*/include/tavomend* ]] || fail "pkg-config: $flags"
# shellcheck disable=SC2086
inside g++ -std=c++17 -Wall -Wextra -Werror /usr/share/doc/libtavomend-dev/examples/patch_status.cpp -o /tmp/patch_status \
    $flags || fail "the example does not build"
said=$(inside /tmp/patch_status)
[ "$said" = $'version patch00\nstatus none' ] || fail "the example says: $said"
owner=$(inside stat -c '%U %a' /data/update/tavomend/package)
[ "$owner" = "tavomend 755" ] || fail "the package's place belongs to: $owner"

step "purged again"
echo kept >"$root/data/update/tavomend/package/kept"
inside apt-get purge -y -qq --autoremove libtavomend1 libtavomend-dev tavomend tvpk >>"$log" 2>&1 || fail "apt-get purge"
names >"$work/after"
diff "$work/before" "$work/after" || fail "a purge leaves other names than there were (> is left, < is gone)"
[ "$(cat "$root/data/update/tavomend/package/kept")" = kept ] || fail "a purge takes files of /data"
inside getent passwd tavomend >/dev/null || fail "a purge takes the account that files of /data belong to"
echo "The packages install, work and go in a bare Debian 12."
