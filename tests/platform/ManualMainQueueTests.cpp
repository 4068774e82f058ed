#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ManualMainQueue.h"

namespace sorix {
namespace {

TEST(ManualMainQueueTest, TasksFromAnyThreadRunOnlyWhenTheQueueIsRunInPostingOrder) {
    ManualMainQueue queue;
    std::vector<std::string> order;
    queue.async([&] {
        order.push_back("a");
        queue.async([&] { order.push_back("c"); });
    });
    queue.async([&] { order.push_back("b"); });
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(queue.runPending(), 3);
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c"}));

    int ran = 0;
    std::thread poster([&] {
        for (int i = 0; i < 1000; ++i)
            queue.async([&] { ++ran; });
    });
    poster.join();
    queue.runPending();
    EXPECT_EQ(ran, 1000);
}

TEST(ManualMainQueueTest, DelayedTasksRunAtTheirOwnTimeInTimeThenPostingOrder) {
    ManualMainQueue queue;
    std::vector<std::pair<std::string, double>> runs;
    auto record = [&](const char* name) {
        return [&runs, &queue, name] { runs.emplace_back(name, queue.now()); };
    };
    queue.asyncAfter(4.0, record("retry"));
    queue.asyncAfter(1.0, record("first"));
    queue.asyncAfter(1.0, record("second"));
    queue.asyncAfter(1.0, [&] { queue.asyncAfter(0.5, record("chained")); });

    queue.advance(0.999);
    EXPECT_TRUE(runs.empty());
    queue.advance(1.0);
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[0], (std::pair<std::string, double>{"first", 1.0}));
    EXPECT_EQ(runs[1].first, "second");
    EXPECT_EQ(runs[2], (std::pair<std::string, double>{"chained", 1.5}));
    EXPECT_DOUBLE_EQ(queue.now(), 1.999);
    EXPECT_EQ(queue.scheduledCount(), 1u);
    queue.advance(10.0);
    EXPECT_EQ(runs.back(), (std::pair<std::string, double>{"retry", 4.0}));
}

TEST(ManualMainQueueTest, TimersTickUntilCancelledOrDropped) {
    ManualMainQueue queue;
    std::vector<double> ticks;
    auto timer = queue.repeating(2.0, [&] { ticks.push_back(queue.now()); });
    queue.advance(7.0);
    EXPECT_EQ(ticks, (std::vector<double>{2.0, 4.0, 6.0}));

    timer->cancel();
    queue.advance(10.0);
    EXPECT_EQ(ticks.size(), 3u);

    int dropped = 0;
    std::unique_ptr<MainQueue::Timer> selfDropping;
    selfDropping = queue.repeating(1.0, [&] {
        ++dropped;
        selfDropping.reset();
    });
    queue.advance(5.0);
    EXPECT_EQ(dropped, 1);
    EXPECT_EQ(queue.scheduledCount(), 0u);
}

}  // namespace
}  // namespace sorix
