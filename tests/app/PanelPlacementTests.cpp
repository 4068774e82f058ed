// Where the panel opens, for trays at the top and the bottom of a screen, and without one.
#include <gtest/gtest.h>

#include "PanelPlacement.h"

namespace sorix::testing {
namespace {

const QRect kScreen{0, 0, 1920, 1080};
const QSize kPanel{384, 640};

TEST(PanelPlacementTest, ItHangsCentredSixPixelsUnderATrayIconAtTheTopAndStandsOverOneBelow) {
    EXPECT_EQ(PanelPlacement::underIcon({1000, 0, 22, 24}, kPanel, kScreen),
              QPoint(1011 - 192, 30));
    // Near the right edge it moves left rather than leave the screen.
    EXPECT_EQ(PanelPlacement::underIcon({1890, 0, 22, 24}, kPanel, kScreen),
              QPoint(1920 - 384, 30));
    EXPECT_EQ(PanelPlacement::underIcon({1000, 1056, 22, 24}, kPanel, kScreen),
              QPoint(819, 1056 - 6 - 640));
}

TEST(PanelPlacementTest, WithoutTheIconsPlaceItOpensAtThePointerAndStaysOnTheScreen) {
    EXPECT_EQ(PanelPlacement::nearPointer({960, 20}, kPanel, kScreen), QPoint(768, 26));
    EXPECT_EQ(PanelPlacement::nearPointer({10, 1070}, kPanel, kScreen), QPoint(0, 1070 - 6 - 640));
    // A screen too short for the panel shows its top.
    EXPECT_EQ(PanelPlacement::nearPointer({960, 200}, kPanel, {0, 0, 1920, 500}).y(), 0);
}

TEST(PanelPlacementTest, WithoutATrayItOpensInTheTopRightCorner) {
    const QRect available{0, 32, 1920, 1048};  // under a top bar
    const QPoint corner = PanelPlacement::topRight(kPanel, available);
    EXPECT_EQ(corner.x() + kPanel.width(), 1920 - 8);
    EXPECT_EQ(corner.y(), 32 + 8);
}

}  // namespace
}  // namespace sorix::testing
