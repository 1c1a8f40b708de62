// WorkLedger.h - keeps the work of a set of queues, so that it runs only while the set lives.
//
// A scheduler of the operating system outlives the machine that hands it work. So it is given a ticket instead, and the
// work stays here: dropping a ticket or closing the ledger takes the work, with all that it captured, out of the
// scheduler's reach. It owns no thread and no time. Thread: any.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "HVKPlatform/ports/Queues.h"

namespace hvk {

/// The work that has been handed over and not dropped.
class WorkLedger {
public:
    /// Names a piece of work; 0 names none, and no number is used twice.
    using Ticket = std::uint64_t;

    /// Keeps `work`; answers 0, and lets the work go, once the ledger is closed.
    Ticket hold(Work work);

    /// Takes the work out and runs it; does nothing when it was dropped.
    void runOnce(Ticket ticket) { run(ticket, false); }

    /// Runs the work and keeps it for the next time; does nothing when it was dropped.
    void runAgain(Ticket ticket) { run(ticket, true); }

    /// Lets the work go: it does not start any more. A run that has begun on another thread goes on, and what the work
    /// captured lives until it ends.
    void drop(Ticket ticket);

    /// Lets all work go, takes no more, and waits until no other thread is in a run. Work may close its own ledger.
    void close();

private:
    using Entries = std::unordered_map<Ticket, std::shared_ptr<const Work>>;

    void run(Ticket ticket, bool keep);
    bool isRunningElsewhere() const;

    std::mutex mutex_;
    std::condition_variable ended_;
    bool closed_ = false;
    Ticket last_ = 0;
    Entries entries_;
    std::vector<std::thread::id> running_;
};

}  // namespace hvk
