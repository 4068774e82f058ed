# shellcheck shell=bash
# A private sound server for the benches, of either kind, that touches nothing of a user's
# session: its own folders, socket and (for PipeWire) session bus, started and stopped by pid.
# Source it from bash, then:
#
#   private_server_start pulseaudio|pipewire   start one; exports PULSE_SERVER and the rest
#   private_server_null_sink NAME DESCRIPTION  a 48 kHz stereo null sink (prints its module)
#   private_server_pids                        the server's processes (for CPU accounting)
#   private_server_name                        "Server Name" as pactl reports it
#   private_server_stop                        stop it, reap it, remove its folder
#   private_server_at_exit COMMAND             run COMMAND on exit, before the server stops
#
# One server runs at a time; a script may start another after stopping the first. Whatever way
# the calling script ends (error under `set -e`, Ctrl-C, SIGTERM), the server stops with it: the
# library owns the EXIT, INT and TERM traps, so a caller registers its own clean-up with
# private_server_at_exit instead of trapping EXIT itself.

PRIVATE_SERVER_KIND=""
PRIVATE_SERVER_DIR=""
PRIVATE_SERVER_BUS_PID=""
PRIVATE_SERVER_PIDS=()
_private_server_exit_hooks=()
_private_server_saved_env=()
_private_server_env_names=(PULSE_SERVER PULSE_RUNTIME_PATH PULSE_STATE_PATH PULSE_COOKIE
    XDG_RUNTIME_DIR PIPEWIRE_RUNTIME_DIR PIPEWIRE_REMOTE XDG_STATE_HOME XDG_CONFIG_HOME
    DBUS_SESSION_BUS_ADDRESS)

private_server_at_exit() { _private_server_exit_hooks+=("$1"); }

_private_server_on_exit() {
    local status=$? hook
    trap - EXIT INT TERM
    for hook in "${_private_server_exit_hooks[@]}"; do
        eval "$hook" || true
    done
    private_server_stop
    exit "$status"
}
trap _private_server_on_exit EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Remembers the variables the server changes, to give the caller its environment back on stop.
_private_server_save_env() {
    local name
    _private_server_saved_env=()
    for name in "${_private_server_env_names[@]}"; do
        if [ -n "${!name+set}" ]; then
            _private_server_saved_env+=("$name=${!name}")
        fi
    done
}

_private_server_restore_env() {
    local name entry
    for name in "${_private_server_env_names[@]}"; do
        unset "$name"
    done
    for entry in "${_private_server_saved_env[@]}"; do
        export "${entry%%=*}=${entry#*=}"
    done
    _private_server_saved_env=()
}

# True once pactl answers and the answering server is of the wanted kind: a PulseAudio daemon
# elsewhere on the machine must never be mistaken for ours.
_private_server_answers() {
    local name
    name="$(pactl info 2>/dev/null | sed -n 's/^Server Name: //p')" || return 1
    case "$PRIVATE_SERVER_KIND" in
        pipewire) [[ "$name" == *PipeWire* ]] ;;
        *) [ -n "$name" ] && [[ "$name" != *PipeWire* ]] ;;
    esac
}

_private_server_start_pulseaudio() {
    local dir="$PRIVATE_SERVER_DIR"
    cat >"$dir/server.pa" <<PA
load-module module-native-protocol-unix socket=$dir/native
PA
    export PULSE_SERVER="unix:$dir/native" PULSE_RUNTIME_PATH="$dir" PULSE_STATE_PATH="$dir"
    export PULSE_COOKIE="$dir/cookie" XDG_RUNTIME_DIR="$dir"
    # These flags also let it run as root.
    pulseaudio -n -F "$dir/server.pa" --daemonize=no --exit-idle-time=-1 --use-pid-file=no \
        --disallow-exit --log-target=stderr --log-level=error \
        >/dev/null 2>"$dir/pulseaudio.log" &
    PRIVATE_SERVER_PIDS+=($!)
}

_private_server_start_pipewire() {
    local dir="$PRIVATE_SERVER_DIR" bus
    mkdir -p "$dir/runtime" "$dir/state" "$dir/config"
    chmod 700 "$dir/runtime"
    export XDG_RUNTIME_DIR="$dir/runtime" PIPEWIRE_RUNTIME_DIR="$dir/runtime"
    export XDG_STATE_HOME="$dir/state" XDG_CONFIG_HOME="$dir/config"
    export PULSE_SERVER="unix:$dir/runtime/pulse/native" PULSE_COOKIE="$dir/cookie"
    export PULSE_RUNTIME_PATH="$dir/runtime/pulse" PULSE_STATE_PATH="$dir/state"
    unset PIPEWIRE_REMOTE
    # WirePlumber wants a session bus; a private one keeps it off any desktop's.
    bus="$(dbus-daemon --session --fork --print-address=1 --print-pid=1 --nopidfile)" || return 1
    DBUS_SESSION_BUS_ADDRESS="$(sed -n 1p <<<"$bus")"
    export DBUS_SESSION_BUS_ADDRESS
    PRIVATE_SERVER_BUS_PID="$(sed -n 2p <<<"$bus")"
    pipewire >/dev/null 2>"$dir/pipewire.log" &
    PRIVATE_SERVER_PIDS+=($!)
    # The session manager and the PulseAudio front end connect to pipewire's socket, which
    # appears a moment after it starts.
    for _ in $(seq 100); do
        [ -S "$dir/runtime/pipewire-0" ] && break
        sleep 0.05
    done
    wireplumber >/dev/null 2>"$dir/wireplumber.log" &
    PRIVATE_SERVER_PIDS+=($!)
    pipewire-pulse >/dev/null 2>"$dir/pipewire-pulse.log" &
    PRIVATE_SERVER_PIDS+=($!)
}

private_server_start() {
    local kind="$1"
    [ -z "$PRIVATE_SERVER_KIND" ] || { echo "a private server already runs" >&2; return 1; }
    case "$kind" in
        pulseaudio | pipewire) ;;
        *) echo "private_server_start: pulseaudio or pipewire, not \"$kind\"" >&2; return 2 ;;
    esac
    PRIVATE_SERVER_KIND="$kind"
    PRIVATE_SERVER_DIR="$(mktemp -d "/tmp/sorix-$kind-XXXXXX")"
    _private_server_save_env
    "_private_server_start_$kind" || { private_server_stop; return 1; }
    for _ in $(seq 200); do
        _private_server_answers && return 0
        sleep 0.05
    done
    echo "the private $kind server did not answer; its logs:" >&2
    tail -n 20 "$PRIVATE_SERVER_DIR"/*.log >&2 2>/dev/null || true
    private_server_stop
    return 1
}

private_server_null_sink() {
    local name="$1" description="$2"
    pactl load-module module-null-sink sink_name="$name" rate=48000 channels=2 \
        "sink_properties=\"device.description='$description' device.class=sound\""
}

private_server_pids() { echo "${PRIVATE_SERVER_PIDS[@]}"; }

private_server_name() { pactl info | sed -n 's/^Server Name: //p'; }

# Waits up to about two seconds for PID to end; true if it did.
_private_server_gone() {
    for _ in $(seq 40); do
        kill -0 "$1" 2>/dev/null || return 0
        sleep 0.05
    done
    ! kill -0 "$1" 2>/dev/null
}

private_server_stop() {
    local pid index
    [ -n "$PRIVATE_SERVER_KIND" ] || return 0
    # The front ends first, pipewire itself last, so none of them logs the others' going.
    for ((index = ${#PRIVATE_SERVER_PIDS[@]} - 1; index >= 0; index--)); do
        pid="${PRIVATE_SERVER_PIDS[index]}"
        kill -TERM "$pid" 2>/dev/null || continue
        _private_server_gone "$pid" || kill -KILL "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    # The bus forked away from us: it is not our child to reap, only to stop.
    if [ -n "$PRIVATE_SERVER_BUS_PID" ] && kill -TERM "$PRIVATE_SERVER_BUS_PID" 2>/dev/null; then
        _private_server_gone "$PRIVATE_SERVER_BUS_PID" ||
            kill -KILL "$PRIVATE_SERVER_BUS_PID" 2>/dev/null || true
    fi
    [ -n "$PRIVATE_SERVER_DIR" ] && rm -rf "$PRIVATE_SERVER_DIR"
    _private_server_restore_env
    PRIVATE_SERVER_KIND=""
    PRIVATE_SERVER_DIR=""
    PRIVATE_SERVER_BUS_PID=""
    PRIVATE_SERVER_PIDS=()
}
