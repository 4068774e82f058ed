// sorix-test-player: a program for tests to play sound with, as any player would, on the sound
// server of PULSE_SERVER; one that can refuse to be moved to another sink.

#include <pulse/pulseaudio.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "WavFile.h"

namespace {

constexpr int kRate = 48000;
constexpr int kChannels = 2;

constexpr const char* kUsage =
    "Usage: sorix-test-player (--file WAV | --tone HZ [--level L] | --silence) [options]\n"
    "Plays one stereo 48 kHz float stream until all of it has been played, then exits 0.\n"
    "Prints \"playing <sink input index>\" once the stream runs.\n"
    "  --file WAV         a 48 kHz mono or stereo WAV file, once\n"
    "  --tone HZ          a sine at HZ, at --level L of full scale (0.25)\n"
    "  --silence          digital zeros\n"
    "  --seconds S        play S seconds (tone and silence: 5; a file: at most S)\n"
    "  --sink NAME        play to that sink instead of the default one\n"
    "  --dont-move        ask the server not to move the stream to another sink\n"
    "  --latency-msec MS  the buffer the server keeps for the stream (100)\n";

struct Options {
    std::string file;
    double tone = 0;
    double level = 0.25;
    bool silence = false;
    double seconds = -1;
    std::string sink;
    bool dontMove = false;
    double latencyMsec = 100;
};

struct Player {
    Options options;
    pa_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;
    // A file's interleaved stereo frames; empty for a tone or silence.
    std::vector<float> file;
    long long frames = 0;
    long long written = 0;
    bool draining = false;
};

int fail(Player& player, const std::string& what) {
    std::cerr << "sorix-test-player: " << what << ": "
              << pa_strerror(pa_context_errno(player.context)) << "\n";
    pa_mainloop_quit(player.loop, 1);
    return 1;
}

void drained(pa_stream*, int success, void* data) {
    auto& player = *static_cast<Player*>(data);
    if (!success) return void(fail(player, "the stream did not drain"));
    pa_mainloop_quit(player.loop, 0);
}

void write(pa_stream* stream, std::size_t bytes, void* data) {
    auto& player = *static_cast<Player*>(data);
    if (player.draining) return;
    const long long count =
        std::min<long long>(bytes / (kChannels * sizeof(float)), player.frames - player.written);
    std::vector<float> samples(static_cast<std::size_t>(count) * kChannels, 0.0f);
    for (long long i = 0; i < count && !player.options.silence; ++i) {
        const long long frame = player.written + i;
        for (int c = 0; c < kChannels; ++c) {
            samples[i * kChannels + c] =
                player.file.empty()
                    ? static_cast<float>(player.options.level *
                                         std::sin(2 * std::numbers::pi * player.options.tone *
                                                  static_cast<double>(frame) / kRate))
                    : player.file[frame * kChannels + c];
        }
    }
    if (count > 0 && pa_stream_write(stream, samples.data(), samples.size() * sizeof(float),
                                     nullptr, 0, PA_SEEK_RELATIVE) < 0)
        return void(fail(player, "cannot write to the stream"));
    player.written += count;
    if (player.written < player.frames) return;
    player.draining = true;
    if (pa_operation* operation = pa_stream_drain(stream, drained, &player))
        pa_operation_unref(operation);
    else
        fail(player, "cannot drain the stream");
}

void streamChanged(pa_stream* stream, void* data) {
    auto& player = *static_cast<Player*>(data);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    if (state == PA_STREAM_READY) {
        std::printf("playing %u\n", pa_stream_get_index(stream));
        std::fflush(stdout);
    } else if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED) {
        fail(player, "the stream ended");
    }
}

void contextChanged(pa_context* context, void* data) {
    auto& player = *static_cast<Player*>(data);
    const pa_context_state_t state = pa_context_get_state(context);
    if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED)
        return void(fail(player, "cannot reach the sound server"));
    if (state != PA_CONTEXT_READY || player.stream != nullptr) return;

    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, kChannels};
    pa_channel_map map;
    pa_channel_map_init_stereo(&map);
    player.stream = pa_stream_new(context, "sorix test player", &spec, &map);
    if (player.stream == nullptr) return void(fail(player, "cannot make a stream"));
    pa_stream_set_state_callback(player.stream, streamChanged, &player);
    pa_stream_set_write_callback(player.stream, write, &player);
    pa_buffer_attr buffer;
    std::memset(&buffer, 0xff, sizeof buffer);
    buffer.tlength = static_cast<uint32_t>(
        pa_usec_to_bytes(static_cast<pa_usec_t>(player.options.latencyMsec * 1000), &spec));
    auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY);
    if (player.options.dontMove)
        flags = static_cast<pa_stream_flags_t>(flags | PA_STREAM_DONT_MOVE);
    const char* sink = player.options.sink.empty() ? nullptr : player.options.sink.c_str();
    if (pa_stream_connect_playback(player.stream, sink, &buffer, flags, nullptr, nullptr) < 0)
        fail(player, "cannot connect the stream");
}

// Fills in the options; false, having said why, when they will not do.
bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help") {
            std::cout << kUsage;
            std::exit(0);
        }
        if (option == "--silence") {
            options.silence = true;
            continue;
        }
        if (option == "--dont-move") {
            options.dontMove = true;
            continue;
        }
        const std::map<std::string, std::function<void(const char*)>> valued = {
            {"--file", [&](const char* v) { options.file = v; }},
            {"--sink", [&](const char* v) { options.sink = v; }},
            {"--tone", [&](const char* v) { options.tone = std::atof(v); }},
            {"--level", [&](const char* v) { options.level = std::atof(v); }},
            {"--seconds", [&](const char* v) { options.seconds = std::atof(v); }},
            {"--latency-msec", [&](const char* v) { options.latencyMsec = std::atof(v); }},
        };
        const auto set = valued.find(option);
        const char* problem = set == valued.end() ? "unknown option " : nullptr;
        if (problem == nullptr && i + 1 == argc) problem = "a value must follow ";
        if (problem != nullptr) {
            std::cerr << "sorix-test-player: " << problem << option << "\n" << kUsage;
            return false;
        }
        set->second(argv[++i]);
    }
    const int sources = !options.file.empty() + (options.tone > 0) + options.silence;
    if (sources != 1) std::cerr << "sorix-test-player: give one of --file, --tone or --silence\n";
    return sources == 1;
}

}  // namespace

int main(int argc, char** argv) {
    Player player;
    if (!parse(argc, argv, player.options)) return 2;
    const Options& options = player.options;
    if (!options.file.empty()) {
        const auto wav = sorix::testing::readWav(options.file);
        if (!wav || wav->rate != kRate || wav->channels > kChannels) {
            std::cerr << "sorix-test-player: " << options.file
                      << " is not a 48 kHz mono or stereo WAV file\n";
            return 2;
        }
        const std::size_t count = wav->samples.size() / static_cast<std::size_t>(wav->channels);
        for (std::size_t frame = 0; frame < count; ++frame) {
            for (int c = 0; c < kChannels; ++c)
                player.file.push_back(wav->samples[frame * wav->channels + c % wav->channels]);
        }
        player.frames = static_cast<long long>(count);
        if (options.seconds >= 0)
            player.frames = std::min(player.frames, std::llround(options.seconds * kRate));
    } else {
        player.frames = std::llround((options.seconds >= 0 ? options.seconds : 5.0) * kRate);
    }

    player.loop = pa_mainloop_new();
    player.context = pa_context_new(pa_mainloop_get_api(player.loop), "sorix-test-player");
    pa_context_set_state_callback(player.context, contextChanged, &player);
    int result = 1;
    if (pa_context_connect(player.context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        fail(player, "cannot reach the sound server");
    else
        pa_mainloop_run(player.loop, &result);
    // Ending them is no failure.
    pa_context_set_state_callback(player.context, nullptr, nullptr);
    if (player.stream != nullptr) {
        pa_stream_set_state_callback(player.stream, nullptr, nullptr);
        pa_stream_disconnect(player.stream);
        pa_stream_unref(player.stream);
    }
    pa_context_disconnect(player.context);
    pa_context_unref(player.context);
    pa_mainloop_free(player.loop);
    return result;
}
