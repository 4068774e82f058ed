#!/usr/bin/env bash
# Installs the Debian 12 packages Sorix builds, runs and tests with. Quiet and quick when they
# are already there; otherwise refreshes the package lists first.
set -euo pipefail

packages=(
    cmake g++ make pkg-config procps
    libsndfile1-dev
    qt6-base-dev nlohmann-json3-dev libpulse-dev libxcb1-dev libx11-dev libxtst-dev
    # The panel: Qt Quick and the QML modules it loads, its fonts and symbols.
    qt6-declarative-dev qml6-module-qtqml qml6-module-qtquick qml6-module-qtquick-window
    qml6-module-qtquick-shapes qml6-module-qtquick-layouts qml6-module-qtqml-workerscript
    qml6-module-qt5compat-graphicaleffects fonts-inter fonts-material-design-icons-iconfont
    pulseaudio pulseaudio-utils
    pipewire pipewire-pulse wireplumber dbus-daemon
    locales
    libgtest-dev libgmock-dev libbenchmark-dev
    # The panel's tests: views under Qt Quick Test, and a desktop under Xvfb with a tray.
    qml6-module-qttest xvfb openbox trayer xdotool x11-utils imagemagick
    sox
    # Installing and packaging: manual pages, icons, and the checks of what gets installed.
    help2man librsvg2-bin desktop-file-utils appstream file dpkg-dev lintian
)

# The tests run Sorix under a comma-decimal locale as well.
test_locale=de_DE.UTF-8

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing ${missing[*]} ..."
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
fi
if ! locale -a 2>/dev/null | grep -qix "${test_locale/UTF-8/utf8}"; then
    "${sudo[@]}" localedef -i "${test_locale%%.*}" -f UTF-8 "$test_locale"
fi
