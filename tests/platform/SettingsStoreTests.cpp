#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <set>
#include <string>

#include "CommaDecimalLocale.h"
#include "JsonSettingsStore.h"
#include "SettingsKeys.h"

namespace sorix {
namespace {

namespace fs = std::filesystem;

class SettingsStoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "sorix-settings-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        directory_ = pattern;
        file_ = directory_ / "sorix" / "settings.json";
    }
    void TearDown() override { fs::remove_all(directory_); }

    void writeFile(const std::string& text) {
        fs::create_directories(file_.parent_path());
        std::ofstream(file_) << text;
    }

    fs::path directory_;
    fs::path file_;
};

TEST_F(SettingsStoreTest, EveryKindOfValueSurvivesARestart) {
    {
        JsonSettingsStore store(file_);
        store.setDouble(SettingsKeys::volumeBoost, 2.5);
        store.setBool(SettingsKeys::boostActive, true);
        store.setString(SettingsKeys::customEQGains, "3.0,0.0,-1.5,0.0,0.0,0.0");
        store.setStringArray(SettingsKeys::outputDeviceUIDs, {"usb-dac", "hdmi"});
        store.setObject(SettingsKeys::outputDelays, {{"usb-dac", 20.0}, {"hdmi", 0.0}});
        store.setBool(SettingsKeys::debugUnmuted, true);
        store.removeObject(SettingsKeys::debugUnmuted);
    }
    const JsonSettingsStore store(file_);
    EXPECT_EQ(store.doubleForKey(SettingsKeys::volumeBoost), 2.5);
    EXPECT_TRUE(store.boolForKey(SettingsKeys::boostActive));
    EXPECT_EQ(store.string(SettingsKeys::customEQGains), "3.0,0.0,-1.5,0.0,0.0,0.0");
    EXPECT_EQ(store.stringArray(SettingsKeys::outputDeviceUIDs),
              (std::vector<std::string>{"usb-dac", "hdmi"}));
    const auto delays = store.dictionary(SettingsKeys::outputDelays);
    ASSERT_TRUE(delays.has_value());
    EXPECT_EQ(delays->at("usb-dac"), 20.0);
    EXPECT_FALSE(store.has(SettingsKeys::debugUnmuted));
}

TEST_F(SettingsStoreTest, AValueOfAnotherTypeOrANumberThatIsNotFiniteReadsAsAbsent) {
    MemorySettingsStore store;
    store.setString(SettingsKeys::volumeBoost, "2.0");
    store.setDouble(SettingsKeys::boostActive, 1.0);
    store.setObject(SettingsKeys::outputDeviceUIDs, {"usb-dac", 3});
    store.setStringArray(SettingsKeys::outputVolumes, {"not", "a", "dictionary"});
    store.setBool(SettingsKeys::eqPreset, true);

    EXPECT_EQ(store.number(SettingsKeys::volumeBoost), std::nullopt);
    EXPECT_EQ(store.boolean(SettingsKeys::boostActive), std::nullopt);
    EXPECT_FALSE(store.boolForKey(SettingsKeys::boostActive));
    EXPECT_EQ(store.stringArray(SettingsKeys::outputDeviceUIDs), std::nullopt);
    EXPECT_EQ(store.dictionary(SettingsKeys::outputVolumes), std::nullopt);
    EXPECT_EQ(store.string(SettingsKeys::eqPreset), std::nullopt);
    // Present all the same, for readers that test presence first.
    EXPECT_TRUE(store.has(SettingsKeys::eqPreset));

    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {std::numeric_limits<double>::quiet_NaN(), inf, -inf}) {
        store.setDouble(SettingsKeys::volumeBoost, bad);
        EXPECT_EQ(store.number(SettingsKeys::volumeBoost), std::nullopt) << bad;
        EXPECT_EQ(store.doubleForKey(SettingsKeys::volumeBoost), 0.0) << bad;
    }
    EXPECT_EQ(SettingsStore::finiteNumber(-3), -3.0);
    EXPECT_EQ(SettingsStore::finiteNumber(std::numeric_limits<double>::max()),
              std::numeric_limits<double>::max());
}

TEST_F(SettingsStoreTest, TheFileReadsAndWritesTheSameUnderACommaDecimalLocale) {
    const testing::CommaDecimalLocale german;
    SKIP_WITHOUT_COMMA_DECIMAL_LOCALE(german);
    writeFile(R"({"volumeBoost": 2.5, "outputDelays": {"dac": 12.75}})");
    {
        JsonSettingsStore store(file_);
        EXPECT_EQ(store.number(SettingsKeys::volumeBoost), 2.5);
        EXPECT_EQ(store.dictionary(SettingsKeys::outputDelays)->at("dac"), 12.75);
        store.setDouble(SettingsKeys::volumeBoost, 4.8);
        store.setDouble(SettingsKeys::safeMode, std::numeric_limits<double>::infinity());
    }
    std::ifstream in(file_);
    const std::string text(std::istreambuf_iterator<char>(in), {});
    EXPECT_NE(text.find("\"volumeBoost\": 4.8"), std::string::npos) << text;
    const JsonSettingsStore reread(file_);
    EXPECT_EQ(reread.number(SettingsKeys::volumeBoost), 4.8);
    EXPECT_TRUE(reread.has(SettingsKeys::safeMode)) << "an infinity is written as null";
    EXPECT_EQ(reread.number(SettingsKeys::safeMode), std::nullopt);
}

TEST_F(SettingsStoreTest, ABrokenFileIsKeptAsideAndTheDefaultsApply) {
    // A number beyond a double's range is refused by the parser like any other slip.
    for (const std::string broken :
         {"{\"volumeBoost\": 2.0,", "[1, 2, 3]", "\x01\x02garbage", "{\"volumeBoost\": 1e999}",
          "{\"outputDelays\": {\"a\": -1e999}}"}) {
        writeFile(broken);
        std::vector<std::string> problems;
        JsonSettingsStore store(file_,
                                [&](const std::string& problem) { problems.push_back(problem); });

        EXPECT_FALSE(store.has(SettingsKeys::volumeBoost)) << broken;
        ASSERT_EQ(problems.size(), 1u) << broken;
        EXPECT_NE(problems[0].find("settings.json.corrupt"), std::string::npos) << problems[0];
        std::ifstream aside(file_.string() + ".corrupt");
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), broken);

        // The next change writes a good file again.
        store.setBool(SettingsKeys::safeMode, false);
        store.flush();
        EXPECT_EQ(JsonSettingsStore(file_).boolean(SettingsKeys::safeMode), false);
    }
}

TEST_F(SettingsStoreTest, AWriterKilledMidWriteLeavesTheOldOrTheNewDocument) {
    {
        JsonSettingsStore store(file_);
        store.setDouble(SettingsKeys::volumeBoost, 0.0);
    }
    // Large documents make each write long enough to be interrupted now and then.
    const std::vector<std::string> padding(20000, "a pinned output with a long identifier");
    for (int round = 0; round < 8; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            JsonSettingsStore store(file_);
            store.setStringArray(SettingsKeys::outputDeviceUIDs, padding);
            for (int i = 1;; ++i)
                store.setDouble(SettingsKeys::volumeBoost, i);
        }
        ::usleep(static_cast<useconds_t>(20000 + round * 7000));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);

        std::vector<std::string> problems;
        const JsonSettingsStore store(file_, [&](const std::string& p) { problems.push_back(p); });
        EXPECT_TRUE(problems.empty()) << problems.front();
        EXPECT_TRUE(store.number(SettingsKeys::volumeBoost).has_value());
    }

    // Temporaries of killed writers are cleared away once they are clearly abandoned.
    const auto temporaries = [&] {
        int count = 0;
        for (const auto& entry : fs::directory_iterator(file_.parent_path())) {
            count += entry.path().filename().string().find(".tmp-") != std::string::npos;
        }
        return count;
    };
    std::ofstream(file_.string() + ".tmp-abandoned") << "{";
    for (const auto& entry : fs::directory_iterator(file_.parent_path())) {
        if (entry.path().filename().string().find(".tmp-") == std::string::npos) continue;
        fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    ASSERT_GT(temporaries(), 0);
    const JsonSettingsStore reopened(file_);
    EXPECT_EQ(temporaries(), 0);
}

TEST_F(SettingsStoreTest, ChangesFasterThanTheDiskEndAsTheNewestDocumentAndAFailureIsTold) {
    {
        JsonSettingsStore store(file_);
        for (int i = 1; i <= 500; ++i)
            store.setDouble(SettingsKeys::volumeBoost, 1.0 + i / 1000.0);
    }
    EXPECT_EQ(JsonSettingsStore(file_).number(SettingsKeys::volumeBoost), 1.5)
        << "what was still pending is written when the store goes";

    // A file where the folder should be: the write fails, the value stays in the store.
    std::ofstream(file_.parent_path() / "blocked") << "not a folder";
    const fs::path blocked = file_.parent_path() / "blocked" / "settings.json";
    std::vector<std::string> problems;
    JsonSettingsStore store(blocked, [&](const std::string& p) { problems.push_back(p); });
    store.setDouble(SettingsKeys::volumeBoost, 3.0);
    store.flush();
    EXPECT_EQ(problems.size(), 1u);
    EXPECT_EQ(store.number(SettingsKeys::volumeBoost), 3.0);
}

// Sets an environment variable for one scope.
class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, const char* value) : name_(name) {
        const char* saved = std::getenv(name);
        if (saved != nullptr) saved_ = saved;
        ::setenv(name, value, 1);
    }
    ~ScopedEnvironment() {
        if (saved_) {
            ::setenv(name_, saved_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }

  private:
    const char* name_;
    std::optional<std::string> saved_;
};

TEST_F(SettingsStoreTest, TheFileLivesInTheUsersConfigurationFolder) {
    ScopedEnvironment home("HOME", "/home/someone");
    {
        ScopedEnvironment config("XDG_CONFIG_HOME", "/tmp/config-home");
        EXPECT_EQ(JsonSettingsStore::defaultPath(),
                  fs::path("/tmp/config-home/sorix/settings.json"));
    }
    ScopedEnvironment relative("XDG_CONFIG_HOME", "relative/ignored");
    EXPECT_EQ(JsonSettingsStore::defaultPath(),
              fs::path("/home/someone/.config/sorix/settings.json"));
}

TEST(SettingsKeysTest, NoTwoSettingsShareAKey) {
    const std::set<std::string_view> distinct(SettingsKeys::all.begin(), SettingsKeys::all.end());
    EXPECT_EQ(distinct.size(), SettingsKeys::all.size());
}

}  // namespace
}  // namespace sorix
