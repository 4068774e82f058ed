// The first picture of a server is complete when every request made for it has answered.
#include <gtest/gtest.h>

#include "pulse/RequestGroup.h"

namespace sorix::pulse {
namespace {

TEST(RequestGroupTest, CompletesOnceWhenClosedAndTheLastMemberHasAnswered) {
    int completions = 0;
    RequestGroup group;
    auto first = group.member();
    auto second = group.member();
    first(true);  // answers may come before the group is closed
    group.close([&] { ++completions; });
    EXPECT_EQ(completions, 0);
    second(true);
    EXPECT_EQ(completions, 1);

    int empty = 0;
    RequestGroup nothingAsked;
    nothingAsked.close([&] { ++empty; });
    EXPECT_EQ(empty, 1);
}

TEST(RequestGroupTest, AMemberLeftUnansweredKeepsItIncompleteForGood) {
    int completions = 0;
    RequestGroup group;
    auto answered = group.member();
    auto cancelled = group.member();
    group.close([&] { ++completions; });
    cancelled(false);  // its connection died
    answered(true);
    EXPECT_EQ(completions, 0);
}

}  // namespace
}  // namespace sorix::pulse
