// VirtualQueues.h - queues and timers on a virtual clock: nothing waits, everything runs in order.
//
// Work runs on the thread that advances the clock, whichever queue it was handed to: first what is due first, then what
// was handed over first. The clock moves from one due time to the next, so "in 200 ms" takes no time and comes exactly
// when 200 ms have passed on it.
//
//     queues.main().asyncAfter(0.2, [] { ... });
//     queues.runMain(1);  // runs it at 0.2, ends at 1
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/recorded/VirtualClock.h"

namespace hvk {

/// The queues of a recorded machine. Thread: work may be handed over and cancelled from any; one at a time advances.
///
/// Work may hand over more work and may advance the clock itself. A serial queue whose work does so starts nothing
/// else meanwhile; the main queue does, as a run loop in a run loop. Work that is still waiting when this object is
/// destroyed never runs; a queue that is still held by then takes nothing more.
class HVK_EXPORT VirtualQueues : public QueuesPort {
public:
    /// Something besides work that falls due on the axis: a frame of a recording.
    struct Events {
        std::function<std::optional<VirtualTime>()> next;  ///< when the next one is due, nothing when there is none
        std::function<void()> reach;                       ///< the clock has come to it; the next one follows it
    };

    explicit VirtualQueues(VirtualClock& clock);
    ~VirtualQueues() override;
    VirtualQueues(const VirtualQueues&) = delete;
    VirtualQueues& operator=(const VirtualQueues&) = delete;

    Queue& main() override;
    std::shared_ptr<Queue> serial(const std::string& name) override;
    std::shared_ptr<Queue> concurrent(const std::string& name) override;

    /// Moves the clock on by `seconds` and runs the work of every queue as it falls due; the clock stays where it is
    /// when `stopMain` ends it early.
    void runMain(double seconds) override;

    /// Ends the innermost `runMain` after the work that runs now; without one it does nothing.
    void stopMain() override;

    /// As `runMain`, up to a point of the axis and past `stopMain`. At one due time an event comes before work.
    void runUntil(VirtualTime time);

    /// Work that waits, timers included.
    std::size_t pendingCount() const;

    /// Names what else falls due; before anything runs.
    void setEvents(Events events);

private:
    class Agenda;
    class VirtualQueue;
    class VirtualTimer;

    void run(VirtualTime end, bool stoppable);

    VirtualClock& clock_;
    std::shared_ptr<Agenda> agenda_;
    std::shared_ptr<Queue> main_;
    Events events_;
};

}  // namespace hvk
