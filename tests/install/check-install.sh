#!/usr/bin/env bash
# Installs the build into a fresh prefix and checks that a desktop finds everything there: the
# programs, the menu entry, the icons, the software-centre metadata and the manual pages, each
# valid by the tools that desktops and distributions check them with.
set -euo pipefail
build="$1"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

status=0
fail() {
    echo "FAIL: $*"
    status=1
}

for program in sorix sorix-guardian sorix-render sorix-probe; do
    [ -x "$prefix/bin/$program" ] || fail "bin/$program is missing or not executable"
    manual="$prefix/share/man/man1/$program.1.gz"
    if [ ! -s "$manual" ]; then
        fail "no manual page for $program"
    elif ! zcat "$manual" | grep -q '^\.SH NAME'; then
        fail "the manual page of $program has no NAME section"
    fi
done
# The pages come from each program's own --help: an option it lists is on its page.
zcat "$prefix/share/man/man1/sorix.1.gz" | grep -qF -- '\-\-snapshot' ||
    fail "the manual page of sorix does not tell of --snapshot"

desktop="$prefix/share/applications/org.sorix.Sorix.desktop"
[ -f "$desktop" ] || fail "no desktop entry"
desktop-file-validate "$desktop" || fail "the desktop entry is not valid"
grep -qx 'Icon=org.sorix.Sorix' "$desktop" || fail "the desktop entry names another icon"

[ -f "$prefix/share/icons/hicolor/scalable/apps/org.sorix.Sorix.svg" ] || fail "no scalable icon"
for size in 48 128 256; do
    icon="$prefix/share/icons/hicolor/${size}x${size}/apps/org.sorix.Sorix.png"
    if [ ! -f "$icon" ]; then
        fail "no ${size}px icon"
    elif ! file "$icon" | grep -q "PNG image data, $size x $size"; then
        fail "the ${size}px icon is $(file -b "$icon")"
    fi
done

metainfo="$prefix/share/metainfo/org.sorix.Sorix.metainfo.xml"
[ -f "$metainfo" ] || fail "no AppStream metadata"
appstreamcli validate --no-net "$metainfo" >/dev/null || {
    appstreamcli validate --no-net "$metainfo"
    fail "the AppStream metadata is not valid"
}

# The installed program runs from its new place and finds its guardian beside it.
"$prefix/bin/sorix" --help >/dev/null || fail "the installed sorix does not run"

exit $status
