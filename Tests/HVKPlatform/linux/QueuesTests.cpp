// Queues with real threads. Nothing sleeps: each side waits for the other, with a limit that only a fault reaches.

#include "HVKPlatform/linux/Queues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace hvk {
namespace {

using testing::ElementsAre;

constexpr auto Limit = std::chrono::seconds(20);

/// A moment that one thread reaches and another waits for.
class Moment {
public:
    void reach() { promise_.set_value(); }
    bool isReached() { return future_.wait_for(Limit) == std::future_status::ready; }

private:
    std::promise<void> promise_;
    std::shared_future<void> future_ = promise_.get_future().share();
};

TEST(AsioQueues, ASerialQueueKeepsItsOrder) {
    AsioQueuesPort queues;
    const auto queue = queues.serial("disks");
    EXPECT_EQ(queue->name(), "disks");
    std::vector<int> order;
    Moment end;
    for (int number = 0; number < 100; ++number) queue->async([&, number] { order.push_back(number); });
    queue->async([&] { end.reach(); });
    ASSERT_TRUE(end.isReached());
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(AsioQueues, AConcurrentQueueRunsTwoThingsAtOnce) {
    AsioQueuesPort queues;
    const auto queue = queues.concurrent("packets");
    Moment first, second, end;
    queue->async([&] {
        first.reach();
        EXPECT_TRUE(second.isReached());
        end.reach();
    });
    queue->async([&] {
        EXPECT_TRUE(first.isReached());
        second.reach();
    });
    EXPECT_TRUE(end.isReached());
}

TEST(AsioQueues, TheMainQueueRunsWhereItIsDriven) {
    AsioQueuesPort queues;
    std::vector<std::string> order;
    std::thread::id thread;
    queues.main().async([&] { order.emplace_back("first"); });
    queues.main().asyncAfter(0.001, [&] {
        thread = std::this_thread::get_id();
        order.emplace_back("late");
        queues.stopMain();
    });
    queues.runMain(0);
    EXPECT_THAT(order, ElementsAre("first")) << "nothing runs before it is due";
    queues.runMain(20);
    EXPECT_THAT(order, ElementsAre("first", "late"));
    EXPECT_TRUE(thread == std::this_thread::get_id());
}

TEST(AsioQueues, TimersRepeatUntilTheyAreDropped) {
    AsioQueuesPort queues;
    int runs = 0;
    std::unique_ptr<Timer> repeating = queues.main().repeating(0.001, [&] {
        if (++runs == 3) queues.stopMain();
    });
    const auto cancelled = queues.main().delayed(0.001, [] { ADD_FAILURE() << "it was cancelled"; });
    cancelled->cancel();
    (void)queues.main().delayed(0.001, [] { ADD_FAILURE() << "it was dropped"; });
    queues.runMain(20);
    EXPECT_EQ(runs, 3);
    repeating.reset();
    queues.runMain(0.01);
    EXPECT_EQ(runs, 3);
}

TEST(AsioQueues, WorkThatHangsHoldsItsOwnQueueOnly) {
    const auto release = std::make_shared<Moment>();
    Moment other;
    const auto before = std::chrono::steady_clock::now();
    {
        AsioQueuesPort queues;
        Moment begun;
        const auto hanging = queues.serial("disks-network");
        hanging->async([&begun, release] {
            begun.reach();
            release->isReached();
        });
        hanging->async([] { ADD_FAILURE() << "it waits behind what hangs, and is dropped"; });
        ASSERT_TRUE(begun.isReached());
        queues.serial("disks")->async([&] { other.reach(); });
        EXPECT_TRUE(other.isReached());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10)) << "the end does not wait for ever";
    release->reach();
}

TEST(AsioQueues, ADroppedQueueStillDoesItsWork) {
    AsioQueuesPort queues;
    Moment begun, gone, end;
    auto queue = queues.serial("once");
    queue->async([&] {
        begun.reach();
        EXPECT_TRUE(gone.isReached());
    });
    queue->async([&] { end.reach(); });
    ASSERT_TRUE(begun.isReached());
    queue.reset();
    gone.reach();
    EXPECT_TRUE(end.isReached());
}

}  // namespace
}  // namespace hvk
