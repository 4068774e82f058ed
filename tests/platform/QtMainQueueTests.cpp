#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>
#include <thread>
#include <vector>

#include "QtMainQueue.h"

namespace sorix {
namespace {

// Runs the event loop until done() or a generous safety limit (a hang, not a timing check).
template <typename Done>
void spinUntil(Done done) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(10000);
    while (!done() && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

class QtMainQueueTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        static int argc = 1;
        static char name[] = "sorix_platform_tests";
        static char* argv[] = {name, nullptr};
        if (QCoreApplication::instance() == nullptr) new QCoreApplication(argc, argv);
    }
};

TEST_F(QtMainQueueTest, TasksFromAnyThreadRunInOrderOnTheMainThread) {
    QtMainQueue queue;
    std::vector<int> order;
    bool allOnMain = true;
    const auto mainThread = std::this_thread::get_id();
    std::thread poster([&] {
        for (int i = 0; i < 100; ++i) {
            queue.async([&, i] {
                allOnMain = allOnMain && std::this_thread::get_id() == mainThread;
                order.push_back(i);
            });
        }
        queue.asyncAfter(0.01, [&] { order.push_back(1000); });
    });
    poster.join();
    EXPECT_TRUE(order.empty());
    spinUntil([&] { return order.size() == 101; });
    ASSERT_EQ(order.size(), 101u);
    EXPECT_TRUE(allOnMain);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(order.back(), 1000);
}

TEST_F(QtMainQueueTest, DelayedTasksWaitAndTimersStopWhenDropped) {
    QtMainQueue queue;
    const double start = queue.now();
    double ranAt = 0;
    queue.asyncAfter(0.05, [&] { ranAt = queue.now(); });
    int ticks = 0;
    std::unique_ptr<MainQueue::Timer> timer = queue.repeating(0.01, [&] {
        if (++ticks == 3) timer.reset();
    });
    spinUntil([&] { return ranAt > 0 && timer == nullptr; });
    EXPECT_GE(ranAt - start, 0.045);
    EXPECT_EQ(ticks, 3);

    // No further tick arrives once the handle is gone.
    bool settled = false;
    queue.asyncAfter(0.05, [&] { settled = true; });
    spinUntil([&] { return settled; });
    EXPECT_EQ(ticks, 3);
}

}  // namespace
}  // namespace sorix
