// Queues.h - where work runs: the main queue, named serial and concurrent queues, delays and repeating timers.
//
// Linux builds it on Asio, macOS on libdispatch, the recorded machine on its virtual clock. Work that is handed over
// runs exactly once unless its queue set is destroyed first; it must not throw.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "HVKBase/Export.h"

namespace hvk {

/// A piece of work.
using Work = std::function<void()>;

/// A pending delay or a repeating timer. Destroying it cancels what has not started; on the queue that the work runs on
/// nothing runs after the cancellation, on another thread a run that has begun ends first or alongside.
class HVK_EXPORT Timer {
public:
    virtual ~Timer() = default;

    /// The same as destroying it; may be called any number of times, from any thread.
    virtual void cancel() = 0;
};

/// A place where work runs. Every method may be called from any thread.
class HVK_EXPORT Queue {
public:
    virtual ~Queue() = default;

    /// The name it was made with: "disks", "packets-sync"; the main queue is "main".
    virtual const std::string& name() const = 0;

    /// Runs `work` later and returns at once. A serial queue runs its work one piece at a time, in order.
    virtual void async(Work work) = 0;

    /// Runs `work` once, no sooner than `seconds` from now. Nobody can call it off.
    virtual void asyncAfter(double seconds, Work work) = 0;

    /// Runs `work` once, no sooner than `seconds` from now, unless the timer is cancelled first.
    [[nodiscard]] virtual std::unique_ptr<Timer> delayed(double seconds, Work work) = 0;

    /// Runs `work` every `seconds`, first after `seconds`; a late run does not bunch up with the next one.
    [[nodiscard]] virtual std::unique_ptr<Timer> repeating(double seconds, Work work) = 0;
};

/// The queues of a machine.
class HVK_EXPORT QueuesPort {
public:
    virtual ~QueuesPort() = default;

    /// The host's queue: its work runs inside `runMain`, on the thread that calls it.
    virtual Queue& main() = 0;

    /// A new queue that runs one piece of work at a time, in order.
    virtual std::shared_ptr<Queue> serial(const std::string& name) = 0;

    /// A new queue that may run several pieces of work at once.
    virtual std::shared_ptr<Queue> concurrent(const std::string& name) = 0;

    /// Runs main-queue work on the calling thread for `seconds` (0: only what is due), or until `stopMain`. On the
    /// recorded machine it advances the virtual clock instead of waiting.
    virtual void runMain(double seconds) = 0;

    /// Makes the running `runMain` return soon; from any thread.
    virtual void stopMain() = 0;
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingQueuesPort : public QueuesPort {
public:
    explicit ForwardingQueuesPort(QueuesPort& target) : target_(target) {}
    Queue& main() override { return target_.main(); }
    std::shared_ptr<Queue> serial(const std::string& name) override { return target_.serial(name); }
    std::shared_ptr<Queue> concurrent(const std::string& name) override { return target_.concurrent(name); }
    void runMain(double seconds) override { target_.runMain(seconds); }
    void stopMain() override { target_.stopMain(); }

protected:
    QueuesPort& target_;
};

}  // namespace hvk
