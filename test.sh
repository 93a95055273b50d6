#!/usr/bin/env bash
# Installs what is needed, builds, and runs the tests.
#   ./test.sh              all tests
#   ./test.sh --sanitize   the same tests under AddressSanitizer and UndefinedBehaviorSanitizer
#   ./test.sh --lint       clang-format and clang-tidy over the tree, no tests
set -euo pipefail
cd "$(dirname "$0")"

mode=default
case "${1:-}" in
    "") ;;
    --sanitize) mode=sanitize ;;
    --lint) exec scripts/lint.sh ;;
    *)
        sed -n '2,5s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
esac

scripts/install_dependencies.sh --tests
cmake --preset "$mode" -G Ninja >/dev/null
cmake --build --preset "$mode"
ctest --preset "$mode" -j "$(nproc)"
