#!/usr/bin/env bash
# Installs the Debian packages that are missing: what the build needs, with "--tests" what the tests need as well, with
# "--power-cuts" what makes the file systems whose power is cut, with "--packages" what makes Debian packages, and with
# "--bare-system" also what makes a system to install them in, with "--boot" also what boots it.
# Asks for nothing when all are there, so that an ordinary user can build on a prepared machine.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    zlib1g-dev libminizip-dev libssl-dev libcjson-dev      # the engine
    libzstd-dev libdivsufsort-dev liblzma-dev              # differences
    libsqlite3-dev libspdlog-dev                           # the host platform
    libcli11-dev nlohmann-json3-dev                        # the programs
    openssl                                                # the demo's sample data
)
case "$(dpkg --print-architecture)" in
    amd64 | arm64) packages+=(libisal-dev) ;; # quicker installs; there is none for others
esac
case "${1:-}" in
    "") ;;
    --packages) packages+=(debhelper dpkg-dev lintian scdoc) ;;
    --bare-system) packages+=(debhelper dpkg-dev lintian scdoc debootstrap) ;;
    --boot) packages+=(debhelper dpkg-dev lintian scdoc debootstrap procps systemd systemd-container) ;;
    *) packages+=(libgtest-dev libgmock-dev binutils zstd zip unzip) ;;
esac
if [ "${1:-}" = "--power-cuts" ]; then
    packages+=(e2fsprogs xfsprogs mount)
fi

if [ "${1:-}" = "--boot" ] && [ "$(dpkg --print-architecture)" = amd64 ]; then
    packages+=(e2fsprogs mount qemu-system-x86)
fi

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "These packages are missing, and installing them takes root: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
