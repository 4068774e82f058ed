#!/usr/bin/env bash
# The delay Sorix adds to everything it captures, and the gaps in its sound, next to the sound
# server's own module-loopback (latency_msec=20) in the same run, on a private PulseAudio server
# and on a private PipeWire server (null sinks at 48 kHz, no sound card).
#
# One stereo test signal plays all along: a continuous 1 kHz tone at 0.25 on the left, a 1 ms
# click of 0.5 every 500 ms on the right. With Sorix it plays into the default sink, the
# "speakers", before Sorix starts, and Sorix moves it onto its tap; with the loopback it plays
# into a null sink "loop_in" that the loopback copies to the speakers. One recorder
# (sorix_monitor_recorder) records the monitor where the sound enters (the tap, or loop_in) and
# the speakers' monitor together, from the moment the tap exists, or from the loopback's start.
#
#   latency  each click's delay from the moment it passes the entry sink to the moment it
#            passes the speakers: what the pipeline adds to a sink's own latency, the same
#            quantity module-loopback's latency_msec sets on PulseAudio. The clicks of the first
#            3 s show the start; the rest give median, p10, p90 and max. "lost" counts clicks
#            that did not reach the speakers within 480 ms. At the start on PulseAudio the
#            speakers may play for a second or two what they rendered ahead before Sorix joined
#            them, which no recording started later can see: their first clicks count as lost.
#   gaps     runs of 2 ms (96 frames) or more of near silence (below 0.01) in the tone on the
#            speakers, leaving out the first 3 s (the start); also counted on the entry monitor,
#            where any would come from the player or the server, not from the pipeline.
#
# Putting two recordings on one timeline: after its reads (at most every 50 ms) the recorder
# asks the server for a timing report, which gives the server's count of the stream's frames at
# a moment of its clock, less what the sink has rendered ahead (PulseAudio's null sinks render up
# to a block ahead). Each report can only be late, so the earliest of each second stands for that
# second and the median of those for the run. The alternative, the arrival times of the reads,
# is exact on PulseAudio but not on PipeWire, whose PulseAudio server may hold a completed
# fragment back for a cycle or two, differently for each stream. `--validate` checks the method:
#   - the same monitor recorded twice must come out 0 ms apart: measured within 0.02 ms on
#     PulseAudio and 0.05 ms on PipeWire (arrival times: 5 to 11 ms off on PipeWire);
#   - module-loopback at 20 and at 40 ms: on PulseAudio, which holds the loopback at the latency
#     asked for, 20.0 to 20.1 and 40.0 to 40.3 ms over four runs, within 0.25 ms of what the
#     arrival times give; on PipeWire 0.3.65, whose loopback asks a graph cycle of a third of
#     it, 25.3 and 50.6 ms, in proportion to the cycle (256 and 512 frames) as they must be.
# So the figures hold to about 0.3 ms; a click's edge is found to a fraction of a frame.
#
#   bash bench/pipeline-latency.sh [SECONDS]             (each set-up records SECONDS, default 30)
#   bash bench/pipeline-latency.sh --validate [SECONDS]  (default 15)
#
# SORIX_BIN names the program (default build/bin/sorix); SORIX_BENCH_SERVERS the servers
# (default "pulseaudio pipewire"); SORIX_BENCH_KEEP=1 keeps the recordings and logs. Needs the
# recorder and analysis tools built in build/. The default run takes about two and a half
# minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/private-server.sh

validate=false
if [ "${1:-}" = --validate ]; then
    validate=true
    shift
fi
seconds="${1:-$($validate && echo 15 || echo 30)}"
if ! [[ "$seconds" =~ ^[0-9]+$ && "$seconds" -ge 10 ]]; then
    echo "usage: bash bench/pipeline-latency.sh [--validate] [SECONDS >= 10]" >&2
    exit 2
fi
source bench/monitor-tools.sh
start_seconds=3

work="$(mktemp -d /tmp/sorix-latency-XXXXXX)"
sorix_pid=""
player_pid=""
stop_programs() {
    local pid
    for pid in $sorix_pid $player_pid; do
        if kill -TERM "$pid" 2>/dev/null; then
            wait "$pid" 2>/dev/null || true  # a program ended by the signal reports it
        fi
    done
    sorix_pid=""
    player_pid=""
}
private_server_at_exit stop_programs
if [ -n "${SORIX_BENCH_KEEP:-}" ]; then
    echo "recordings and logs stay in $work" >&2
else
    private_server_at_exit "rm -rf '$work'"
fi

# The signal outlasts the recording whatever the start-up takes.
signal_seconds=$((seconds + 15))
sox -q -n -r 48000 -c 1 -e floating-point -b 32 "$work/click.wav" \
    synth 0.001 square 1 vol 0.5 pad 0 0.499
sox -q "$work/click.wav" "$work/clicks.wav" repeat $((signal_seconds * 2 - 1))
sox -q -n -r 48000 -c 1 -e floating-point -b 32 "$work/tone.wav" \
    synth "$signal_seconds" sine 1000 vol 0.25
sox -q -M "$work/tone.wav" "$work/clicks.wav" "$work/signal.wav"
echo '{"volumeBoost": 1.0, "boostActive": true}' >"$work/settings.json"

# "n lost median p10 p90 max" of the settled clicks of a clicks listing.
click_summary() {
    awk -v from="$start_seconds" '
        $1 ~ /^#/ || $1 < from { next }
        $2 == "lost" { lost++; next }
        { delay[++n] = $2 }
        END {
            for (i = 2; i <= n; i++) {  # insertion sort: a few hundred clicks at most
                v = delay[i]
                for (j = i - 1; j >= 1 && delay[j] > v; j--) delay[j + 1] = delay[j]
                delay[j + 1] = v
            }
            if (n == 0) { printf "0 %d - - - -\n", lost; exit }
            p90 = int(n * 0.9) > 0 ? int(n * 0.9) : 1
            printf "%d %d %.2f %.2f %.2f %.2f\n", n, lost + 0, delay[int((n + 1) / 2)],
                   delay[int(n * 0.1) + 1], delay[p90], delay[n]
        }'
}

# The start's clicks of a clicks listing, one delay (ms) each.
click_start() {
    awk -v from="$start_seconds" '
        $1 ~ /^#/ || $1 >= from { next }
        { printf " %s", $2 == "lost" ? "lost" : sprintf("%.1f", $2) }'
}

# "count total_ms" of a gaps listing.
gap_summary() { awk '{ n++; total += $2 } END { printf "%d %.1f\n", n, total }'; }

# Prints the name of Sorix's tap as soon as it exists.
wait_for_tap() {
    local tap
    for _ in $(seq 500); do
        tap="$(pactl list short sinks | awk '$2 ~ /^sorix_tap(_|$)/ { print $2; exit }')"
        [ -n "$tap" ] && echo "$tap" && return 0
        kill -0 "$sorix_pid" 2>/dev/null || return 1
        sleep 0.02
    done
    return 1
}

# Records ENTRY's monitor and the speakers' monitor, and adds the set-up's lines to the results.
measure() {
    local label="$1" entry="$2" prefix="$work/$1"
    "$recorder" "$seconds" "$prefix" "$entry.monitor" speakers.monitor >"$prefix.log"
    "$analysis" clicks "$prefix.1" "$prefix.2" --align server >"$prefix.clicks"
    grep -qv "^#" "$prefix.clicks" ||
        echo "warning: $label: no click passed $entry, so there is no delay to measure" >&2
    # The speakers' recording may begin later than the entry's (PulseAudio sends a monitor
    # nothing until its sink renders again): both leave out the same start, on one timeline.
    local later skip
    later="$("$analysis" offset "$prefix.1" "$prefix.2")"
    skip="$(awk -v s="$start_seconds" -v l="$later" 'BEGIN { print (s > l ? s - l : 0) }')"
    "$analysis" gaps "$prefix.2" --skip "$skip" >"$prefix.gaps"
    "$analysis" gaps "$prefix.1" --skip "$start_seconds" >"$prefix.entry-gaps"
    printf '%s %s %s %s\n' "$label" "$(click_summary <"$prefix.clicks")" \
        "$(gap_summary <"$prefix.gaps")" "$(gap_summary <"$prefix.entry-gaps")" >>"$work/results"
    printf '%-24s%s\n' "$label" "$(click_start <"$prefix.clicks")" >>"$work/starts"
    # Where the gaps are, in seconds since the entry's recording began.
    awk -v label="$label" -v later="$later" '
        { t = $1 + later; n++; if ($2 > longest) { longest = $2; at = t }
          if (n == 1) first = t; last = t }
        END { if (n) printf "%-24s %d from %.2f s to %.2f s, the longest %.1f ms at %.2f s\n",
                            label, n, first, last, longest, at }' "$prefix.gaps" >>"$work/gaps"
    [ -n "${SORIX_BENCH_KEEP:-}" ] || rm -f "$prefix".[12].*
}

run_sorix() {
    paplay "$work/signal.wav" &
    player_pid=$!
    SORIX_SETTINGS_FILE="$work/settings.json" "$sorix" 2>"$work/sorix.log" &
    sorix_pid=$!
    local tap
    if ! tap="$(wait_for_tap)"; then
        echo "sorix made no tap; its log:" >&2
        tail -n 20 "$work/sorix.log" >&2
        exit 1
    fi
    # Recording from the moment the tap exists shows the whole start.
    measure "$1 Sorix" "$tap"
    grep -q "pipeline alive" "$work/sorix.log" ||
        echo "warning: sorix never reported its pipeline alive in this run" >&2
    stop_programs
}

run_loopback() {
    local latency="$2" module
    module="$(pactl load-module module-loopback source=loop_in.monitor sink=speakers \
        latency_msec="$latency")"
    paplay --device=loop_in "$work/signal.wav" &
    player_pid=$!
    measure "$1 loopback-$latency" loop_in
    stop_programs
    pactl unload-module "$module"
}

# The recorder's checks: the same monitor twice, and the loopback at 20 and 40 ms, aligned by
# both methods.
run_validation() {
    local kind="$1" latency module prefix alignment
    for latency in 20 40; do
        prefix="$work/check-$latency"
        module="$(pactl load-module module-loopback source=loop_in.monitor sink=speakers \
            latency_msec="$latency")"
        paplay --device=loop_in "$work/signal.wav" &
        player_pid=$!
        sleep 2  # past the start, where the loopback still settles
        "$recorder" "$seconds" "$prefix" loop_in.monitor speakers.monitor speakers.monitor \
            >/dev/null
        stop_programs
        pactl unload-module "$module"
        for alignment in server arrival; do
            printf '%s %s %s %s %s\n' "$kind" "$latency" "$alignment" \
                "$("$analysis" clicks "$prefix.1" "$prefix.2" --align "$alignment" |
                    click_summary | awk '{ print $3 }')" \
                "$("$analysis" clicks "$prefix.2" "$prefix.3" --align "$alignment" |
                    click_summary | awk '{ print $3 " (" $6 ")" }')" >>"$work/results"
        done
        [ -n "${SORIX_BENCH_KEEP:-}" ] || rm -f "$prefix".[123].*
    done
}

: >"$work/results"
: >"$work/starts"
: >"$work/gaps"
: >"$work/servers"
for kind in $servers; do
    private_server_start "$kind"
    private_server_null_sink speakers Speakers >/dev/null
    private_server_null_sink loop_in "Loop in" >/dev/null
    pactl set-default-sink speakers
    echo "$kind: $(private_server_name) $(pactl info | sed -n 's/^Server Version: //p')" \
        >>"$work/servers"
    if $validate; then
        run_validation "$kind"
    else
        run_sorix "$kind"
        run_loopback "$kind" 20
    fi
    private_server_stop
done

cat "$work/servers"
if $validate; then
    echo "recorder check, $seconds s per recording: clicks' delay, median (ms)"
    printf '%-10s %-8s %-8s %10s %18s\n' server loopback aligned "loop->out" "out->out (max)"
    awk '{ printf "%-10s %-8s %-8s %10s %18s\n", $1, $2 " ms", $3, $4, $5 " " $6 }' "$work/results"
    echo "out->out records the speakers' monitor twice: it must be 0."
    exit 0
fi

echo "added latency and gaps, $seconds s per set-up (settled: from second $start_seconds on)"
format='%-10s %-12s %7s %7s %7s %7s %6s %4s %12s %12s\n'
# shellcheck disable=SC2059
printf "$format" server set-up "med ms" p10 p90 max clicks lost "gaps (ms)" "entry gaps"
while read -r kind setup clicks lost median p10 p90 max gaps gap_ms entry_gaps entry_ms; do
    # shellcheck disable=SC2059
    printf "$format" "$kind" "$setup" "$median" "$p10" "$p90" "$max" "$clicks" "$lost" \
        "$gaps ($gap_ms)" "$entry_gaps ($entry_ms)"
done <"$work/results"
echo "start: each click's delay (ms) over the first $start_seconds s, one click per 500 ms"
cat "$work/starts"
if [ -s "$work/gaps" ]; then
    echo "gaps on the speakers (s since the tap appeared, or the loopback started):"
    cat "$work/gaps"
fi
