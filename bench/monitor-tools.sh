# shellcheck shell=bash disable=SC2034  # the names are for the scripts that source this
# The programs the recorded benches drive, after a build in build/: Sorix (SORIX_BIN names
# another), the two-monitor recorder and its analysis, and the servers to run on
# (SORIX_BENCH_SERVERS, default "pulseaudio pipewire"). Source it from bash; it stops the script
# when a program is missing.
sorix="${SORIX_BIN:-build/bin/sorix}"
servers="${SORIX_BENCH_SERVERS:-pulseaudio pipewire}"
recorder=build/bench/monitors/sorix_monitor_recorder
analysis=build/bench/monitors/sorix_monitor_analysis
for tool in "$sorix" "$recorder" "$analysis"; do
    [ -x "$tool" ] || {
        echo "$tool is missing: cmake --build build --target sorix sorix_monitor_recorder" \
            "sorix_monitor_analysis" >&2
        exit 1
    }
done
