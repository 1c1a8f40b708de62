#include "HVKPlatform/support/WorkLedger.h"

#include <algorithm>
#include <utility>

namespace hvk {

WorkLedger::Ticket WorkLedger::hold(Work work) {
    auto entry = std::make_shared<const Work>(std::move(work));
    std::lock_guard lock(mutex_);
    if (closed_) return 0;
    entries_.emplace(++last_, std::move(entry));
    return last_;
}

void WorkLedger::drop(Ticket ticket) {
    Entries::node_type dropped;  // what the work captured is destroyed outside the lock
    std::lock_guard lock(mutex_);
    dropped = entries_.extract(ticket);
}

void WorkLedger::close() {
    Entries dropped;
    std::unique_lock lock(mutex_);
    closed_ = true;
    dropped.swap(entries_);
    ended_.wait(lock, [this] { return !isRunningElsewhere(); });
    lock.unlock();
}

void WorkLedger::run(Ticket ticket, bool keep) {
    std::shared_ptr<const Work> work;
    {
        std::lock_guard lock(mutex_);
        const auto found = entries_.find(ticket);
        if (found == entries_.end()) return;
        work = found->second;
        if (!keep) entries_.erase(found);
        running_.push_back(std::this_thread::get_id());
    }
    if (*work) (*work)();
    work.reset();
    std::lock_guard lock(mutex_);
    running_.erase(std::find(running_.begin(), running_.end(), std::this_thread::get_id()));
    ended_.notify_all();
}

bool WorkLedger::isRunningElsewhere() const {
    return std::any_of(running_.begin(), running_.end(),
                       [](std::thread::id thread) { return thread != std::this_thread::get_id(); });
}

}  // namespace hvk
