#!/usr/bin/env bash
# What the whole system spends while one 44.1 kHz stereo stream plays through Sorix, next to the
# sound server alone routing the same stream through a null sink and module-loopback
# (latency_msec=20), on a private PulseAudio server and on a private PipeWire server (null sinks
# at 48 kHz, no sound card). Sorix runs with boost 1.0 switched on; the stream plays pink noise.
#
# The two set-ups run at the same time, each on a private server of its own
# (bench/system-cost-setup.sh), and are measured over the same windows: on a virtual machine the
# CPU time that one wake-up costs changes from minute to minute by a factor of two or more, which
# set-ups measured one after the other would take for a difference between them. Each window gives
# a ratio; the figures are the medians over ROUNDS windows of SECONDS each.
#
#   cpu %     CPU time (all threads, from /proc/PID/task/*/schedstat) over the window, as a
#             share of one core: the server (pulseaudio; or pipewire, wireplumber and
#             pipewire-pulse, which hosts the loopback there) and sorix
#   wakes/s   voluntary context switches per second, summed over the threads: how often a
#             process went to sleep and was woken, which a pipeline of small buffers pays in
#   player    paplay's own share, the same stream in both set-ups
# The ratio is (server + sorix) with Sorix over the server with the loopback, window by window.
#
#   bash bench/system-cost.sh [SECONDS]     (window, default 10)
#
# SORIX_BIN names the program (default build/bin/sorix); SORIX_BENCH_SERVERS the servers
# (default "pulseaudio pipewire"); SORIX_BENCH_ROUNDS the windows (default 6). The default run
# takes about two and a half minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-10}"
rounds="${SORIX_BENCH_ROUNDS:-6}"
if ! [[ "$seconds" =~ ^[0-9]+$ && "$seconds" -ge 2 && "$rounds" =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: bash bench/system-cost.sh [SECONDS >= 2]   (SORIX_BENCH_ROUNDS >= 1)" >&2
    exit 2
fi
sorix="${SORIX_BIN:-build/bin/sorix}"
servers="${SORIX_BENCH_SERVERS:-pulseaudio pipewire}"
[ -x "$sorix" ] || { echo "$sorix is missing: cmake --build build --target sorix" >&2; exit 1; }
settle_seconds=3

work="$(mktemp -d /tmp/sorix-cost-XXXXXX)"
setup_pids=()
stop_setups() {
    local pid
    for pid in "${setup_pids[@]}"; do
        kill -TERM "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    setup_pids=()
}
trap 'stop_setups; rm -rf "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Long enough for a set-up's start, settling and windows; each player starts afresh.
sox -q -n -r 44100 -c 2 -b 16 "$work/noise.wav" synth $((settle_seconds + seconds * rounds + 30)) \
    pinknoise vol 0.3
echo '{"volumeBoost": 1.0, "boostActive": true}' >"$work/settings.json"
export SORIX_BIN="$sorix"

# Starts both set-ups on servers of KIND, tells them when to start once both are ready, and
# waits for them to finish their windows.
run_pair() {
    local kind="$1" setup pid
    rm -f "$work"/ready.* "$work/go"
    for setup in Sorix loopback; do
        bash bench/system-cost-setup.sh "$setup" "$kind" "$work" "$seconds" "$rounds" &
        setup_pids+=($!)
    done
    for _ in $(seq 600); do
        [ -e "$work/ready.Sorix" ] && [ -e "$work/ready.loopback" ] && break
        for pid in "${setup_pids[@]}"; do
            kill -0 "$pid" 2>/dev/null || { echo "a $kind set-up failed to start" >&2; exit 1; }
        done
        sleep 0.1
    done
    awk -v now="$(date +%s.%N)" -v s="$settle_seconds" 'BEGIN { printf "%.3f\n", now + s }' \
        >"$work/go"
    for pid in "${setup_pids[@]}"; do
        wait "$pid" || { echo "a $kind set-up failed" >&2; exit 1; }
    done
    setup_pids=()
}

: >"$work/results"
for kind in $servers; do
    run_pair "$kind"
done

for kind in $servers; do cat "$work/server.$kind"; done
echo "system cost, medians of $rounds windows of $seconds s, both set-ups at once" \
    "(after $settle_seconds s to settle)"
echo "cpu in % of one core; wakes: voluntary context switches per second"
format='%-10s %-9s %7s %7s %7s %7s %12s %11s\n'
# shellcheck disable=SC2059
printf "$format" server set-up server sorix total player "server wakes" "sorix wakes"
sort -k1,1 -k3,3n -k2,2 "$work/results" | awk '
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
        if (!($1 in kinds)) { kinds[$1] = 1; kind[++n] = $1 }
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
        total[$1, $2, $3] = server + sorix; windows[$1, $3] = 1
    }
    END {
        for (i = 1; i <= keys; i++) {
            key = order[i]; split(key, part, " ")
            printf "%-10s %-9s %7.2f %7.2f %7.2f %7.2f %12.0f %11.0f\n", part[1], part[2],
                   median(servers[key]), median(sorixes[key]), median(totals[key]),
                   median(players[key]), median(swake[key]), median(xwake[key])
        }
        for (i = 1; i <= n; i++) {
            ratios = ""; low = ""; high = ""
            for (w = 1; (kind[i], w) in windows; w++) {
                if (total[kind[i], "loopback", w] <= 0) continue
                r = total[kind[i], "Sorix", w] / total[kind[i], "loopback", w]
                ratios = ratios " " r
                if (low == "" || r < low) low = r
                if (high == "" || r > high) high = r
            }
            if (ratios != "")
                printf "%s: Sorix / loopback = %.2f (windows from %.2f to %.2f)\n", kind[i],
                       median(ratios), low, high
        }
    }'
echo "every window, by process (name:cpu %:wakes/s):"
sort -k1,1 -k3,3n -k2,2 "$work/results" | sed 's/^/  /'
