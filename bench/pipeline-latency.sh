#!/usr/bin/env bash
# The delay Sorix adds to everything it captures, as the sound server accounts for it: from a
# program's stream entering the tap to its sound leaving the output sink. Runs the real program
# on a private PulseAudio daemon (null sinks, no sound card) with a tone playing, and samples the
# server's latency figures once a second:
#   tap      the tap sink's own latency, which the captured stream waits through
#   capture  Sorix's recording of the tap: buffered plus the monitor's latency
#   playback Sorix's stream on the output: buffered plus the sink's latency
# The sum is the added latency. The run prints every sample, then a summary of the run once
# settled, with the early and the last ten seconds side by side so that growth shows.
#
#   bash bench/pipeline-latency.sh [SECONDS]     (default 60; after a build in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
duration="${1:-60}"
sorix=build/bin/sorix
[ -x "$sorix" ] || { echo "build sorix first (cmake --build build --target sorix)" >&2; exit 1; }

work="$(mktemp -d /tmp/sorix-latency-XXXXXX)"
cleanup() {
    kill "${sorix_pid:-}" "${player_pid:-}" 2>/dev/null || true
    kill -KILL "${daemon_pid:-}" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

cat >"$work/daemon.pa" <<PA
load-module module-native-protocol-unix socket=$work/native
load-module module-null-sink sink_name=speakers rate=48000 sink_properties="device.description=Speakers device.class=sound"
set-default-sink speakers
PA
export PULSE_SERVER="unix:$work/native" PULSE_RUNTIME_PATH="$work" PULSE_STATE_PATH="$work"
export PULSE_COOKIE="$work/cookie" XDG_RUNTIME_DIR="$work"
pulseaudio -n -F "$work/daemon.pa" --daemonize=no --exit-idle-time=-1 --use-pid-file=no \
    --disallow-exit --log-target=stderr --log-level=error 2>/dev/null &
daemon_pid=$!
for _ in $(seq 100); do pactl info >/dev/null 2>&1 && break; sleep 0.05; done

echo '{"volumeBoost": 1.0, "boostActive": true}' >"$work/settings.json"
sox -q -n -r 48000 -c 2 "$work/tone.wav" synth "$((duration + 10))" sine 440 vol 0.2
paplay "$work/tone.wav" 2>/dev/null &
player_pid=$!
SORIX_SETTINGS_FILE="$work/settings.json" "$sorix" 2>"$work/sorix.log" &
sorix_pid=$!
for _ in $(seq 100); do grep -q "pipeline alive" "$work/sorix.log" && break; sleep 0.1; done

# Microseconds of "Buffer Latency" plus "Sink Latency" or "Source Latency" of the first entry whose
# properties match, from `pactl list sink-inputs` or `source-outputs`.
stream_latency() {
    pactl list "$1" | awk -v want="$2" '
        /^(Sink Input|Source Output) #/ { if (found) exit; buffer = 0; device = 0 }
        /Buffer Latency:/ { buffer = $3 }
        /(Sink|Source) Latency:/ { device = $3 }
        index($0, want) { found = 1; total = buffer + device }
        END { print found ? total : "nan" }'
}

echo "second  tap_ms  capture_ms  playback_ms  added_ms"
samples="$work/samples"
for second in $(seq "$duration"); do
    sleep 1
    # The player's stream sits on the tap: its sink latency is the tap's.
    tap=$(pactl list sink-inputs | awk '
        /^Sink Input #/ { latency = 0 } /Sink Latency:/ { latency = $3 }
        /application.name = "paplay"/ { print latency; exit }')
    capture=$(stream_latency source-outputs 'media.name = "Sorix Boost Device"')
    playback=$(stream_latency sink-inputs 'media.name = "Sorix Boost Device"')
    awk -v s="$second" -v t="$tap" -v c="$capture" -v p="$playback" 'BEGIN {
        printf "%6d  %6.1f  %10.1f  %11.1f  %8.1f\n", s, t / 1000, c / 1000, p / 1000, (t + c + p) / 1000 }' |
        tee -a "$samples"
done
# The first seconds carry whatever the output sink had planned ahead before Sorix joined it, until
# the pipeline trims it; the figures that matter are those after it settled.
awk -v n="$duration" -v from=6 '
    { added[NR] = $5 }
    END {
        if (n < from + 10) { print "run at least " from + 10 " s for the summary"; exit }
        max = 0
        for (i = from; i <= n; i++) { all += added[i]; if (added[i] > max) max = added[i] }
        for (i = 1; i <= 10; i++) { early += added[from - 1 + i]; late += added[n - 10 + i] }
        printf "start: %.1f ms in the first second\n", added[1]
        printf "settled (from second %d): %.1f ms mean, %.1f ms max\n", from, all / (n - from + 1), max
        printf "growth: %.1f ms mean over seconds %d-%d, %.1f ms over the last ten\n",
               early / 10, from, from + 9, late / 10 }' "$samples"
