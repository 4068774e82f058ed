// Whose output is the user's while the tap stands in as the server's default.
#include <gtest/gtest.h>

#include "pulse/DefaultChoice.h"

namespace sorix::pulse {
namespace {

using std::chrono::milliseconds;

Sink sink(const std::string& name, bool tap = false) {
    Sink sink;
    sink.name = name;
    if (tap) sink.tapOwner = ProcessIdentity{4242, std::nullopt};
    return sink;
}

const std::vector<Sink> kSinks = {sink("old_tap", true), sink("speakers"), sink("usb_dac"),
                                  sink("sorix_tap", true)};

TEST(DefaultChoiceTest, TheUsersOutputAtTakeoverIsNeverATap) {
    EXPECT_EQ(userSinkAtTakeover("usb_dac", kSinks, "speakers"), "usb_dac")
        << "the server's own default is the user's";
    // A server that made the new tap its default at once: the remembered output, if still there,
    // else the first real one (firstRealSink, which skips the tap listed first).
    EXPECT_EQ(userSinkAtTakeover("sorix_tap", kSinks, "usb_dac"), "usb_dac");
    EXPECT_EQ(userSinkAtTakeover("sorix_tap", kSinks, "pulled"), "speakers");
    EXPECT_EQ(userSinkAtTakeover("sorix_tap", kSinks, "old_tap"), "speakers");
    EXPECT_EQ(userSinkAtTakeover("not_yet_there", kSinks, ""), "speakers");
    EXPECT_EQ(userSinkAtTakeover("sorix_tap", {sink("sorix_tap", true)}, ""), "")
        << "no real output, nothing to stand in for";
}

TEST(DefaultChoiceTest, ADefaultOtherThanTheTapIsTheUsersNewChoiceUnlessItIsOurOwnEcho) {
    const auto choice = [](const std::string& named, milliseconds since) {
        return userChoiceIn(named, kSinks, "sorix_tap", "speakers", since);
    };
    const milliseconds longAgo{60'000};
    EXPECT_EQ(choice("usb_dac", milliseconds{0}), "usb_dac") << "another output is news at once";
    EXPECT_EQ(choice("sorix_tap", longAgo), std::nullopt);
    EXPECT_EQ(choice("old_tap", longAgo), std::nullopt) << "another tap is nobody's choice";
    EXPECT_EQ(choice("pulled", longAgo), std::nullopt);

    // The user's own output named again: PipeWire's late echo of the default we replaced, for
    // a moment after our request, and the user picking it again after that.
    EXPECT_EQ(choice("speakers", milliseconds{1499}), std::nullopt);
    EXPECT_EQ(choice("speakers", milliseconds{1501}), "speakers");
}

}  // namespace
}  // namespace sorix::pulse
