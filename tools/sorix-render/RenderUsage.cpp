#include "RenderCommandLine.h"

namespace sorix::render {

const char* const usageText =
    "Usage:\n"
    "  sorix-render --in IN --out PATH[:CHANNELS[:GAIN[:DELAY_MS]]] [--out ...]\n"
    "               [--boost X] [--preset NAME | --gains G1,G2,...] [--block FRAMES] [--bypass]\n"
    "  sorix-render --curve [--preset NAME | --gains G1,G2,...] [--rate HZ] [--points N]\n"
    "\n"
    "Runs Sorix's render path (boost, limiter, equaliser, per-output gain and delay) over an\n"
    "audio file, one IO cycle per block, and writes each output as a 32-bit float WAV with the\n"
    "input's rate and length. Outputs appear only when all of them were written completely.\n"
    "\n"
    "  --in IN          input audio file, any format libsndfile reads, up to 64 channels\n"
    "  --out SPEC       an output, up to 32 of them: PATH, then optionally CHANNELS (1..64,\n"
    "                   default the input's), GAIN (linear, 0..1000, default 1) and DELAY_MS\n"
    "                   (0..1500, default 0), separated by ':' (so PATH cannot contain ':')\n"
    "  --boost X        boost factor 1..8 (default 1), held below full scale by the limiter\n"
    "  --preset NAME    equaliser preset: flat, music, bass, treble, voice, movie or custom\n"
    "                   (custom alone is flat)\n"
    "  --gains LIST     custom equaliser gains in dB, comma-separated, for 100 Hz, 300 Hz,\n"
    "                   1 kHz, 3 kHz, 6 kHz and 10 kHz; clamped to +-12, padded with zeros or\n"
    "                   cut to six\n"
    "  --block FRAMES   frames per IO cycle (default 512); times the input's channels at most\n"
    "                   131072\n"
    "  --bypass         transparent: no boost, limiter or equaliser; gains and delays still apply\n"
    "  --curve          instead of rendering, print the equaliser's response: one line per\n"
    "                   point, frequency in Hz and level in dB; uses the preset's table gains, or\n"
    "                   the --gains as the equaliser stores them (clamped, padded or cut to six)\n"
    "  --rate HZ        sample rate for --curve (default 48000)\n"
    "  --points N       points for --curve, 20 Hz to 20 kHz on a log scale, 0..100000\n"
    "                   (default 64)\n"
    "  --help           this text\n"
    "\n"
    "Exit status: 0 on success, 2 for a command-line mistake, 1 when a file cannot be read or\n"
    "written.\n";

}  // namespace sorix::render
