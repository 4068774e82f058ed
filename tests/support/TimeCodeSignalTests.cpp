#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>

#include "Fft.h"
#include "TimeCode.h"
#include "WavFile.h"

namespace sorix::testing {
namespace {

constexpr int kRate = 48000;

double correlation(std::span<const float> a, std::span<const float> b) {
    double ab = 0, aa = 0, bb = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        ab += a[i] * b[i];
        aa += a[i] * a[i];
        bb += b[i] * b[i];
    }
    return ab / std::sqrt(aa * bb);
}

TEST(TimeCodeSignalTest, IsFixedByItsSeedAndPeaksAtTheLevelAsked) {
    const auto signal = makeTimeCode(2.0, kRate, 5);
    ASSERT_EQ(signal.size(), 96000u);
    EXPECT_EQ(signal, makeTimeCode(2.0, kRate, 5));
    EXPECT_LT(std::abs(correlation(signal, makeTimeCode(2.0, kRate, 6))), 0.02);
    for (const float peak : {0.25f, 0.1f}) {
        const auto scaled = makeTimeCode(2.0, kRate, 5, peak);
        float largest = 0;
        for (const float sample : scaled)
            largest = std::max(largest, std::fabs(sample));
        EXPECT_FLOAT_EQ(largest, peak);
    }
}

TEST(TimeCodeSignalTest, KeepsItsSoundBetween150HzAnd8kHz) {
    const auto signal = makeTimeCode(2.0, kRate, 5);
    constexpr std::size_t size = 65536;
    std::vector<std::complex<double>> spectrum(size);
    for (std::size_t i = 0; i < size; ++i)
        spectrum[i] = signal[i] * (0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / (size - 1)));
    fft(spectrum);
    double below = 0, within = 0, above = 0, all = 0;
    for (std::size_t k = 1; k < size / 2; ++k) {
        const double hz = static_cast<double>(k) * kRate / size;
        const double power = std::norm(spectrum[k]);
        all += power;
        if (hz < 100) below += power;
        if (hz > 200 && hz < 7000) within += power;
        if (hz > 10000) above += power;
    }
    EXPECT_LT(below / all, 0.01);
    EXPECT_LT(above / all, 0.03);
    EXPECT_GT(within / all, 0.75);
}

TEST(TimeCodeSignalTest, HoldsItsLevelAndStaysNearlyLinearThroughABoostOfFour) {
    const auto signal = makeTimeCode(2.0, kRate, 5);
    std::vector<double> levels;
    for (std::size_t begin = 0; begin + 4800 <= signal.size(); begin += 4800) {
        double sum = 0;
        for (std::size_t i = begin; i < begin + 4800; ++i)
            sum += signal[i] * signal[i];
        levels.push_back(std::sqrt(sum / 4800));
    }
    const auto [quietest, loudest] = std::minmax_element(levels.begin(), levels.end());
    EXPECT_LT(*loudest / *quietest, 1.2) << "from the first 100 ms on";
    std::vector<float> limited(signal.size());
    for (std::size_t i = 0; i < signal.size(); ++i)
        limited[i] = std::tanh(4 * signal[i]);
    EXPECT_GT(correlation(signal, limited), 0.99);
}

// What tracking relies on: no stretch near a window resembles it as much as a match must.
TEST(TimeCodeSignalTest, NoWindowResemblesTheSignalAMillisecondOrMoreAway) {
    const auto signal = makeTimeCode(2.0, kRate, 5);
    const std::span<const float> all(signal);
    const TimeCodeOptions options;
    double closest = 0;
    for (std::size_t begin = 1000; begin < 80000; begin += 2000) {
        for (std::size_t shift = 48; shift <= 4800; ++shift)
            closest = std::max(closest, std::fabs(correlation(all.subspan(begin, 240),
                                                              all.subspan(begin + shift, 240))));
    }
    EXPECT_LT(closest, options.matchThreshold);
}

TEST(TimeCodeChannelsTest, InterleavesEveryChannelAndTakesOneBack) {
    const std::vector<float> mono = {0.5f, -0.25f};
    EXPECT_EQ(interleave(mono, 3), (std::vector<float>{0.5f, 0.5f, 0.5f, -0.25f, -0.25f, -0.25f}));
    const std::vector<float> distinct = {0, 1, 2, 10, 11, 12};
    EXPECT_EQ(channelOf(distinct, 3, 0), (std::vector<float>{0, 10}));
    EXPECT_EQ(channelOf(distinct, 3, 2), (std::vector<float>{2, 12}));
}

class WavFileTest : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove(file_); }
    const std::filesystem::path file_ = std::filesystem::temp_directory_path() /
                                        ("sorix-wav-test-" + std::to_string(::getpid()) + ".wav");
};

TEST_F(WavFileTest, WritesWhatLibsndfileReadsBackSampleForSample) {
    const auto stereo = interleave(makeTimeCode(0.5, kRate, 3), 2);
    ASSERT_TRUE(writeWav(file_, stereo, 2, kRate));
    SF_INFO info{};
    SNDFILE* file = sf_open(file_.c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.samplerate, kRate);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    std::vector<float> read(stereo.size() + 2);
    EXPECT_EQ(sf_readf_float(file, read.data(), info.frames + 1), 24000);
    sf_close(file);
    read.resize(stereo.size());
    EXPECT_EQ(read, stereo);

    const auto again = readWav(file_);
    ASSERT_TRUE(again.has_value());
    EXPECT_EQ(again->rate, kRate);
    EXPECT_EQ(again->channels, 2);
    EXPECT_EQ(again->samples, stereo);
}

TEST_F(WavFileTest, ReadsSixteenBitFilesAndRefusesWhatItCannotRead) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(file_.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    const std::vector<short> samples = {0, 16384, -32768, 32767};
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    const auto read = readWav(file_);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->rate, 44100);
    EXPECT_EQ(read->samples, (std::vector<float>{0.0f, 0.5f, -1.0f, 32767.0f / 32768}));

    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    file = sf_open(file_.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    EXPECT_FALSE(readWav(file_).has_value()) << "24-bit";

    ASSERT_TRUE(writeWav(file_, std::vector<float>(100, 0.5f), 1, kRate));
    std::filesystem::resize_file(file_, 60);
    EXPECT_FALSE(readWav(file_).has_value()) << "cut short";
    EXPECT_FALSE(readWav(file_.string() + ".missing").has_value());
}

}  // namespace
}  // namespace sorix::testing
