#!/usr/bin/env bash
# Installs what is needed, builds, and runs the tests.
#   ./test.sh              all tests
#   ./test.sh --sanitize   the same tests under AddressSanitizer and UndefinedBehaviorSanitizer
#   ./test.sh --thread     the tests with threads under ThreadSanitizer
#   ./test.sh --lint       clang-format and clang-tidy over the tree, no tests
#   ./test.sh --power-cuts the power cut at every system call that changes a file, and every disk error; see
#                          docs/reliability.md
#   ./test.sh --packages   builds the Debian packages, installs them in a bare Debian 12 and purges them again
#   ./test.sh --boot       builds the Debian packages and boots a bare Debian 12 with them, in containers and in
#                          a virtual machine whose power is cut
set -euo pipefail
cd "$(dirname "$0")"

mode=default
case "${1:-}" in
    "") ;;
    --sanitize) mode=sanitize ;;
    --thread) mode=thread ;;
    --lint) exec scripts/lint.sh ;;
    --power-cuts)
        scripts/install_dependencies.sh --power-cuts
        cmake --preset default -G Ninja >/dev/null
        cmake --build --preset default --target powercut
        exec build/default/instruments/powercut/powercut --jobs "$(nproc)"
        ;;
    --packages)
        [ "$(id -u)" -ne 0 ] || scripts/install_dependencies.sh --bare-system
        ./package.sh
        exec tests/installed/packages_test.sh build/packages
        ;;
    --boot)
        [ "$(id -u)" -ne 0 ] || scripts/install_dependencies.sh --boot
        ./package.sh
        exec tests/installed/boot_test.sh build/packages build/boot
        ;;
    *)
        sed -n '2,11s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
esac

scripts/install_dependencies.sh --tests
cmake --preset "$mode" -G Ninja >/dev/null
cmake --build --preset "$mode"
ctest --preset "$mode" -j "$(nproc)"
