#!/usr/bin/env bash
# The panel's responsiveness and cost on a desktop of its own (Xvfb, openbox, an XEmbed tray),
# with a private PulseAudio server playing a tone through Sorix:
#
#   open      ms from a click on the tray icon until the panel's window is mapped on the
#             screen, over ROUNDS openings (median and worst); the click is sent and the map
#             seen by one small X client (build/bench/desktop/sorix_pointer), so no
#             tool's start-up is counted
#   drag      the boost slider dragged back and forth at 120 pointer events a second for
#             SECONDS, each step stored and applied to the engine: how long each frame took from
#             polish to swap, and the time between frames (the scene graph's own timing of its
#             render loop)
#   idle      Sorix's CPU over SECONDS with the panel hidden, next to Sorix run headless (no
#             display at all) on the same audio: the panel must cost nothing while unseen
#   memory    Sorix's resident memory with the panel shown, and headless
#
#   bash bench/panel.sh [SECONDS]     (default 10)
#
# SORIX_BIN names the program (default build/bin/sorix); SORIX_BENCH_ROUNDS the openings
# (default 10). Needs Xvfb, openbox, trayer and xdotool (scripts/install-deps.sh installs them).
set -euo pipefail
cd "$(dirname "$0")/.."
source bench/private-server.sh

seconds="${1:-10}"
rounds="${SORIX_BENCH_ROUNDS:-10}"
if ! [[ "$seconds" =~ ^[0-9]+$ && "$seconds" -ge 2 && "$rounds" =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: bash bench/panel.sh [SECONDS >= 2]   (SORIX_BENCH_ROUNDS >= 1)" >&2
    exit 2
fi
sorix="${SORIX_BIN:-build/bin/sorix}"
pointer=build/bench/desktop/sorix_pointer
for tool in "$sorix" "$pointer"; do
    [ -x "$tool" ] || {
        echo "$tool is missing: cmake --build build --target sorix sorix_pointer" >&2
        exit 1
    }
done
for program in Xvfb openbox trayer xdotool; do
    command -v "$program" >/dev/null || { echo "needs $program" >&2; exit 1; }
done

work="$(mktemp -d /tmp/sorix-panel-XXXXXX)"
desktop_pids=()
sorix_pid=""
player_pid=""
stop_all() {
    local pid
    for pid in $sorix_pid $player_pid; do
        if kill -TERM "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null || true; fi
    done
    sorix_pid=""
    player_pid=""
}
stop_desktop() {
    local pid
    for pid in "${desktop_pids[@]}"; do
        if kill -TERM "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null || true; fi
    done
}
private_server_at_exit stop_all
private_server_at_exit stop_desktop
private_server_at_exit "rm -rf '$work'"

# A free display of our own.
display=""
for number in $(seq 120 160); do
    [ -e "/tmp/.X$number-lock" ] && continue
    display=":$number"
    break
done
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
desktop_pids+=($!)
for _ in $(seq 100); do
    [ -S "/tmp/.X11-unix/X${display#:}" ] && break
    sleep 0.05
done
export DISPLAY="$display"
openbox --sm-disable >"$work/openbox.log" 2>&1 &
desktop_pids+=($!)
trayer --edge top --align right --widthtype request --height 24 --SetDockType true \
    --transparent false --tint 0x222222 >"$work/trayer.log" 2>&1 &
desktop_pids+=($!)

private_server_start pulseaudio
private_server_null_sink speakers Speakers >/dev/null
pactl set-default-sink speakers
sox -q -n -r 48000 -c 2 -b 16 "$work/tone.wav" synth 600 sine 1000 vol 0.25
paplay "$work/tone.wav" &
player_pid=$!

# Sorix's CPU time in nanoseconds, all threads.
cpu_of() {
    local total=0 task ran
    for task in /proc/"$1"/task/*; do
        read -r ran _ <"$task/schedstat" 2>/dev/null || continue
        total=$((total + ran))
    done
    echo "$total"
}
rss_of() { awk '/^VmRSS:/ { printf "%.0f", $2 / 1024 }' "/proc/$1/status"; }
visible() { xdotool search --onlyvisible --name '^Sorix$' >/dev/null 2>&1; }

start_sorix() {
    echo '{"volumeBoost": 1.0, "boostActive": true, "safeMode": false}' >"$work/settings.json"
    SORIX_SETTINGS_FILE="$work/settings.json" SORIX_PANEL_LAYOUT_FILE="$work/layout.json" \
        DBUS_SESSION_BUS_ADDRESS=disabled: QT_LOGGING_RULES="qt.scenegraph.time.renderloop=true" \
        "$@" "$sorix" 2>"$work/sorix.log" &
    sorix_pid=$!
    for _ in $(seq 150); do
        grep -q "pipeline alive" "$work/sorix.log" && return 0
        sleep 0.1
    done
    echo "sorix did not start its pipeline; its log:" >&2
    tail -n 20 "$work/sorix.log" >&2
    exit 1
}

# --- On the desktop ---
start_sorix
icon=""
for _ in $(seq 100); do
    geometry="$(xdotool search --onlyvisible --class trayer getwindowgeometry --shell 2>/dev/null |
        tr '\n' ' ')"
    if [[ "$geometry" =~ X=([0-9]+).*Y=([0-9]+).*WIDTH=([0-9]+).*HEIGHT=([0-9]+) ]] &&
        [ "${BASH_REMATCH[3]}" -ge 16 ]; then
        icon="$((BASH_REMATCH[1] + BASH_REMATCH[3] / 2)) $((BASH_REMATCH[2] + BASH_REMATCH[4] / 2))"
        break
    fi
    sleep 0.1
done
[ -n "$icon" ] || { echo "no tray icon" >&2; exit 1; }
read -r icon_x icon_y <<<"$icon"

: >"$work/open.ms"
for _ in $(seq "$rounds"); do
    if visible; then xdotool key Escape; fi
    for _ in $(seq 100); do visible || break; sleep 0.02; done
    sleep 0.3
    "$pointer" click "$icon_x" "$icon_y" Sorix >>"$work/open.ms"
    sleep 0.2
done
panel_rss="$(rss_of "$sorix_pid")"

# The slider's track, as Sorix reports it.
track="$(awk '/"track"/ { found = 1 } found && /"(x|y|width|height)"/ {
    gsub(/[",:]/, ""); value[$1] = $2 } found && /}/ { printf "%d %d %d %d\n", value["x"],
    value["y"], value["width"], value["height"]; exit }' "$work/layout.json")"
read -r track_x track_y track_w track_h <<<"$track"
y=$((track_y + track_h / 2))
log_before="$(wc -l <"$work/sorix.log")"
"$pointer" drag "$((track_x + 2))" "$((track_x + track_w - 2))" "$y" "$seconds" 120
drag_log="$(tail -n +"$((log_before + 1))" "$work/sorix.log")"
frames="$(grep -oE "renderloop in [0-9]+ ?ms" <<<"$drag_log" | grep -oE "[0-9]+" || true)"
gaps="$(grep -oE "frameDelta=[0-9]+" <<<"$drag_log" | grep -oE "[0-9]+" || true)"

xdotool key Escape
sleep 2
begin_cpu="$(cpu_of "$sorix_pid")"
sleep "$seconds"
hidden_cpu="$(awk -v a="$begin_cpu" -v b="$(cpu_of "$sorix_pid")" -v s="$seconds" \
    'BEGIN { printf "%.2f", (b - a) / 1e7 / s }')"
stop_all
paplay "$work/tone.wav" &
player_pid=$!

# --- Headless, on the same audio ---
start_sorix env -u DISPLAY
sleep 2
begin_cpu="$(cpu_of "$sorix_pid")"
sleep "$seconds"
headless_cpu="$(awk -v a="$begin_cpu" -v b="$(cpu_of "$sorix_pid")" -v s="$seconds" \
    'BEGIN { printf "%.2f", (b - a) / 1e7 / s }')"
headless_rss="$(rss_of "$sorix_pid")"

echo "panel on a desktop of its own (Xvfb, openbox, trayer), PulseAudio"
sort -n "$work/open.ms" | awk '{ v[NR] = $1 } END {
    printf "open: median %.0f ms, worst %.0f ms over %d openings (click to window mapped)\n",
        v[int((NR + 1) / 2)], v[NR], NR }'
summary() {
    sort -n | awk '{ v[NR] = $1 } END {
        if (NR == 0) { print "none"; exit }
        p99 = int(NR * 0.99) > 0 ? int(NR * 0.99) : 1
        printf "%d, median %d ms, p99 %d ms, longest %d ms", NR, v[int((NR + 1) / 2)], v[p99],
               v[NR] }'
}
echo "drag ($seconds s at 120 pointer events a second): frames rendered $(summary <<<"$frames")"
echo "drag: time between frames $(summary <<<"$gaps")"
echo "idle: sorix $hidden_cpu % of a core with the panel hidden, $headless_cpu % headless"
echo "memory: ${panel_rss} MB resident with the panel shown, ${headless_rss} MB headless"
