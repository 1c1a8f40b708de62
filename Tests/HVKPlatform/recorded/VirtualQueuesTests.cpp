// The virtual queues: work falls due in order, at its time exactly, and a clock that nobody advances stands still.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/recorded/VirtualQueues.h"

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VirtualQueuesTest : public testing::Test {
protected:
    /// Work that writes down its name and when it ran.
    Work log(const std::string& name) {
        return [this, name] { ran.push_back(name + "@" + std::to_string(milliseconds())); };
    }

    int milliseconds() { return static_cast<int>(clock.now() / 1'000'000); }

    VirtualClock clock{1000};
    VirtualQueues queues{clock};
    std::vector<std::string> ran;
};

TEST_F(VirtualQueuesTest, RunInOrderOfDueTimeThenOfHandingOver) {
    const auto disks = queues.serial("disks");
    const auto wide = queues.concurrent("wide");
    queues.main().asyncAfter(0.2, log("200 ms later"));
    disks->async(log("first"));
    wide->async(log("second"));
    queues.main().async(log("third"));
    disks->asyncAfter(0.2, log("after it"));
    disks->asyncAfter(0.1, log("between"));
    disks->asyncAfter(-5, log("fourth"));
    EXPECT_THAT(ran, IsEmpty()) << "nothing runs before somebody advances";

    queues.runMain(0);
    EXPECT_THAT(ran, ElementsAre("first@0", "second@0", "third@0", "fourth@0"));
    ran.clear();
    queues.runMain(0.199);
    EXPECT_THAT(ran, ElementsAre("between@100"));
    ran.clear();
    queues.runMain(1);
    EXPECT_THAT(ran, ElementsAre("200 ms later@200", "after it@200"));
    EXPECT_EQ(milliseconds(), 1199) << "the clock goes on to the end";
    EXPECT_DOUBLE_EQ(clock.wallSeconds(), 1001.199);
    EXPECT_EQ(disks->name(), "disks");
    EXPECT_EQ(queues.main().name(), "main");
}

TEST_F(VirtualQueuesTest, WorkMayHandOverWork) {
    const auto serial = queues.serial("serial");
    serial->asyncAfter(1, [&] {
        log("outer")();
        serial->async(log("at once"));
        serial->asyncAfter(0.5, log("later"));
        serial->asyncAfter(9, log("too late"));
    });
    queues.main().asyncAfter(1, log("other"));
    queues.runMain(2);
    EXPECT_THAT(ran, ElementsAre("outer@1000", "other@1000", "at once@1000", "later@1500"));
    EXPECT_EQ(queues.pendingCount(), 1U);
}

TEST_F(VirtualQueuesTest, TimersRepeatWithoutDriftUntilCancelled) {
    int tenths = 0;
    auto timer = queues.main().repeating(0.1, [&] { ++tenths; });
    for (int second = 0; second < 10; ++second) queues.runMain(1);
    EXPECT_EQ(tenths, 100) << "no tenth may be lost to rounding";
    timer->cancel();
    timer->cancel();
    queues.runMain(1);
    EXPECT_EQ(tenths, 100);

    // Cancelled by its own work, by other work at the same due time, and by being destroyed.
    int own = 0;
    std::unique_ptr<Timer> self = queues.main().repeating(1, [&] {
        if (++own == 2) self->cancel();
    });
    std::unique_ptr<Timer> victim;
    queues.main().asyncAfter(1, [&] { victim.reset(); });
    victim = queues.main().delayed(1, log("victim"));
    { const auto dropped = queues.main().delayed(1, log("dropped")); }
    auto kept = queues.main().delayed(3, log("kept"));
    queues.runMain(5);
    EXPECT_EQ(own, 2);
    EXPECT_THAT(ran, ElementsAre("kept@14000"));
    EXPECT_EQ(queues.pendingCount(), 0U);

    auto hasty = queues.main().repeating(0, log("hasty"));
    ran.clear();
    queues.runMain(0.003);
    EXPECT_THAT(ran, ElementsAre("hasty@16001", "hasty@16002", "hasty@16003")) << "the clock must be able to move on";
}

TEST_F(VirtualQueuesTest, SerialWorkThatAdvancesTheClockIsNotOvertaken) {
    const auto serial = queues.serial("serial");
    const auto beat = serial->repeating(1, log("beat"));
    const auto second = queues.main().repeating(1, log("main"));
    serial->asyncAfter(0.5, [&] {
        log("begin")();
        queues.runMain(2);
        log("end")();
    });
    queues.runMain(3.7);
    EXPECT_THAT(ran,
                ElementsAre("begin@500", "main@1000", "main@2000", "end@2500", "beat@2500", "main@3000", "beat@3500"))
        << "a late run is followed by the next one a period later";
    EXPECT_EQ(milliseconds(), 3700);
}

TEST_F(VirtualQueuesTest, StopEndsTheRunningLoopOnly) {
    queues.stopMain();
    queues.main().asyncAfter(1, [&] {
        queues.main().asyncAfter(0.5, [&] { queues.stopMain(); });
        queues.runMain(10);
        log("inner ended")();
        queues.stopMain();
    });
    queues.main().asyncAfter(2, log("next"));
    queues.runMain(10);
    EXPECT_THAT(ran, ElementsAre("inner ended@1500"));
    EXPECT_EQ(milliseconds(), 1500);
    queues.main().asyncAfter(1, [&] { queues.stopMain(); });
    queues.runUntil(virtualTime(4));
    EXPECT_THAT(ran, ElementsAre("inner ended@1500", "next@2000"));
    EXPECT_EQ(milliseconds(), 4000) << "advancing is not stopped";
}

TEST_F(VirtualQueuesTest, EventsComeBeforeWorkOfTheSameTime) {
    std::vector<VirtualTime> events{virtualTime(1), virtualTime(1), virtualTime(2), virtualTime(30)};
    queues.setEvents({[&]() -> std::optional<VirtualTime> { return events.front(); },
                      [&] {
                          log("event")();
                          events.erase(events.begin());
                      }});
    const auto timer = queues.main().repeating(1, log("work"));
    queues.runMain(2);
    EXPECT_THAT(ran, ElementsAre("event@1000", "event@1000", "work@1000", "event@2000", "work@2000"));
}

TEST_F(VirtualQueuesTest, OutlivedByQueuesTimersAndTheirWork) {
    auto held = std::make_shared<int>(1);
    std::shared_ptr<Queue> queue;
    std::shared_ptr<Timer> timer;
    {
        VirtualQueues shortLived(clock);
        queue = shortLived.serial("kept");
        timer = queue->repeating(1, [held] {});
        queue->async([held, timer] {});
        queue.reset();
        EXPECT_EQ(shortLived.pendingCount(), 2U) << "work outlives its queue";
        queue = shortLived.serial("kept");
    }
    EXPECT_EQ(held.use_count(), 1) << "work that never runs is let go";
    queue->async([held] {});
    EXPECT_EQ(held.use_count(), 1) << "and nothing more is taken";
    timer->cancel();
    EXPECT_EQ(queue->name(), "kept");
}

TEST(VirtualClock, SaturatesAtItsEnd) {
    VirtualClock clock;
    VirtualQueues queues(clock);
    queues.main().asyncAfter(1e300, [] { FAIL() << "never is never"; });
    queues.runMain(1e300);
    queues.runMain(1e300);
    EXPECT_EQ(clock.now(), LatestVirtualTime);
    clock.moveTo(0);
    EXPECT_EQ(clock.now(), LatestVirtualTime) << "it does not go back";
    clock.setWallSeconds(5);
    EXPECT_EQ(clock.wallSeconds(), 5);
    EXPECT_EQ(virtualTime(std::nan("")), 0);
}

}  // namespace
}  // namespace hvk
