#!/usr/bin/env bash
# Clock drift without clicks: a continuous 47 Hz sine plays through Sorix for MINUTES, and in the
# same run through the server's own module-loopback (latency_msec=20), on a private PulseAudio
# and a private PipeWire server (null sinks at 48 kHz). The speakers' monitors are recorded and
# the sine followed block by block (sorix_monitor_analysis sine), which finds every skip or gap
# to a fraction of a frame and tells how fast the source ran against each sink: the drift the
# pipeline had to absorb. Then Sorix plays the same sine on two outputs at once, recorded on one
# timeline, and the offset between them is followed over the run (sine-offset). The loopback
# plays all along and is recorded with each set-up: a stall of the machine shows in both in the
# same seconds.
#
#   bash bench/drift.sh [MINUTES]     (default 10; after a build in build/)
#
# SORIX_BIN names the program (default build/bin/sorix); SORIX_BENCH_SERVERS the servers
# (default "pulseaudio pipewire"); SORIX_BENCH_KEEP=1 keeps the recordings and logs. The
# recorder holds each recording in memory: about 23 MB per minute and monitor, so two hours need
# about 6 GB of memory and as much in /tmp.
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/private-server.sh

minutes="${1:-10}"
if ! [[ "$minutes" =~ ^[0-9]+$ && "$minutes" -ge 1 ]]; then
    echo "usage: bash bench/drift.sh [MINUTES >= 1]" >&2
    exit 2
fi
seconds=$((minutes * 60))
source bench/monitor-tools.sh
player=build/tests/support/sorix-test-player
[ -x "$player" ] || { echo "$player is missing: cmake --build build" >&2; exit 1; }
# The start (the tap's first pieces, the trimmer's first window, the rate's first steps) is left
# out of every figure.
settle_seconds=10

work="$(mktemp -d /tmp/sorix-drift-XXXXXX)"
pids=()         # Sorix and the sine it takes over
loop_player=""  # the sine the loopback plays, which outlives one set-up
stop_sorix_and_sine() {
    local pid
    for pid in "${pids[@]}"; do
        if kill -TERM "$pid" 2>/dev/null; then
            wait "$pid" 2>/dev/null || true  # a program ended by the signal reports it
        fi
    done
    pids=()
}
stop_programs() {
    stop_sorix_and_sine
    if [ -n "$loop_player" ] && kill -TERM "$loop_player" 2>/dev/null; then
        wait "$loop_player" 2>/dev/null || true
    fi
    loop_player=""
}
private_server_at_exit stop_programs
if [ -n "${SORIX_BENCH_KEEP:-}" ]; then
    echo "recordings and logs stay in $work" >&2
else
    private_server_at_exit "rm -rf '$work'"
fi

# The sine, outlasting the recording whatever the start-up takes, into the default output, which
# Sorix takes over.
play_sine() {
    sox -q -n -r 48000 -c 2 -e floating-point -b 32 -t raw - \
        synth $((seconds + 30)) sine 47 vol 0.25 |
        pacat --raw --format=float32le --rate=48000 --channels=2 &
    pids+=($!)
}

# The same sine into the loopback's sink. Sorix takes over every program's stream, whatever its
# sink, so this one asks the server not to let it move.
play_sine_past_sorix() {
    "$player" --tone 47 --level 0.25 --seconds $((2 * seconds + 60)) --sink "$1" --dont-move \
        >/dev/null &
    loop_player=$!
}

start_sorix() {
    echo "$1" >"$work/settings.json"
    # The log gathers every start's lines: only a report after the ones before counts.
    local before
    touch "$work/sorix.log"
    before="$(grep -c "pipeline alive" "$work/sorix.log" || true)"
    SORIX_SETTINGS_FILE="$work/settings.json" "$sorix" 2>>"$work/sorix.log" &
    pids+=($!)
    for _ in $(seq 250); do
        [ "$(grep -c "pipeline alive" "$work/sorix.log" || true)" -gt "$before" ] && return 0
        sleep 0.02
    done
    echo "sorix never reported its pipeline alive; its log:" >&2
    tail -n 20 "$work/sorix.log" >&2
    exit 1
}

# "drift discontinuities" of a recording, with the discontinuities' lines kept aside.
sine_summary() {
    "$analysis" sine "$1" --skip "$settle_seconds" >"$1.sine"
    awk 'NR == 1 { print $2, $4 }' "$1.sine"
}

run() {
    local kind="$1" prefix module
    # The loopback plays beside Sorix in both set-ups, so that whatever the machine does to one
    # it does to the other in the same seconds.
    module="$(pactl load-module module-loopback source=loop_in.monitor sink=loop_out \
        latency_msec=20)"
    play_sine_past_sorix loop_in

    # One output.
    prefix="$work/$kind-one"
    play_sine
    start_sorix '{"volumeBoost": 1.0, "boostActive": true}'
    "$recorder" "$seconds" "$prefix" speakers.monitor loop_out.monitor >"$prefix.log"
    stop_sorix_and_sine
    echo "$kind Sorix-one $(sine_summary "$prefix.1") -" >>"$work/results"
    echo "$kind loopback-1 $(sine_summary "$prefix.2") -" >>"$work/results"

    # Two outputs in step.
    prefix="$work/$kind-two"
    play_sine
    start_sorix '{"volumeBoost": 1.0, "boostActive": true,
                  "outputDeviceUIDs": ["speakers", "speakers2"]}'
    "$recorder" "$seconds" "$prefix" speakers.monitor speakers2.monitor loop_out.monitor \
        >"$prefix.log"
    stop_programs
    pactl unload-module "$module"
    local offset
    offset="$("$analysis" sine-offset "$prefix.1" "$prefix.2" --skip "$settle_seconds")"
    echo "$kind Sorix-two-a $(sine_summary "$prefix.1") $offset" >>"$work/results"
    echo "$kind Sorix-two-b $(sine_summary "$prefix.2") -" >>"$work/results"
    echo "$kind loopback-2 $(sine_summary "$prefix.3") -" >>"$work/results"
    [ -n "${SORIX_BENCH_KEEP:-}" ] || rm -f "$work/$kind"-*.[123].f32
}

: >"$work/results"
: >"$work/servers"
for kind in $servers; do
    private_server_start "$kind"
    for sink in speakers speakers2 loop_in loop_out; do
        private_server_null_sink "$sink" "$sink" >/dev/null
    done
    pactl set-default-sink speakers
    echo "$kind: $(private_server_name) $(pactl info | sed -n 's/^Server Version: //p')" \
        >>"$work/servers"
    run "$kind"
    private_server_stop
done

cat "$work/servers"
echo "a 47 Hz sine for $minutes min per set-up, from second $settle_seconds on"
format='%-10s %-12s %10s %16s %s\n'
# shellcheck disable=SC2059
printf "$format" server set-up "drift ppm" discontinuities \
    "offset b behind a, ms: first min median max last"
while read -r kind setup drift found offset; do
    # shellcheck disable=SC2059
    printf "$format" "$kind" "$setup" "$drift" "$found" "$offset"
done <"$work/results"
for listing in "$work"/*.sine; do
    if [ "$(wc -l <"$listing")" -gt 1 ]; then
        echo "discontinuities in $(basename "$listing" .sine) (seconds from the start, frames):"
        tail -n +2 "$listing" | head -n 20
    fi
done
