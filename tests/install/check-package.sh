#!/usr/bin/env bash
# Checks the Debian package: what it says of itself, the files it holds, and lintian's verdict,
# where an error fails and warnings are shown.
set -euo pipefail
package="$1"
status=0
fail() {
    echo "FAIL: $*"
    status=1
}

field() { dpkg-deb --field "$package" "$1"; }
[ "$(field Package)" = sorix ] || fail "the package is called $(field Package)"
depends="$(field Depends)"
# Read off the binaries, and what Sorix loads only at run time.
for needed in libpulse0 libqt6quick6 libsndfile1 qml6-module-qtquick-shapes \
    qml6-module-qt5compat-graphicaleffects fonts-inter fonts-material-design-icons-iconfont; do
    grep -q "$needed" <<<"$depends" || fail "Depends lacks $needed"
done

contents="$(dpkg-deb --contents "$package" | awk '{print $6}')"
for file in ./usr/bin/sorix ./usr/bin/sorix-guardian ./usr/bin/sorix-render ./usr/bin/sorix-probe \
    ./usr/share/applications/org.sorix.Sorix.desktop \
    ./usr/share/metainfo/org.sorix.Sorix.metainfo.xml \
    ./usr/share/icons/hicolor/scalable/apps/org.sorix.Sorix.svg \
    ./usr/share/man/man1/sorix.1.gz ./usr/share/doc/sorix/copyright; do
    grep -qx -- "$file" <<<"$contents" || fail "the package lacks $file"
done

# Lintian speaks of running as root; that is CI's choice, not the package's.
report="$(lintian --allow-root "$package" 2>&1 || true)"
[ -z "$report" ] || echo "$report"
if grep -q '^E: ' <<<"$report"; then fail "lintian reports errors"; fi
exit $status
