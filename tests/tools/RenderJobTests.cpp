#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "RenderJob.h"
#include "ResponseCurvePrinter.h"

namespace sorix::render {
namespace {

namespace fs = std::filesystem;

struct Wav {
    int channels = 0;
    std::vector<float> samples;
};

OutputSpec output(std::string path, std::optional<uint32_t> channels = std::nullopt,
                  float gain = 1.0f, double delayMs = 0.0) {
    return {std::move(path), channels, gain, delayMs};
}

std::vector<float> sine(int frames, int channels, float amplitude) {
    std::vector<float> samples;
    for (int n = 0; n < frames; ++n) {
        for (int c = 0; c < channels; ++c)
            samples.push_back(amplitude * std::sin(0.1309f * static_cast<float>(n)));
    }
    return samples;
}

// Each test works in a fresh folder of its own, so it can also check what is left there.
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

    Wav readWav(const std::string& name) const {
        SF_INFO info{};
        SNDFILE* file = sf_open(path(name).c_str(), SFM_READ, &info);
        if (file == nullptr) return {};
        EXPECT_EQ(info.samplerate, 48000);
        EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
        Wav wav{info.channels, std::vector<float>(static_cast<std::size_t>(info.frames) *
                                                  static_cast<std::size_t>(info.channels))};
        sf_readf_float(file, wav.samples.data(), info.frames);
        sf_close(file);
        return wav;
    }

    std::vector<std::string> filesInFolder() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.push_back(entry.path().filename().string());
        return names;
    }

    fs::path folder_;
};

TEST_F(RenderJobTest, BoostOfTwoDoublesAQuietTone) {
    const std::vector<float> tone = sine(4801, 2, 0.25f);
    writeWav("tone.wav", 2, tone);
    RenderOptions options;
    options.input = path("tone.wav");
    options.boost = 2.0f;
    options.outputs = {output(path("loud.wav"))};
    ASSERT_EQ(renderFiles(options), std::nullopt);

    const Wav loud = readWav("loud.wav");
    EXPECT_EQ(loud.channels, 2);
    ASSERT_EQ(loud.samples.size(), tone.size());
    for (std::size_t i = 0; i < tone.size(); ++i)
        ASSERT_EQ(loud.samples[i], tone[i] * 2.0f) << i;

    // Written through a private temporary, yet readable like any new file.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(path("loud.wav").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);
}

TEST_F(RenderJobTest, BypassedOutputsKeepTheirOwnChannelsGainAndDelay) {
    const std::vector<float> tone = sine(3000, 1, 0.9f);
    writeWav("mono.wav", 1, tone);
    RenderOptions options;
    options.input = path("mono.wav");
    options.boost = 4.0f;
    options.bypass = true;
    options.outputs = {output(path("near.wav"), std::nullopt, 0.8f),
                       output(path("far.wav"), 2, 0.5f, 20.0)};
    ASSERT_EQ(renderFiles(options), std::nullopt);

    const Wav near = readWav("near.wav"), far = readWav("far.wav");
    EXPECT_EQ(near.channels, 1);
    ASSERT_EQ(near.samples.size(), tone.size());
    for (std::size_t i = 0; i < tone.size(); ++i)
        ASSERT_EQ(near.samples[i], tone[i] * 0.8f) << i;
    // The mono tap feeds both channels; 20 ms at 48 kHz is exactly 960 frames.
    EXPECT_EQ(far.channels, 2);
    ASSERT_EQ(far.samples.size(), 2 * tone.size());
    for (std::size_t n = 0; n < tone.size(); ++n) {
        const float expected = n < 960 ? 0.0f : tone[n - 960] * 0.5f;
        ASSERT_EQ(far.samples[2 * n], expected) << n;
        ASSERT_EQ(far.samples[2 * n + 1], expected) << n;
    }
}

TEST_F(RenderJobTest, FailuresLeaveNoFileBehind) {
    writeWav("stereo.wav", 2, sine(10, 2, 0.1f));
    writeWav("wide.wav", 64, sine(10, 64, 0.1f));
    auto failure = [&](const std::string& input, uint32_t block, std::vector<OutputSpec> outputs) {
        RenderOptions options;
        options.input = path(input);
        options.blockFrames = block;
        options.outputs = std::move(outputs);
        return renderFiles(options);
    };
    const auto missing = failure("missing.wav", 512, {output(path("out.wav"))});
    ASSERT_TRUE(missing.has_value());
    EXPECT_FALSE(missing->usage);
    EXPECT_NE(missing->message.find("cannot read " + path("missing.wav")), std::string::npos);

    // The second output cannot be created after the first one's temporary already was.
    const auto noFolder = failure(
        "stereo.wav", 512, {output(path("out.wav")), output(path("no-such-folder/out.wav"))});
    ASSERT_TRUE(noFolder.has_value());
    EXPECT_FALSE(noFolder->usage);

    const auto blockTooLarge = failure("stereo.wav", 65537, {output(path("out.wav"))});
    ASSERT_TRUE(blockTooLarge.has_value());
    EXPECT_TRUE(blockTooLarge->usage);

    // 64 channels leave 16384 frames of history: 1500 ms at 48 kHz does not fit.
    const auto delayTooLong = failure("wide.wav", 512, {output(path("out.wav"), 2, 1.0f, 1500.0)});
    ASSERT_TRUE(delayTooLong.has_value());
    EXPECT_TRUE(delayTooLong->usage);
    EXPECT_EQ(failure("wide.wav", 512, {output(path("out.wav"), 2, 1.0f, 330.0)}), std::nullopt);
    fs::remove(path("out.wav"));

    EXPECT_EQ(filesInFolder().size(), 2u);
}

TEST(RenderCurveTest, PrintsOneLinePerPointFrom20HzTo20kHz) {
    CurveOptions options;
    options.equaliser.preset = EQProcessor::Preset::bass;
    options.points = 50;
    std::ostringstream out;
    printCurve(options, out);
    std::vector<std::string> lines;
    std::istringstream text(out.str());
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), 50u);
    // The bass preset lifts 100 Hz by 10 dB with a low shelf: the bottom end sits near +10 dB.
    EXPECT_EQ(lines.front().rfind("20.00 10.", 0), 0u) << lines.front();
    EXPECT_EQ(lines.back().rfind("20000.00 ", 0), 0u) << lines.back();
}

}  // namespace
}  // namespace sorix::render
