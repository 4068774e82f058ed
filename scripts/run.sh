#!/usr/bin/env bash
# Sets up, builds and runs Sorix. Until the audio engine lands this renders a generated demo clip
# through the render path (boost, limiter, equaliser, two outputs) and says where the result is.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target sorix-render

mkdir -p out
# A quiet plucked fifth: the kind of audio that needs a boost.
sox -q -n -r 48000 -c 2 out/demo.wav synth 4 pluck C3 pluck G3 tremolo 2 40 vol 0.2
build/tools/sorix-render/sorix-render --in out/demo.wav --preset music --boost 4 \
    --out out/demo-boosted.wav --out out/demo-second-speaker.wav:2:0.5:20

echo "Sorix rendered the demo clip:"
echo "  input:          out/demo.wav"
echo "  boosted x4:     out/demo-boosted.wav (music preset, limited)"
echo "  second output:  out/demo-second-speaker.wav (half volume, 20 ms later)"
