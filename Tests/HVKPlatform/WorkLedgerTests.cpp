// Work that a system's scheduler knows by ticket only: it runs as often as it should and never after it was let go.

#include "HVKPlatform/support/WorkLedger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace hvk {
namespace {

TEST(WorkLedger, RunsOnceOrAgain) {
    WorkLedger ledger;
    int once = 0;
    int again = 0;
    const auto first = ledger.hold([&once] { ++once; });
    const auto second = ledger.hold([&again] { ++again; });
    for (int i = 0; i < 3; ++i) {
        ledger.runOnce(first);
        ledger.runAgain(second);
    }
    EXPECT_EQ(once, 1);
    EXPECT_EQ(again, 3);
    ledger.runOnce(0);
    ledger.runOnce(ledger.hold(nullptr));
}

TEST(WorkLedger, LetsGoOfWhatWasCapturedWhenWorkIsDroppedRunOrClosed) {
    WorkLedger ledger;
    std::weak_ptr<int> captured;
    const auto holdOne = [&] {
        const auto value = std::make_shared<int>(7);
        captured = value;
        return ledger.hold([value] { EXPECT_EQ(*value, 7); });
    };
    const auto dropped = holdOne();
    ledger.drop(dropped);
    EXPECT_TRUE(captured.expired());
    ledger.drop(dropped);
    ledger.runAgain(dropped);

    ledger.runOnce(holdOne());
    EXPECT_TRUE(captured.expired());

    const auto pending = holdOne();
    EXPECT_FALSE(captured.expired());
    ledger.close();
    EXPECT_TRUE(captured.expired());
    ledger.runOnce(pending);
    EXPECT_EQ(holdOne(), 0U);
    EXPECT_TRUE(captured.expired());
}

TEST(WorkLedger, WorkMayDropItselfAndCloseItsLedger) {
    WorkLedger ledger;
    WorkLedger::Ticket own = 0;
    int runs = 0;
    own = ledger.hold([&, kept = std::make_shared<int>(1)] {
        ledger.drop(own);
        runs += *kept;
    });
    ledger.runAgain(own);
    ledger.runAgain(own);
    EXPECT_EQ(runs, 1);

    // What is destroyed with the work may come back to the ledger, too.
    struct Dropper {
        WorkLedger& ledger;
        WorkLedger::Ticket other;
        ~Dropper() { ledger.drop(other); }
    };
    const auto other = ledger.hold([&runs] { ++runs; });
    ledger.drop(ledger.hold([dropper = std::make_shared<Dropper>(Dropper{ledger, 0})] { (void)dropper; }));
    ledger.runOnce(ledger.hold([&ledger] { ledger.close(); }));
    ledger.runOnce(other);
    EXPECT_EQ(runs, 1);
}

TEST(WorkLedger, ClosingWaitsForTheRunOfAnotherThread) {
    WorkLedger ledger;
    std::promise<void> begun;
    std::promise<void> mayEnd;
    std::atomic<bool> ended{false};
    const auto ticket = ledger.hold([&, go = mayEnd.get_future().share()] {
        begun.set_value();
        go.wait();
        ended = true;
    });
    std::thread worker([&] { ledger.runOnce(ticket); });
    begun.get_future().wait();
    std::thread closer([&] {
        ledger.close();
        EXPECT_TRUE(ended);
    });
    // Until the closer has taken the ledger over, work is still held; from then on it waits.
    while (ledger.hold([] {}) != 0) std::this_thread::yield();
    mayEnd.set_value();
    closer.join();
    worker.join();
}

}  // namespace
}  // namespace hvk
