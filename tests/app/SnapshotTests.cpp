// sorix --snapshot, run as a user would: the picture, the settings it leaves, what it says.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QImage>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ChildProcess.h"

namespace sorix::testing {
namespace {

class SnapshotTest : public ::testing::Test {
  protected:
    SnapshotTest() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "sorix-snapshot-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    ~SnapshotTest() override { std::filesystem::remove_all(folder); }

    struct Run {
        std::optional<int> status;
        std::string stderrText;
    };

    Run snapshot(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {SORIX_PATH, "--snapshot"});
        const auto output = folder / "output.txt";
        // No display, and a sound server that is not there: neither is needed nor waited for.
        ChildProcess sorix(
            arguments, output,
            {"SORIX_SETTINGS_FILE=" + settingsFile().string(), "DISPLAY=", "WAYLAND_DISPLAY=",
             "QT_QPA_PLATFORM=", "PULSE_SERVER=unix:" + (folder / "none").string()});
        Run run{sorix.waitForExit(20), {}};
        std::ostringstream text;
        text << std::ifstream(output).rdbuf();
        run.stderrText = text.str();
        return run;
    }

    std::filesystem::path settingsFile() const { return folder / "settings.json"; }
    nlohmann::json settings() const {
        std::ifstream file(settingsFile());
        return nlohmann::json::parse(file, nullptr, false);
    }

    std::filesystem::path folder;
};

TEST_F(SnapshotTest, TheEqualiserCardWithCustomGainsIsDrawnTwiceAsLargeIntoTheGivenFile) {
    const auto picture = folder / "panel.png";
    const Run run = snapshot({"--eq", "--preset", "custom", picture.string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.stderrText, "snapshot OK -> " + picture.string() + "\n");
    const QImage image(QString::fromStdString(picture.string()));
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 768) << "384 points at two pixels each";
    EXPECT_EQ(settings().value("eqPreset", ""), "custom");

    // The card with its custom band sliders stands taller than the boost card, and the whole
    // panel is in the picture, the footer included: the window followed the card's height.
    const auto boostPicture = folder / "boost.png";
    ASSERT_EQ(snapshot({boostPicture.string()}).status, 0);
    const QImage boost(QString::fromStdString(boostPicture.string()));
    EXPECT_GT(image.height(), boost.height() + 200);
    const auto lastRowLit = [](const QImage& picture) {
        for (int y = picture.height() - 1; y >= 0; --y) {
            for (int x = 0; x < picture.width(); ++x) {
                if (qGray(picture.pixel(x, y)) > 128) return picture.height() - y;
            }
        }
        return picture.height();
    };
    EXPECT_EQ(lastRowLit(image), lastRowLit(boost)) << "the footer ends both pictures alike";
}

// How a --preset without a name reads is the command line's case.
TEST_F(SnapshotTest, AFolderThatIsNotThereStillReportsSuccessAndNoPresetIsFlat) {
    std::ofstream(settingsFile()) << R"({"eqPreset": "bass"})";
    const auto nowhere = folder / "missing" / "panel.png";
    const Run run = snapshot({nowhere.string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.stderrText, "snapshot OK -> " + nowhere.string() + "\n");
    EXPECT_FALSE(std::filesystem::exists(nowhere));
    EXPECT_EQ(settings().value("eqPreset", ""), "flat");
}

}  // namespace
}  // namespace sorix::testing
