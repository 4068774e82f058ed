// Whether the process that made a tap still runs: a zombie or a reused pid does not count.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ProcessLiveness.h"

namespace sorix {
namespace {

TEST(ProcessLivenessTest, ThisProcessRunsUnderItsOwnStartTimeOnly) {
    const ProcessIdentity self = currentProcessIdentity();
    ASSERT_TRUE(self.startTime);
    EXPECT_TRUE(processRuns(self));
    EXPECT_TRUE(processRuns({self.pid, std::nullopt})) << "a pid alone still counts";
    // The same pid with another start time is another program that was given the pid later.
    EXPECT_FALSE(processRuns({self.pid, *self.startTime + 1}));
}

// A /proc of the test's own, for the lines the kernel writes: a zombie's among them, which
// kill(pid, 0) would still find.
class FakeProcTest : public ::testing::Test {
  protected:
    void SetUp() override {
        root_ =
            std::filesystem::temp_directory_path() / ("sorix-proc-" + std::to_string(::getpid()));
        std::filesystem::remove_all(root_);
    }
    void TearDown() override { std::filesystem::remove_all(root_); }
    void writeStat(pid_t pid, const std::string& line) {
        std::filesystem::create_directories(root_ / std::to_string(pid));
        std::ofstream(root_ / std::to_string(pid) / "stat") << line;
    }
    std::filesystem::path root_;
};

TEST_F(FakeProcTest, TheStartTimeIsFoundBehindACommandNameWithSpacesAndParentheses) {
    writeStat(42,
              "42 (my (odd) prog) S 1 42 42 0 -1 4194560 100 0 0 0 5 3 0 0 20 0 1 0 "
              "987654 1000 100 18446744073709551615\n");
    EXPECT_EQ(processStartTime(42, root_), 987654u);
    EXPECT_TRUE(processRuns({42, 987654u}, root_));
}

TEST_F(FakeProcTest, ZombiesTornDownProcessesAndUnreadableLinesDoNotRun) {
    writeStat(7, "7 (gone) Z 1 7 7 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 555 0 0 0\n");
    writeStat(8, "8 (going) X 1 8 8 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 555 0 0 0\n");
    writeStat(9, "9 (short) S 1 9\n");
    writeStat(10, "garbage");
    for (pid_t pid : {7, 8, 9, 10, 11}) {
        EXPECT_FALSE(processStartTime(pid, root_)) << pid;
        EXPECT_FALSE(processRuns({pid, std::nullopt}, root_)) << pid;
    }
}

}  // namespace
}  // namespace sorix
