#!/usr/bin/env bash
# Includes run only downwards: each folder may include itself and what is listed here.
set -euo pipefail
cd "$1"

failed=0
# check FOLDER ALLOWED...: every quoted include of the folder's sources starts with one of the allowed prefixes.
check() {
    local folder=$1
    shift
    local allowed
    allowed=$(printf '|%s/' "$folder" "$@")
    local wrong
    wrong=$(grep -rnE '^#include "' --include='*.h' --include='*.cpp' "$folder" |
        grep -vE "#include \"(${allowed#|})" || true)
    if [ -n "$wrong" ]; then
        echo "$folder includes what it must not know:"
        echo "$wrong"
        failed=1
    fi
}

utility=(platform/utility platform/api)
check platform/api
check platform/utility platform/api
check platform/host "${utility[@]}"
check common "${utility[@]}"
check error common "${utility[@]}"
check tools error common "${utility[@]}"
check bundle error common "${utility[@]}"
check package tools bundle error common "${utility[@]}"
check state package tools bundle error common "${utility[@]}"
check engine state package tools bundle error common "${utility[@]}"
check apps engine common package/patch_status_code.h platform
exit $failed
