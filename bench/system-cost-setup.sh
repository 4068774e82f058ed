#!/usr/bin/env bash
# One set-up of bench/system-cost.sh on a private server of its own: it starts the server and the
# set-up, says it is ready, and once told when to start, samples the CPU time and wake-ups of the
# server's processes, sorix and the player over ROUNDS back-to-back windows of SECONDS each,
# starting at that moment. Not meant to be run by hand.
#
#   bash bench/system-cost-setup.sh Sorix|loopback KIND WORK SECONDS ROUNDS
#
# WORK is the run's folder: this script writes WORK/ready.SETUP when it is ready, reads the
# start (seconds since the epoch) from WORK/go, and appends one line per window to
# WORK/results: "KIND SETUP WINDOW NAME:CPU:WAKES ...", CPU in % of one core, WAKES per second.
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/private-server.sh

setup="$1" kind="$2" work="$3" seconds="$4" rounds="$5"
sorix="${SORIX_BIN:-build/bin/sorix}"
log="$work/$kind-$setup.log"
sorix_pid=""
player_pid=""
stop_programs() {
    local pid
    for pid in $sorix_pid $player_pid; do
        if kill -TERM "$pid" 2>/dev/null; then
            wait "$pid" 2>/dev/null || true  # a program ended by the signal reports it
        fi
    done
}
private_server_at_exit stop_programs

private_server_start "$kind"
private_server_null_sink speakers Speakers >/dev/null
private_server_null_sink loop_in "Loop in" >/dev/null
pactl set-default-sink speakers
echo "$kind: $(private_server_name) $(pactl info | sed -n 's/^Server Version: //p')" \
    >"$work/server.$kind"

case "$setup" in
    Sorix)
        paplay "$work/noise.wav" &
        player_pid=$!
        SORIX_SETTINGS_FILE="$work/settings.json" "$sorix" 2>"$log" &
        sorix_pid=$!
        for _ in $(seq 100); do
            grep -q "pipeline alive" "$log" && break
            kill -0 "$sorix_pid" 2>/dev/null || break
            sleep 0.1
        done
        grep -q "pipeline alive" "$log" || {
            echo "$kind: sorix did not report its pipeline alive; its log:" >&2
            tail -n 20 "$log" >&2
            exit 1
        }
        ;;
    loopback)
        pactl load-module module-loopback source=loop_in.monitor sink=speakers \
            latency_msec=20 >/dev/null
        paplay --device=loop_in "$work/noise.wav" &
        player_pid=$!
        ;;
    *)
        echo "system-cost-setup: Sorix or loopback, not \"$setup\"" >&2
        exit 2
        ;;
esac
touch "$work/ready.$setup"

for _ in $(seq 600); do
    [ -s "$work/go" ] && break
    sleep 0.1
done
[ -s "$work/go" ] || { echo "$kind $setup: never told to start" >&2; exit 1; }
start="$(cat "$work/go")"

# "pid:nanoseconds:wakes ..." for every process: the CPU time of its threads, to the nanosecond
# (from schedstat: the clock-tick counts of /proc/PID/stat would make a 10 s window of a 3 % load
# some 30 ticks, a few of them more or less by chance), and their voluntary context switches.
read -r -a pids <<<"$(private_server_pids) $sorix_pid $player_pid"
snapshot() {
    local pid task ran wakes line=""
    for pid in "${pids[@]}"; do
        local nanoseconds=0 switches=0
        for task in /proc/"$pid"/task/*; do
            read -r ran _ <"$task/schedstat" 2>/dev/null || continue
            wakes="$(awk '/^voluntary_ctxt_switches:/ { print $2 }' "$task/status" \
                2>/dev/null || echo 0)"
            nanoseconds=$((nanoseconds + ran))
            switches=$((switches + ${wakes:-0}))
        done
        line+=" $pid:$nanoseconds:$switches"
    done
    echo "$line"
}
name_of() {
    case "$1" in
        "$sorix_pid") echo sorix ;;
        "$player_pid") echo paplay ;;
        *) cat "/proc/$1/comm" ;;
    esac
}
sleep_until() { sleep "$(awk -v t="$1" -v now="$(date +%s.%N)" 'BEGIN {
    d = t - now; printf "%.3f", (d > 0 ? d : 0) }')"; }

sleep_until "$start"
before="$(snapshot)"
for window in $(seq "$rounds"); do
    sleep_until "$(awk -v s="$start" -v w="$window" -v n="$seconds" 'BEGIN {
        printf "%.3f", s + w * n }')"
    after="$(snapshot)"
    kill -0 "$player_pid" 2>/dev/null || { echo "$kind $setup: the player stopped" >&2; exit 1; }
    line="$kind $setup $window"
    read -r -a b <<<"$before"
    read -r -a a <<<"$after"
    for i in "${!a[@]}"; do
        IFS=: read -r pid ran0 wakes0 <<<"${b[i]}"
        IFS=: read -r _ ran1 wakes1 <<<"${a[i]}"
        line+=" $(name_of "$pid"):$(awk -v r="$((ran1 - ran0))" -v w="$((wakes1 - wakes0))" \
            -v s="$seconds" 'BEGIN { printf "%.2f:%.0f", r / 1e7 / s, w / s }')"
    done
    echo "$line" >>"$work/results"
    before="$after"
done
# A pipeline that runs but plays silence costs less than one that works: say so.
if [ "$setup" = Sorix ] && grep "meter:" "$log" | tail -n 1 | grep -q "outPeak=0.0000"; then
    echo "warning: $kind: sorix played silence (its meter reads 0)" >&2
fi
