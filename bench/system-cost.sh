#!/usr/bin/env bash
# What the whole system spends while one 44.1 kHz stereo stream plays through Sorix, next to the
# sound server alone routing the same stream through a null sink and module-loopback
# (latency_msec=20), on a private PulseAudio server and on a private PipeWire server (null sinks
# at 48 kHz, no sound card). Sorix runs with boost 1.0 switched on; the stream plays pink noise.
#
# Each set-up is started afresh, left to settle, then measured over a window of SECONDS; the two
# alternate (Sorix, loopback, Sorix, ...) for ROUNDS rounds in the same run, so that a change in
# the machine's load shows in both, and each figure is the median of the rounds.
#
#   cpu %     CPU time (all threads, from /proc/PID/task/*/schedstat) over the window, as a
#             share of one core: the server (pulseaudio; or pipewire, wireplumber and
#             pipewire-pulse, which hosts the loopback there) and sorix
#   wakes/s   voluntary context switches per second, summed over the threads: how often a
#             process went to sleep and was woken, which a pipeline of small buffers pays in
#   player    paplay's own share, the same stream in both set-ups
# The ratio is (server + sorix) with Sorix over the server with the loopback.
#
#   bash bench/system-cost.sh [SECONDS]     (window per set-up and round, default 10)
#
# SORIX_BIN names the program (default build/bin/sorix); SORIX_BENCH_SERVERS the servers
# (default "pulseaudio pipewire"); SORIX_BENCH_ROUNDS the rounds (default 3). The default run
# takes about three minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/private-server.sh

seconds="${1:-10}"
rounds="${SORIX_BENCH_ROUNDS:-3}"
if ! [[ "$seconds" =~ ^[0-9]+$ && "$seconds" -ge 2 && "$rounds" =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: bash bench/system-cost.sh [SECONDS >= 2]   (SORIX_BENCH_ROUNDS >= 1)" >&2
    exit 2
fi
sorix="${SORIX_BIN:-build/bin/sorix}"
servers="${SORIX_BENCH_SERVERS:-pulseaudio pipewire}"
[ -x "$sorix" ] || { echo "$sorix is missing: cmake --build build --target sorix" >&2; exit 1; }
settle_seconds=3

work="$(mktemp -d /tmp/sorix-cost-XXXXXX)"
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
private_server_at_exit "rm -rf '$work'"

# Long enough for a set-up's settling and window; the player starts afresh for each.
sox -q -n -r 44100 -c 2 -b 16 "$work/noise.wav" synth $((settle_seconds + seconds + 10)) \
    pinknoise vol 0.3
echo '{"volumeBoost": 1.0, "boostActive": true}' >"$work/settings.json"

# "nanoseconds wakes" of process PID: the CPU time of its threads, to the nanosecond (from
# schedstat: the clock-tick counts of /proc/PID/stat would make a 10 s window of a 3 % load some 30
# ticks, a few of them more or less by chance), and their voluntary context switches.
usage_of() {
    local nanoseconds=0 wakes=0 task
    [ -d "/proc/$1" ] || { echo "0 0"; return; }
    for task in /proc/"$1"/task/*; do
        read -r ran _ <"$task/schedstat" 2>/dev/null || continue
        nanoseconds=$((nanoseconds + ran))
        wakes=$((wakes + $(awk '/^voluntary_ctxt_switches:/ { print $2 }' "$task/status" \
            2>/dev/null || echo 0)))
    done
    echo "$nanoseconds $wakes"
}

# Samples the server's processes, sorix (when it runs) and the player over one window; appends
# "server setup round NAME:CPU:WAKES..." to the results, CPU in % of one core, WAKES per second.
measure() {
    local kind="$1" setup="$2" round="$3" pid name line=""
    local -a pids before after
    read -r -a pids <<<"$(private_server_pids) $sorix_pid $player_pid"
    sleep "$settle_seconds"
    for pid in "${pids[@]}"; do before+=("$(usage_of "$pid")"); done
    sleep "$seconds"
    for pid in "${pids[@]}"; do after+=("$(usage_of "$pid")"); done
    kill -0 "$player_pid" 2>/dev/null || { echo "the player stopped early" >&2; exit 1; }
    for i in "${!pids[@]}"; do
        case "${pids[i]}" in
            "$sorix_pid") name=sorix ;;
            "$player_pid") name=paplay ;;
            *) name="$(cat "/proc/${pids[i]}/comm")" ;;
        esac
        line+=" $(awk -v name="$name" -v b="${before[i]}" \
            -v a="${after[i]}" -v w="$seconds" 'BEGIN {
                split(b, x); split(a, y)
                printf "%s:%.2f:%.0f", name, (y[1] - x[1]) / 1e7 / w, (y[2] - x[2]) / w
            }')"
    done
    echo "$kind $setup $round$line" >>"$work/results"
}

run_sorix() {
    paplay "$work/noise.wav" &
    player_pid=$!
    SORIX_SETTINGS_FILE="$work/settings.json" "$sorix" 2>"$work/sorix.log" &
    sorix_pid=$!
    for _ in $(seq 100); do
        grep -q "pipeline alive" "$work/sorix.log" && break
        kill -0 "$sorix_pid" 2>/dev/null || break
        sleep 0.1
    done
    grep -q "pipeline alive" "$work/sorix.log" || {
        echo "sorix did not report its pipeline alive; its log:" >&2
        tail -n 20 "$work/sorix.log" >&2
        exit 1
    }
    measure "$1" Sorix "$2"
    # A pipeline that runs but plays silence costs less than one that works: say so.
    if grep "meter:" "$work/sorix.log" | tail -n 1 | grep -q "outPeak=0.0000"; then
        echo "warning: $1 round $2: sorix played silence (its meter reads 0)" >&2
    fi
    stop_programs
}

run_loopback() {
    local module
    module="$(pactl load-module module-loopback source=loop_in.monitor sink=speakers \
        latency_msec=20)"
    paplay --device=loop_in "$work/noise.wav" &
    player_pid=$!
    measure "$1" loopback "$2"
    stop_programs
    pactl unload-module "$module"
}

: >"$work/results"
: >"$work/servers"
for kind in $servers; do
    private_server_start "$kind"
    private_server_null_sink speakers Speakers >/dev/null
    private_server_null_sink loop_in "Loop in" >/dev/null
    pactl set-default-sink speakers
    echo "$kind: $(private_server_name) $(pactl info | sed -n 's/^Server Version: //p')" \
        >>"$work/servers"
    for round in $(seq "$rounds"); do
        run_sorix "$kind" "$round"
        run_loopback "$kind" "$round"
    done
    private_server_stop
done

cat "$work/servers"
echo "system cost, median of $rounds rounds of $seconds s (after $settle_seconds s to settle)"
echo "cpu in % of one core; wakes: voluntary context switches per second"
format='%-10s %-9s %7s %7s %7s %7s %12s %11s\n'
# shellcheck disable=SC2059
printf "$format" server set-up server sorix total player "server wakes" "sorix wakes"
awk '
    function median(list,    n, v, i, j, x) {
        n = split(list, v, " ")
        for (i = 2; i <= n; i++) {
            x = v[i]
            for (j = i - 1; j >= 1 && v[j] + 0 > x + 0; j--) v[j + 1] = v[j]
            v[j + 1] = x
        }
        return n % 2 ? v[(n + 1) / 2] : (v[n / 2] + v[n / 2 + 1]) / 2
    }
    {
        key = $1 " " $2
        if (!(key in seen)) { seen[key] = 1; order[++keys] = key }
        server = 0; sorix = 0; player = 0; swakes = 0; xwakes = 0
        for (i = 4; i <= NF; i++) {
            split($i, f, ":")
            if (f[1] == "sorix") { sorix = f[2]; xwakes = f[3] }
            else if (f[1] == "paplay") player = f[2]
            else { server += f[2]; swakes += f[3] }
        }
        servers[key] = servers[key] " " server; sorixes[key] = sorixes[key] " " sorix
        totals[key] = totals[key] " " (server + sorix); players[key] = players[key] " " player
        swake[key] = swake[key] " " swakes; xwake[key] = xwake[key] " " xwakes
    }
    END {
        for (i = 1; i <= keys; i++) {
            key = order[i]; split(key, part, " ")
            printf "%-10s %-9s %7.2f %7.2f %7.2f %7.2f %12.0f %11.0f\n", part[1], part[2],
                   median(servers[key]), median(sorixes[key]), median(totals[key]),
                   median(players[key]), median(swake[key]), median(xwake[key])
            sum[part[1], part[2]] = median(totals[key])
            if (!(part[1] in kinds)) { kinds[part[1]] = 1; kind[++n] = part[1] }
        }
        for (i = 1; i <= n; i++)
            if (sum[kind[i], "loopback"] > 0)
                printf "%s: Sorix / loopback = %.2f\n", kind[i],
                       sum[kind[i], "Sorix"] / sum[kind[i], "loopback"]
    }' "$work/results"
echo "every round, by process (name:cpu %:wakes/s):"
sed 's/^/  /' "$work/results"
