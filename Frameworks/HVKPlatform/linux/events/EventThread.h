// EventThread.h - the thread that waits for what a running system tells of its own accord.
//
// All sources share one thread: it sleeps until one of their descriptors speaks or something is due, and costs nothing
// in between. What sources find out they keep to themselves; who watches is told on the main queue.
#pragma once

#include <poll.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "HVKPlatform/linux/Descriptor.h"

namespace hvk {

/// Something that is waited for. Every method is called on the thread; a turn must not wait.
class EventSource {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~EventSource() = default;

    /// Adds what it waits for.
    virtual void appendTo(std::vector<pollfd>& waited) const = 0;

    /// Looks at what was added, with the answers in it, and does what is due.
    virtual void turn(const pollfd* answered, Clock::time_point now) = 0;

    /// When it wants a turn although nothing speaks.
    virtual std::optional<Clock::time_point> due() const { return std::nullopt; }
};

/// The thread. It starts with the first source. Thread: any, but a source is added and the thread stopped by one.
class EventThread {
public:
    EventThread();
    ~EventThread() { stop(); }
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// Waits for one more source from now on.
    void add(std::shared_ptr<EventSource> source);

    /// Runs `work` on the thread, soon, and before a source that is added later has its first turn.
    void run(std::function<void()> work);

    /// Ends the thread and lets go of the sources; nothing runs any more when it returns.
    void stop();

private:
    void wake();
    void loop();

    Descriptor wakeUp_;  ///< an eventfd
    std::mutex mutex_;
    std::vector<std::function<void()>> work_;
    bool stopping_ = false;
    std::vector<std::shared_ptr<EventSource>> sources_;  ///< the thread's own while it runs
    std::thread thread_;
};

}  // namespace hvk
