#!/usr/bin/env bash
# End to end: a sox tone through the real sorix-render binary at boost 2 peaks at twice its level.
set -euo pipefail
render="$1"
command -v sox >/dev/null || exit 77
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
sox -q -n -r 48000 -c 2 "$work/tone.wav" synth 1 sine 1000 vol 0.25
"$render" --in "$work/tone.wav" --boost 2 --out "$work/out.wav"
peak="$(sox "$work/out.wav" -n stat 2>&1 | awk '/Maximum amplitude/ {print $3}')"
awk -v p="$peak" 'BEGIN { exit !(p > 0.49 && p < 0.51) }' || {
    echo "peak $peak, expected about 0.5" >&2
    exit 1
}
