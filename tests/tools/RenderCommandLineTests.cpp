#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RenderCommandLine.h"

namespace sorix::render {
namespace {

std::string errorOf(const std::vector<std::string>& arguments) {
    const Command command = parseCommandLine(arguments);
    const auto* error = std::get_if<UsageError>(&command);
    return error != nullptr ? error->message : "(accepted)";
}

TEST(RenderCommandLineTest, ReadsRenderAndCurveLines) {
    const auto options = std::get<RenderOptions>(
        parseCommandLine({"--in", "a.wav", "--out", "b.wav", "--out", "c.wav:1:0.5:20", "--boost",
                          "2.5", "--gains", "20,-3", "--block", "64", "--bypass"}));
    ASSERT_EQ(options.outputs.size(), 2u);
    EXPECT_EQ(options.outputs[0].path, "b.wav");
    EXPECT_FALSE(options.outputs[0].channels.has_value());
    EXPECT_EQ(options.outputs[0].gain, 1.0f);
    EXPECT_EQ(options.outputs[1].channels, 1u);
    EXPECT_EQ(options.outputs[1].gain, 0.5f);
    EXPECT_EQ(options.outputs[1].delayMs, 20.0);
    EXPECT_EQ(options.boost, 2.5f);
    EXPECT_EQ(options.blockFrames, 64u);
    EXPECT_TRUE(options.bypass);
    // Custom gains as the equaliser stores them: clamped and padded.
    EXPECT_EQ(equaliserGains(options.equaliser),
              (std::array<float, 6>{12.0f, -3.0f, 0.0f, 0.0f, 0.0f, 0.0f}));

    const auto curve =
        std::get<CurveOptions>(parseCommandLine({"--curve", "--preset", "bass", "--points", "3"}));
    EXPECT_EQ(curve.points, 3);
    EXPECT_EQ(curve.sampleRate, 48000.0f);
    EXPECT_EQ(equaliserGains(curve.equaliser), EQProcessor::gains(EQProcessor::Preset::bass));
    EXPECT_TRUE(std::holds_alternative<HelpRequest>(parseCommandLine({"--in", "a", "--help"})));
}

TEST(RenderCommandLineTest, EachMistakeGetsOneMessage) {
    const std::vector<std::string> render = {"--in", "a.wav", "--out", "b.wav"};
    auto with = [&](std::vector<std::string> extra) {
        extra.insert(extra.begin(), render.begin(), render.end());
        return extra;
    };
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--out", "b.wav"}, "missing --in"},
        {{"--in", "a.wav"}, "missing --out"},
        {with({"--boost", "8.5"}), "--boost '8.5': must be a number from 1 to 8"},
        {with({"--boost", "2x"}), "--boost '2x'"},  // sorix's own command line has the rest
        {with({"--boost"}), "--boost needs a value"},
        {with({"--out", "c.wav:0"}), "channels must be a whole number from 1 to 64"},
        {with({"--out", "c.wav:65"}), "channels must be"},
        {with({"--out", "c.wav:1.5"}), "channels must be"},
        {with({"--out", "c.wav:"}), "channels must be"},
        {with({"--out", "c.wav:2:-1"}), "gain must be"},
        {with({"--out", "c.wav:2:inf"}), "gain must be"},
        {with({"--out", "c.wav:2::5"}), "gain must be"},
        {with({"--out", "c.wav:2:1:1500.5"}), "delay must be"},
        {with({"--out", "c.wav:2:1:0:0"}), "a path cannot contain ':'"},
        {with({"--out", ":2"}), "the path is empty"},
        {with({"--preset", "loud"}), "unknown preset 'loud' (one of flat, music, bass"},
        {with({"--preset", "bass", "--gains", "1"}), "cannot be combined"},
        {with({"--gains", "1,,2"}), "--gains: '' is not a number"},
        {with({"--block", "0"}), "--block '0'"},
        {with({"--block", "131073"}), "--block '131073'"},
        {with({"--out", "./b.wav"}), "given twice"},
        {with({"--out", "a.wav:1"}), "would overwrite the input"},
        {with({"--frobnicate"}), "unknown option '--frobnicate'"},
        {with({"--rate", "44100"}), "--rate needs --curve"},
        {{"--curve", "--boost", "2"}, "--curve cannot be combined with --boost"},
        {{"--curve", "--rate", "0"}, "--rate '0'"},
        {{"--curve", "--points", "-1"}, "--points '-1'"},
        {{"--curve", "--points", "100001"}, "--points '100001'"},
    };
    for (const auto& [arguments, expected] : cases) {
        const std::string error = errorOf(arguments);
        EXPECT_NE(error.find(expected), std::string::npos) << expected << " -> got: " << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }

    std::vector<std::string> tooMany = {"--in", "a.wav"};
    for (int i = 0; i < 33; ++i) {
        tooMany.push_back("--out");
        tooMany.push_back(std::to_string(i) + ".wav");
    }
    EXPECT_EQ(errorOf(tooMany), "at most 32 outputs");
}

}  // namespace
}  // namespace sorix::render
