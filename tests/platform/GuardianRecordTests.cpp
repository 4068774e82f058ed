// The guardian's copy of the takeover, from the lines Sorix sends it.
#include <gtest/gtest.h>

#include "pulse/GuardianRecord.h"

namespace sorix::pulse {
namespace {

using Record = GuardianRecord;

TEST(GuardianRecordTest, FollowsATakeoverAndWhatWasUndoneOfIt) {
    Record record;
    EXPECT_TRUE(record.empty());
    for (const std::string& line :
         {Record::tapLine(21), Record::defaultLine("alsa_output.usb-DAC"),
          Record::movedLine(40, "speakers"), Record::movedLine(41, "HDMI monitor 2"),
          Record::movedLine(42, "speakers"), Record::forgetLine(42), Record::tapLine(22)})
        ASSERT_TRUE(record.apply(line)) << line;
    EXPECT_EQ(record.taps, (std::set<uint32_t>{21, 22}));
    EXPECT_EQ(record.moved,
              (std::map<uint32_t, std::string>{{40, "speakers"}, {41, "HDMI monitor 2"}}));
    EXPECT_EQ(record.userDefault, "alsa_output.usb-DAC");

    // A server that went away took the modules and streams with it; the user's choice stays.
    ASSERT_TRUE(record.apply(Record::lostLine()));
    EXPECT_TRUE(record.taps.empty());
    EXPECT_TRUE(record.moved.empty());
    EXPECT_FALSE(record.empty());

    // Everything given back: nothing is left to undo.
    ASSERT_TRUE(record.apply(Record::noDefaultLine()));
    ASSERT_TRUE(record.apply(Record::tapLine(30)));
    ASSERT_TRUE(record.apply(Record::untapLine(30)));
    EXPECT_TRUE(record.empty());
}

TEST(GuardianRecordTest, ALineItDoesNotUnderstandChangesNothing) {
    Record record;
    record.apply(Record::tapLine(5));
    const Record before = record;
    for (const char* line : {"", "tap", "tap x", "tap 5 6", "tap -1", "moved 4", "moved x home",
                             "default", "nodefault now", "lost it", "unload 5"})
        EXPECT_FALSE(record.apply(line)) << '"' << line << '"';
    EXPECT_EQ(record.taps, before.taps);
    EXPECT_EQ(record.moved, before.moved);
    EXPECT_EQ(record.userDefault, before.userDefault);
}

}  // namespace
}  // namespace sorix::pulse
