// Launch at login and the desktop's sound settings, on a temporary config folder.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "LoginItem.h"
#include "SoundSettings.h"

namespace sorix::testing {
namespace {

class LoginItemTest : public ::testing::Test {
  protected:
    LoginItemTest() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "sorix-login-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
    }
    ~LoginItemTest() override { std::filesystem::remove_all(folder); }

    std::string read(const std::filesystem::path& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    std::filesystem::path folder;
};

TEST_F(LoginItemTest, TheSwitchWritesAndRemovesAnEntryThatStartsThisVeryProgram) {
    const auto entry = folder / "autostart" / "sorix.desktop";
    const LoginItem item(entry, "/opt/My Apps/$orix/sorix");
    EXPECT_FALSE(item.isEnabled());
    ASSERT_TRUE(item.setEnabled(true));
    EXPECT_TRUE(item.isEnabled());
    EXPECT_NE(read(entry).find("Exec=\"/opt/My Apps/\\$orix/sorix\"\n"), std::string::npos)
        << read(entry);
    ASSERT_TRUE(item.setEnabled(false));
    EXPECT_FALSE(std::filesystem::exists(entry));
    EXPECT_TRUE(item.setEnabled(false)) << "off twice is still off";
}

TEST_F(LoginItemTest, AnEntryTheDesktopHidOrThatIsNotOursReadsAsOff) {
    const auto entry = folder / "sorix.desktop";
    const LoginItem item(entry, "/usr/bin/sorix");
    ASSERT_TRUE(item.setEnabled(true));
    std::ofstream(entry, std::ios::app) << "Hidden=true\n";
    EXPECT_FALSE(item.isEnabled());
    std::ofstream(entry, std::ios::trunc) << "[Desktop Entry]\nType=Application\nExec=other\n";
    EXPECT_FALSE(item.isEnabled());
}

TEST_F(LoginItemTest, AFolderThatCannotBeMadeFailsAndLeavesTheSwitchOff) {
    std::ofstream(folder / "autostart") << "a file where the folder should be";
    const LoginItem item(folder / "autostart" / "sorix.desktop", "/usr/bin/sorix");
    EXPECT_FALSE(item.setEnabled(true));
    EXPECT_FALSE(item.isEnabled());
}

TEST(SoundSettingsTest, TheFirstInstalledOfTheDesktopsSettingsIsOffered) {
    const auto with = [](std::set<std::string> installed) {
        return SoundSettings(
            [installed](const std::string& program) { return installed.count(program) > 0; });
    };
    EXPECT_EQ(with({"pavucontrol", "gnome-control-center"}).command(),
              (std::vector<std::string>{"gnome-control-center", "sound"}));
    EXPECT_EQ(with({"pavucontrol", "systemsettings"}).command(),
              (std::vector<std::string>{"systemsettings", "kcm_pulseaudio"}));
    EXPECT_EQ(with({"pavucontrol"}).command(), std::vector<std::string>{"pavucontrol"});
    EXPECT_FALSE(with({}).available());
    EXPECT_FALSE(with({}).open());
}

}  // namespace
}  // namespace sorix::testing
