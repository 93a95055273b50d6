#!/usr/bin/env bash
# Includes run only downwards: each room may include itself and what is listed here. Programs and tests alone choose a
# port.
set -euo pipefail
cd "$1"

failed=0
# check ROOM ALLOWED...: every quoted include of the room's sources starts with one of the allowed prefixes.
check() {
    local room=$1
    shift
    local allowed wrong
    allowed=$(printf '|%s[/"]' "$room" "$@")
    wrong=$(grep -rnE '^ *# *include *"' --include='*.h' --include='*.cpp' "$room" |
        grep -vE "include *\"(${allowed#|})" || true)
    if [ -n "$wrong" ]; then
        echo "$room includes what it must not know:"
        echo "$wrong"
        failed=1
    fi
}

utility=(platform/utility platform/api handles)
below_common=(formats "${utility[@]}")
below_error=(common "${below_common[@]}")
below_tools=(error "${below_error[@]}")
below_package=(tools bundle "${below_tools[@]}")
below_state=(package "${below_package[@]}")
below_engine=(state "${below_state[@]}")

check handles
check platform/api
check platform/utility platform/api handles
check formats "${utility[@]}"
check diff handles
check ports diff formats "${utility[@]}"
check common "${below_common[@]}"
check error "${below_error[@]}"
check tools "${below_tools[@]}"
check bundle "${below_tools[@]}"
check package "${below_package[@]}"
check state "${below_state[@]}"
check engine "${below_engine[@]}"
# Through the factory alone: a host's binary survives a change inside.
check hosting engine/i_engine_app.h engine/engine_factory.h package/patch_status_code.h common "${below_common[@]}"
check apps/common
check apps/tvpk apps/common diff formats "${utility[@]}"
check apps/tavomend apps/common hosting ports formats common "${utility[@]}"

# A room that is in the tree and not in the list above would not be looked at.
for source in $(find . -path ./build -prune -o -name '*.cpp' -print | cut -d/ -f2 | sort -u); do
    case $source in
        handles | platform | formats | diff | ports | common | error | tools | bundle | package | state | engine | \
            hosting | apps | tests | fuzz | instruments | bench | docs) ;;
        *)
            echo "the room $source has no rule"
            failed=1
            ;;
    esac
done
exit $failed
