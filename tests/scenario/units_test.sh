#!/usr/bin/env bash
# The units are as systemd wants them, and shut in well: units_test.sh UNIT_DIRECTORY PROGRAM. 77 where systemd's own
# tool is missing.
set -euo pipefail
units=$1
program=$2
command -v systemd-analyze >/dev/null || exit 77

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for unit in early scan late; do
    # As installed, but for the program, which need not be.
    sed "s|^ExecStart=[^ ]*|ExecStart=$program|" "$units/tavomend-$unit.service" >"$work/tavomend-$unit.service"
done
for unit in early scan late; do
    said=$(SYSTEMD_UNIT_PATH="$work:" systemd-analyze verify --man=no "$work/tavomend-$unit.service" 2>&1) || failed=1
    if [ -n "$said" ]; then
        echo "tavomend-$unit.service: $said"
        failed=1
    fi
    # In tenths; what is above ends badly.
    systemd-analyze security --offline=true --threshold=40 --no-pager "$work/tavomend-$unit.service" | tail -n 2 ||
        failed=1
done
exit $failed
