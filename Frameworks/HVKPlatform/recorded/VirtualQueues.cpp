#include "HVKPlatform/recorded/VirtualQueues.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

namespace hvk {

namespace {

/// A timer that repeats faster than this would keep the clock from moving on.
constexpr VirtualTime ShortestPeriod = 1'000'000;

enum class Order { Main, Serial, Concurrent };

/// What the work of one queue shares; it lives as long as a queue or work of it.
struct QueueState {
    std::string name;
    Order order;
    bool busy = false;  ///< a serial queue's work is running; guarded by the agenda's lock

    bool mayStart() const { return order != Order::Serial || !busy; }
};

}  // namespace

/// Everything that waits, in the order in which it will run. Shared with queues and timers, which may outlive the rest.
class VirtualQueues::Agenda {
public:
    using Number = std::uint64_t;

    /// A place in the order: due time, then the sequence of handing over.
    using Place = std::pair<VirtualTime, Number>;

    struct Item {
        std::shared_ptr<QueueState> queue;
        std::shared_ptr<const Work> work;
        VirtualTime period = 0;  ///< 0 for work that runs once
        Number timer = 0;        ///< what cancels it; 0 for work that cannot be called off
    };

    explicit Agenda(VirtualClock& clock) : clock_(&clock) {}

    /// Adds work that falls due after `delay`; the number that cancels it, 0 when the queues are gone.
    Number add(VirtualTime delay, Item item, bool cancellable) {
        std::lock_guard lock(mutex_);
        if (clock_ == nullptr) return 0;
        const Place place{later(clock_->now(), delay), ++lastNumber_};
        if (cancellable) {
            item.timer = place.second;
            timers_.emplace(item.timer, place);
        }
        items_.emplace(place, std::move(item));
        return place.second;
    }

    void cancel(Number timer) {
        Item dropped;  // destroyed without the lock: it may own timers itself
        std::lock_guard lock(mutex_);
        const auto found = timers_.find(timer);
        if (found == timers_.end()) return;
        if (auto node = items_.extract(found->second)) dropped = std::move(node.mapped());
        timers_.erase(found);
    }

    /// When the first work that may start is due, and no work at all when none is.
    std::optional<VirtualTime> nextDue() const {
        std::lock_guard lock(mutex_);
        const auto first = firstThatMayStart();
        if (first == items_.end()) return std::nullopt;
        return first->first.first;
    }

    /// Takes the first work that may start and is due now, and marks its queue as busy; a repeating timer's next run
    /// takes its place.
    std::optional<Item> start(VirtualTime now) {
        std::lock_guard lock(mutex_);
        const auto first = firstThatMayStart();
        if (first == items_.end() || first->first.first > now) return std::nullopt;
        Item item = std::move(first->second);
        items_.erase(first);
        if (item.period > 0) {
            const Place next{later(now, item.period), ++lastNumber_};
            timers_[item.timer] = next;
            items_.emplace(next, item);
        } else if (item.timer != 0) {
            timers_.erase(item.timer);
        }
        if (item.queue->order == Order::Serial) item.queue->busy = true;
        return item;
    }

    void finish(const Item& item) {
        std::lock_guard lock(mutex_);
        item.queue->busy = false;
    }

    /// Takes nothing more and drops what waits.
    void close() {
        std::map<Place, Item> dropped;
        std::lock_guard lock(mutex_);
        clock_ = nullptr;
        dropped.swap(items_);
        timers_.clear();
    }

    std::size_t size() const {
        std::lock_guard lock(mutex_);
        return items_.size();
    }

    // How many runMain are under way, and whether the innermost one shall end.

    void enter() {
        std::lock_guard lock(mutex_);
        ++running_;
        stop_ = false;
    }

    void leave() {
        std::lock_guard lock(mutex_);
        --running_;
        stop_ = false;
    }

    void requestStop() {
        std::lock_guard lock(mutex_);
        stop_ = running_ > 0;
    }

    bool stopRequested() const {
        std::lock_guard lock(mutex_);
        return stop_;
    }

private:
    std::map<Place, Item>::iterator firstThatMayStart() {
        return std::find_if(items_.begin(), items_.end(),
                            [](const auto& each) { return each.second.queue->mayStart(); });
    }
    std::map<Place, Item>::const_iterator firstThatMayStart() const {
        return const_cast<Agenda*>(this)->firstThatMayStart();
    }

    mutable std::mutex mutex_;
    VirtualClock* clock_;  ///< null once the queues are gone
    std::map<Place, Item> items_;
    std::map<Number, Place> timers_;
    Number lastNumber_ = 0;
    int running_ = 0;
    bool stop_ = false;
};

class VirtualQueues::VirtualTimer : public Timer {
public:
    VirtualTimer(std::shared_ptr<Agenda> agenda, Agenda::Number number) : agenda_(std::move(agenda)), number_(number) {}
    ~VirtualTimer() override { cancel(); }
    VirtualTimer(const VirtualTimer&) = delete;
    VirtualTimer& operator=(const VirtualTimer&) = delete;
    void cancel() override { agenda_->cancel(number_); }

private:
    const std::shared_ptr<Agenda> agenda_;
    const Agenda::Number number_;
};

class VirtualQueues::VirtualQueue : public Queue {
public:
    VirtualQueue(std::shared_ptr<Agenda> agenda, std::string name, Order order)
        : agenda_(std::move(agenda)), state_(std::make_shared<QueueState>(QueueState{std::move(name), order})) {}

    const std::string& name() const override { return state_->name; }

    void async(Work work) override { add(0, std::move(work), 0, false); }

    void asyncAfter(double seconds, Work work) override { add(virtualTime(seconds), std::move(work), 0, false); }

    std::unique_ptr<Timer> delayed(double seconds, Work work) override {
        return timer(add(virtualTime(seconds), std::move(work), 0, true));
    }

    std::unique_ptr<Timer> repeating(double seconds, Work work) override {
        const VirtualTime period = std::max(virtualTime(seconds), ShortestPeriod);
        return timer(add(period, std::move(work), period, true));
    }

private:
    Agenda::Number add(VirtualTime delay, Work work, VirtualTime period, bool cancellable) {
        return agenda_->add(delay, {state_, std::make_shared<const Work>(std::move(work)), period, 0}, cancellable);
    }

    std::unique_ptr<Timer> timer(Agenda::Number number) { return std::make_unique<VirtualTimer>(agenda_, number); }

    const std::shared_ptr<Agenda> agenda_;
    const std::shared_ptr<QueueState> state_;
};

VirtualQueues::VirtualQueues(VirtualClock& clock)
    : clock_(clock),
      agenda_(std::make_shared<Agenda>(clock)),
      main_(std::make_shared<VirtualQueue>(agenda_, "main", Order::Main)) {}

VirtualQueues::~VirtualQueues() { agenda_->close(); }

Queue& VirtualQueues::main() { return *main_; }

std::shared_ptr<Queue> VirtualQueues::serial(const std::string& name) {
    return std::make_shared<VirtualQueue>(agenda_, name, Order::Serial);
}

std::shared_ptr<Queue> VirtualQueues::concurrent(const std::string& name) {
    return std::make_shared<VirtualQueue>(agenda_, name, Order::Concurrent);
}

void VirtualQueues::runMain(double seconds) {
    agenda_->enter();
    run(later(clock_.now(), seconds), true);
    agenda_->leave();
}

void VirtualQueues::stopMain() { agenda_->requestStop(); }

void VirtualQueues::runUntil(VirtualTime time) { run(time, false); }

std::size_t VirtualQueues::pendingCount() const { return agenda_->size(); }

void VirtualQueues::setEvents(Events events) { events_ = std::move(events); }

void VirtualQueues::run(VirtualTime end, bool stoppable) {
    end = std::min(end, LatestVirtualTime);
    while (!stoppable || !agenda_->stopRequested()) {
        const auto event = events_.next ? events_.next() : std::nullopt;
        const auto work = agenda_->nextDue();
        const bool eventFirst = event && (!work || *event <= *work);
        const auto due = eventFirst ? event : work;
        if (!due || *due > end) {
            clock_.moveTo(end);
            return;
        }
        clock_.moveTo(*due);
        if (eventFirst) {
            events_.reach();
        } else if (const auto item = agenda_->start(clock_.now())) {
            (*item->work)();
            agenda_->finish(*item);
        }
    }
}

}  // namespace hvk
