// Delivery.h - takes news to the main queue: asked for any number of times, it runs once for all of them.
//
// What waits there is therefore bounded, however long the host leaves its main queue alone.
#pragma once

#include <atomic>
#include <utility>

#include "HVKPlatform/ports/Queues.h"

namespace hvk {

/// One kind of news. It must outlive what it has put on the queue. Thread: any.
class Delivery {
public:
    /// `work` runs on the main queue and takes all the news that there are by then.
    Delivery(QueuesPort& queues, Work work) : queues_(queues), work_(std::move(work)) {}

    /// Has the work run soon.
    void ask() {
        if (asked_.exchange(true)) return;
        queues_.main().async([this] {
            asked_ = false;
            work_();
        });
    }

private:
    QueuesPort& queues_;
    Work work_;
    std::atomic<bool> asked_{false};
};

}  // namespace hvk
