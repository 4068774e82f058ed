#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "RenderCommandLine.h"
#include "RenderJob.h"

namespace sorix::render {
namespace {

namespace fs = std::filesystem;

Command parse(std::vector<std::string> arguments) { return parseCommandLine(arguments); }

std::string errorOf(std::vector<std::string> arguments) {
    const Command command = parse(std::move(arguments));
    const auto* error = std::get_if<UsageError>(&command);
    return error != nullptr ? error->message : "";
}

TEST(RenderCommandLineTest, ReadsOutputsAndEqualiserChoices) {
    const Command command = parse({"--in", "a.wav", "--out", "b.wav", "--out", "c.wav:1:0.5:20",
                                   "--boost", "2.5", "--gains", "20,-3", "--block", "64"});
    const auto& options = std::get<RenderOptions>(command);
    ASSERT_EQ(options.outputs.size(), 2u);
    EXPECT_FALSE(options.outputs[0].channels.has_value());
    EXPECT_EQ(options.outputs[1].channels, 1u);
    EXPECT_EQ(options.outputs[1].gain, 0.5f);
    EXPECT_EQ(options.outputs[1].delayMs, 20.0);
    EXPECT_EQ(options.boost, 2.5f);
    EXPECT_EQ(options.blockFrames, 64u);
    // Custom gains land as the custom control stores them.
    EXPECT_EQ(equaliserGains(options.equaliser), (std::vector<float>{12, -3, 0, 0, 0, 0}));

    const auto& curve =
        std::get<CurveOptions>(parse({"--curve", "--preset", "bass", "--points", "3"}));
    EXPECT_EQ(curve.points, 3);
    EXPECT_EQ(equaliserGains(curve.equaliser)[0], 10.0f);
    EXPECT_TRUE(std::holds_alternative<HelpRequest>(parse({"--in", "a", "--help"})));
}

TEST(RenderCommandLineTest, EachMistakeGetsOneClearMessage) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--out", "b.wav"}, "missing --in"},
        {{"--in", "a.wav"}, "missing --out"},
        {{"--in", "a.wav", "--out", "b.wav", "--boost", "9"}, "--boost must be 1..8"},
        {{"--in", "a.wav", "--out", "b.wav", "--boost", "2x"}, "--boost must be 1..8"},
        {{"--in", "a.wav", "--out", "b.wav", "--boost", "nan"}, "--boost must be 1..8"},
        {{"--in", "a.wav", "--out", "b.wav:0"}, "channels must be a whole number 1..64"},
        {{"--in", "a.wav", "--out", "b.wav:2:-1"}, "gain must be"},
        {{"--in", "a.wav", "--out", "b.wav:2:1:2000"}, "delay must be 0..1500 ms"},
        {{"--in", "a.wav", "--out", "b.wav", "--preset", "loud"}, "unknown preset loud"},
        {{"--in", "a.wav", "--out", "b.wav", "--preset", "bass", "--gains", "1"},
         "cannot be combined"},
        {{"--in", "a.wav", "--out", "b.wav", "--gains", "1,,2"}, "is not a number"},
        {{"--in", "a.wav", "--out", "b.wav", "--block", "0"}, "--block must be"},
        {{"--in", "a.wav", "--out", "b.wav", "--out", "b.wav"}, "given twice"},
        {{"--in", "a.wav", "--out", "a.wav"}, "would overwrite the input"},
        {{"--in", "a.wav", "--out", "b.wav", "--frobnicate"}, "needs a value"},
        {{"--in", "a.wav", "--out", "b.wav", "--frobnicate", "1"}, "unknown option --frobnicate"},
        {{"--curve", "--in", "a.wav"}, "--curve cannot be combined"},
        {{"--curve", "--points", "-1"}, "--points must be"},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_NE(errorOf(arguments).find(expected), std::string::npos)
            << "got '" << errorOf(arguments) << "' for " << arguments.back();
    }
    std::vector<std::string> tooMany = {"--in", "a.wav"};
    for (int i = 0; i < 33; ++i) {
        tooMany.push_back("--out");
        tooMany.push_back(std::to_string(i).append(".wav"));
    }
    EXPECT_EQ(errorOf(tooMany), "at most 32 outputs");
}

class RenderJobTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "sorix-render-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    void writeWav(const std::string& name, int channels, const std::vector<float>& samples) {
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        SNDFILE* file = sf_open(path(name).c_str(), SFM_WRITE, &info);
        ASSERT_NE(file, nullptr);
        sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()) / channels);
        sf_close(file);
    }

    std::vector<float> readWav(const std::string& name, int& channels) {
        SF_INFO info{};
        SNDFILE* file = sf_open(path(name).c_str(), SFM_READ, &info);
        if (file == nullptr) return {};
        channels = info.channels;
        std::vector<float> samples(static_cast<std::size_t>(info.frames * info.channels));
        sf_readf_float(file, samples.data(), info.frames);
        sf_close(file);
        return samples;
    }

    std::vector<float> stereoSine(int frames, float amplitude) {
        std::vector<float> samples;
        for (int n = 0; n < frames; ++n) {
            const float v = amplitude * std::sin(2.0f * 3.14159265f * 1000.0f * n / 48000.0f);
            samples.push_back(v);
            samples.push_back(v);
        }
        return samples;
    }

    std::size_t filesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), {}));
    }

    fs::path folder_;
};

TEST_F(RenderJobTest, BoostGainDelayAndChannelMappingReachTheFiles) {
    const std::vector<float> tone = stereoSine(4800, 0.25f);
    writeWav("tone.wav", 2, tone);
    RenderOptions options;
    options.input = path("tone.wav");
    options.boost = 2.0f;
    options.outputs = {{path("loud.wav"), std::nullopt, 1.0f, 0.0},
                       {path("mono.wav"), 1, 0.5f, 20.0}};
    ASSERT_EQ(renderFiles(options), std::nullopt);

    int channels = 0;
    const std::vector<float> loud = readWav("loud.wav", channels);
    ASSERT_EQ(channels, 2);
    ASSERT_EQ(loud.size(), tone.size());
    for (std::size_t i = 0; i < tone.size(); ++i)
        ASSERT_EQ(loud[i], tone[i] * 2.0f) << i;

    const std::vector<float> mono = readWav("mono.wav", channels);
    ASSERT_EQ(channels, 1);
    ASSERT_EQ(mono.size(), tone.size() / 2);
    // 20 ms at 48 kHz is 960 frames of silence, then the left channel at half the boosted level.
    for (std::size_t n = 0; n < 960; ++n)
        ASSERT_EQ(mono[n], 0.0f) << n;
    for (std::size_t n = 960; n < mono.size(); ++n) {
        ASSERT_EQ(mono[n], tone[2 * (n - 960)] * 2.0f * 0.5f) << n;
    }
}

TEST_F(RenderJobTest, TheBlockSizeDoesNotChangeTheResult) {
    std::vector<float> noise;
    for (int i = 0; i < 2 * 5000; ++i)
        noise.push_back(std::sin(i * 0.37f) * 0.9f);
    writeWav("noise.wav", 2, noise);
    std::vector<std::vector<float>> results;
    for (uint32_t block : {1u, 333u, 4096u}) {
        RenderOptions options;
        options.input = path("noise.wav");
        options.boost = 8.0f;
        options.equaliser.preset = EQProcessor::Preset::music;
        options.blockFrames = block;
        options.outputs = {{path("out.wav"), std::nullopt, 0.8f, 7.0}};
        ASSERT_EQ(renderFiles(options), std::nullopt);
        int channels = 0;
        results.push_back(readWav("out.wav", channels));
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

TEST_F(RenderJobTest, FailuresLeaveNoFilesBehind) {
    RenderOptions options;
    options.input = path("missing.wav");
    options.outputs = {{path("out.wav"), std::nullopt, 1.0f, 0.0}};
    const auto error = renderFiles(options);
    ASSERT_TRUE(error.has_value());
    EXPECT_NE(error->find("cannot read"), std::string::npos);

    writeWav("wide.wav", 2, stereoSine(10, 0.1f));
    options.input = path("wide.wav");
    options.blockFrames = 100000;  // two channels: more than the render buffers hold
    options.outputs.push_back({path("second.wav"), std::nullopt, 1.0f, 0.0});
    ASSERT_TRUE(renderFiles(options).has_value());

    options.blockFrames = 512;
    options.outputs.push_back(
        {(folder_ / "no-such-folder" / "third.wav").string(), std::nullopt, 1.0f, 0.0});
    ASSERT_TRUE(renderFiles(options).has_value());
    EXPECT_EQ(filesInFolder(), 1u);  // only the input
}

TEST(RenderCurveTest, PrintsOneLinePerPointFrom20HzTo20kHz) {
    std::ostringstream out;
    CurveOptions options;
    options.equaliser.preset = EQProcessor::Preset::bass;
    printCurve(options, out);
    std::vector<std::string> lines;
    std::istringstream text(out.str());
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), 64u);
    EXPECT_EQ(lines.front().rfind("20.00 10.0", 0), 0u) << lines.front();
    EXPECT_EQ(lines.back().rfind("20000.00 ", 0), 0u) << lines.back();
}

}  // namespace
}  // namespace sorix::render
