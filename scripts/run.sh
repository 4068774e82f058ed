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
arguments=()
while [ $# -gt 0 ]; do
    case "$1" in
        --boost)
            [ $# -ge 2 ] || { echo "$usage" >&2; exit 2; }
            # sorix itself checks the factor and stores it.
            arguments+=(--boost "$2")
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

bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target sorix

pulse_dir=""
pulse_pid=""
# shellcheck disable=SC2317  # run by the EXIT trap
stop_private_server() {
    if [ -n "$pulse_pid" ] && kill "$pulse_pid" 2>/dev/null; then
        wait "$pulse_pid" 2>/dev/null || true
    fi
    if [ -n "$pulse_dir" ]; then rm -rf "$pulse_dir"; fi
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

echo "Ctrl-C stops Sorix."
status=0
build/bin/sorix "${arguments[@]}" || status=$?
exit "$status"
