#!/usr/bin/env bash
# Sets up, builds and runs Sorix in the foreground until Ctrl-C. Sorix boosts everything this
# computer plays, by the stored settings. Without a reachable sound server (a bare machine, a
# container) a private PulseAudio server with one null sink is started first and stopped after.
#
#   bash scripts/run.sh [--boost FACTOR]
#
# --boost stores the factor (1 to 8) and switches boosting on before the start, the way the panel
# would; above 2 it also switches Safe Mode off, since Safe Mode caps the boost at 2.
set -euo pipefail
cd "$(dirname "$0")/.."

usage="usage: bash scripts/run.sh [--boost FACTOR]   (FACTOR from 1 to 8)"
boost=""
while [ $# -gt 0 ]; do
    case "$1" in
        --boost)
            [ $# -ge 2 ] || { echo "$usage" >&2; exit 2; }
            boost="$2"
            shift 2
            ;;
        -h | --help)
            echo "$usage"
            exit 0
            ;;
        *)
            echo "$usage" >&2
            exit 2
            ;;
    esac
done
# awk reads and prints numbers in the locale's notation: under a comma-decimal one it would print
# 2.5 as "2,5", which is not JSON. The factor is a "C" number whatever the user's locale.
c_awk() { LC_ALL=C awk "$@"; }
if [ -n "$boost" ]; then
    if ! [[ "$boost" =~ ^[0-9]+([.][0-9]+)?$ ]] ||
        ! c_awk -v b="$boost" 'BEGIN { exit !(b >= 1 && b <= 8) }'; then
        echo "--boost needs a factor from 1 to 8, not \"$boost\"" >&2
        exit 2
    fi
    boost="$(c_awk -v b="$boost" 'BEGIN { print b + 0 }')"  # JSON has no "08" or "2."
fi

bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target sorix

# The file sorix reads: $SORIX_SETTINGS_FILE, else $XDG_CONFIG_HOME (when absolute) or ~/.config.
config_home="$HOME/.config"
[[ "${XDG_CONFIG_HOME:-}" == /* ]] && config_home="$XDG_CONFIG_HOME"
settings="${SORIX_SETTINGS_FILE:-$config_home/sorix/settings.json}"

if [ -n "$boost" ]; then
    mkdir -p "$(dirname "$settings")"
    current='{}'
    [ -s "$settings" ] && current="$(cat "$settings")"
    safe_mode_off=false
    c_awk -v b="$boost" 'BEGIN { exit !(b > 2) }' && safe_mode_off=true
    # Replaced whole, as sorix itself writes it, so a reader never sees half a file.
    jq --argjson boost "$boost" --argjson unsafe "$safe_mode_off" \
        '.volumeBoost = $boost | .boostActive = true | if $unsafe then .safeMode = false else . end' \
        <<<"$current" >"$settings.run-sh"
    mv "$settings.run-sh" "$settings"
fi

pulse_dir=""
pulse_pid=""
stop_private_server() {
    [ -n "$pulse_pid" ] && kill "$pulse_pid" 2>/dev/null && wait "$pulse_pid" 2>/dev/null || true
    [ -n "$pulse_dir" ] && rm -rf "$pulse_dir"
}
if ! pactl info >/dev/null 2>&1; then
    pulse_dir="$(mktemp -d /tmp/sorix-pulse-XXXXXX)"
    trap stop_private_server EXIT
    cat >"$pulse_dir/server.pa" <<PA
load-module module-native-protocol-unix socket=$pulse_dir/native
load-module module-null-sink sink_name=speakers rate=48000 sink_properties="device.description=Speakers device.class=sound"
set-default-sink speakers
PA
    export PULSE_SERVER="unix:$pulse_dir/native" PULSE_COOKIE="$pulse_dir/cookie"
    # Its own runtime and state folders: nothing of a user's session is touched. These flags also
    # let it run as root.
    PULSE_RUNTIME_PATH="$pulse_dir" PULSE_STATE_PATH="$pulse_dir" XDG_RUNTIME_DIR="$pulse_dir" \
        pulseaudio -n -F "$pulse_dir/server.pa" --daemonize=no --exit-idle-time=-1 \
        --use-pid-file=no --disallow-exit --log-target=stderr --log-level=error \
        >/dev/null 2>"$pulse_dir/server.log" &
    pulse_pid=$!
    for _ in $(seq 100); do
        pactl info >/dev/null 2>&1 && break
        sleep 0.05
    done
    if ! pactl info >/dev/null 2>&1; then
        echo "No sound server is running, and a private one could not be started:" >&2
        cat "$pulse_dir/server.log" >&2
        exit 1
    fi
    echo "No sound server is running: started a private PulseAudio server with a null sink" \
        "(PULSE_SERVER=$PULSE_SERVER; programs that play there are boosted)."
fi

if [ "$(jq -r '.boostActive == true' "$settings" 2>/dev/null)" = true ]; then
    echo "Settings: $settings (boosting is on). Ctrl-C stops Sorix."
else
    echo "Settings: $settings. Boosting is off: set \"boostActive\": true there (or run" \
        "with --boost FACTOR) and start again; the panel that switches it comes later."
    echo "Sorix idles until then. Ctrl-C stops it."
fi
status=0
SORIX_SETTINGS_FILE="$settings" build/bin/sorix || status=$?
exit "$status"
