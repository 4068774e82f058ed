#!/usr/bin/env bash
# Installs the Debian 12 packages Sorix builds, runs and tests with. Quiet and quick when they
# are already there; otherwise refreshes the package lists first.
set -euo pipefail

packages=(
    cmake g++ make pkg-config procps
    libsndfile1-dev
    qt6-base-dev nlohmann-json3-dev libpulse-dev
    pulseaudio pulseaudio-utils
    libgtest-dev libgmock-dev libbenchmark-dev
    sox jq
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
echo "Installing ${missing[*]} ..."
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
