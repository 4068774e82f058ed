#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "CommaDecimalLocale.h"
#include "Logger.h"

namespace sorix {
namespace {

TEST(LoggerTest, PrivacyMarkersAreDroppedAndTheRestFormatsAsPrintf) {
    EXPECT_EQ(formatLogMessage("state -> failed: %{public}s", "Could not start"),
              "state -> failed: Could not start");
    EXPECT_EQ(formatLogMessage("boost %{public}f at %d%%", 2.5, 40), "boost 2.500000 at 40%");
    EXPECT_EQ(formatLogMessage("%{public}.1f,%{private}s", 3.25, "x"), "3.2,x");
    EXPECT_EQ(formatLogMessage("%%{public}s stays literal"), "%{public}s stays literal");
}

TEST(LoggerTest, NumbersReadTheSameUnderACommaDecimalLocale) {
    const testing::CommaDecimalLocale german;
    SKIP_WITHOUT_COMMA_DECIMAL_LOCALE(german);
    char plain[32];
    std::snprintf(plain, sizeof plain, "%.1f", 2.5);
    ASSERT_STREQ(plain, "2,5") << "the locale is in effect";

    auto sink = std::make_shared<RecordingLogSink>();
    const Logger logger("TapEngine", sink);
    logger.log("boost %{public}fx", 2.0);
    logger.error("retry in %{public}.1fs, peak %.4f", 1.25, -0.5);
    EXPECT_EQ(sink->messages(),
              (std::vector<std::string>{"boost 2.000000x", "retry in 1.2s, peak -0.5000"}));

    // The thread is back in the user's locale afterwards.
    std::snprintf(plain, sizeof plain, "%.1f", 2.5);
    EXPECT_STREQ(plain, "2,5");
}

TEST(LoggerTest, DisabledLevelsAreNotFormattedOrWritten) {
    struct ErrorsOnly : RecordingLogSink {
        bool isEnabled(LogLevel level) const override { return level == LogLevel::error; }
    };
    auto sink = std::make_shared<ErrorsOnly>();
    const Logger logger("TapEngine", sink);
    EXPECT_FALSE(logger.isEnabled(LogLevel::standard));
    logger.log("dropped");
    logger.error("kept");
    EXPECT_EQ(sink->messages(), std::vector<std::string>{"kept"});
}

TEST(LoggerTest, StreamSinkWritesOneTaggedLinePerMessage) {
    std::FILE* stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    const Logger logger("TapEngine", std::make_shared<StreamLogSink>(stream));
    logger.log("state -> %{public}s", std::string("active"));
    logger.error("dead tap");

    std::rewind(stream);
    char buffer[256] = {};
    const std::size_t read = std::fread(buffer, 1, sizeof buffer - 1, stream);
    std::fclose(stream);
    EXPECT_EQ(std::string(buffer, read),
              "sorix[TapEngine] state -> active\nsorix[TapEngine] dead tap\n");
}

}  // namespace
}  // namespace sorix
