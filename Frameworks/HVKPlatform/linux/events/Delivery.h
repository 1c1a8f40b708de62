// Delivery.h - takes news to the main queue: asked for any number of times, it runs once for all of them.
//
// What waits there is therefore bounded, however long the host leaves its main queue alone.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "HVKPlatform/ports/Queues.h"

namespace hvk {

/// One kind of news. Thread: any may ask; it is destroyed on the main thread, and what waits then does nothing.
class Delivery {
public:
    /// `work` runs on the main queue and takes all the news that there are by then.
    Delivery(QueuesPort& queues, Work work) : queues_(queues), state_(std::make_shared<State>(std::move(work))) {}

    /// Has the work run soon.
    void ask() {
        if (state_->asked.exchange(true)) return;
        queues_.main().async([weak = std::weak_ptr(state_)] {
            const auto state = weak.lock();
            if (!state) return;
            state->asked = false;
            state->work();
        });
    }

private:
    struct State {
        explicit State(Work given) : work(std::move(given)) {}
        Work work;
        std::atomic<bool> asked{false};
    };

    QueuesPort& queues_;
    std::shared_ptr<State> state_;
};

}  // namespace hvk
