#!/usr/bin/env bash
# Sets up, builds and runs every test: the full suite with warnings as errors, the render core
# again under AddressSanitizer and UndefinedBehaviorSanitizer, and the coefficient hand-over
# under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
jobs="$(nproc)"

echo "== Build and test (warnings are errors) =="
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DSORIX_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build -j"$jobs" --output-on-failure

echo "== The Debian package =="
(cd build && rm -f sorix_*.deb && cpack -G DEB >/dev/null)
package="$(ls build/sorix_*.deb)"
dpkg-deb --info "$package"
dpkg-deb --contents "$package"
bash tests/install/check-package.sh "$package"

# This build leaves out the AVX2 copies of the render path, so the baseline copy is tested too.
echo "== Render core under AddressSanitizer and UndefinedBehaviorSanitizer, baseline machine =="
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSORIX_WERROR=ON \
    -DSORIX_SANITIZE=address,undefined -DSORIX_MACHINE_CLONES=OFF -DSORIX_BUILD_BENCH=OFF \
    >/dev/null
cmake --build build-asan -j"$jobs" --target sorix_dsp_tests sorix_render_alloc_tests
ctest --test-dir build-asan -L dsp -j"$jobs" --output-on-failure

echo "== Coefficient hand-over under ThreadSanitizer =="
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSORIX_WERROR=ON \
    -DSORIX_SANITIZE=thread -DSORIX_BUILD_BENCH=OFF >/dev/null
cmake --build build-tsan -j"$jobs" --target sorix_dsp_stress_tests
# ThreadSanitizer cannot map its shadow memory under the widest address randomisation.
setarch "$(uname -m)" -R ctest --test-dir build-tsan -L publication --output-on-failure
