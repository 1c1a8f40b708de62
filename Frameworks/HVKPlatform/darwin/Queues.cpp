#include "HVKPlatform/darwin/Queues.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <atomic>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Clock.h"
#include "HVKPlatform/darwin/decode/Queues.h"

namespace hvk {

namespace {

/// What libdispatch is given in place of work.
struct Ticket {
    std::shared_ptr<WorkLedger> ledger;
    WorkLedger::Ticket number = 0;
};

void runTicketOnce(void* context) {
    const std::unique_ptr<Ticket> ticket(static_cast<Ticket*>(context));
    ticket->ledger->runOnce(ticket->number);
}

void deleteTicket(void* context) { delete static_cast<Ticket*>(context); }

/// A timer source; its ticket lives until libdispatch has let the source go.
class DarwinTimer : public Timer {
public:
    DarwinTimer(dispatch_queue_t queue, std::shared_ptr<WorkLedger> ledger, Work work, std::int64_t first,
                std::uint64_t interval, dispatch_function_t handler)
        : ledger_(std::move(ledger)),
          number_(ledger_->hold(std::move(work))),
          source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue)) {
        dispatch_set_context(source_, new Ticket{ledger_, number_});
        dispatch_set_finalizer_f(source_, deleteTicket);
        dispatch_source_set_event_handler_f(source_, handler);
        dispatch_source_set_timer(source_, dispatch_time(DISPATCH_TIME_NOW, first), interval,
                                  static_cast<std::uint64_t>(decode::leewayNanoseconds(first)));
        dispatch_resume(source_);
    }
    ~DarwinTimer() override {
        cancel();
        dispatch_release(source_);
    }

    void cancel() override {
        ledger_->drop(number_);
        dispatch_source_cancel(source_);
    }

private:
    std::shared_ptr<WorkLedger> ledger_;
    WorkLedger::Ticket number_;
    dispatch_source_t source_;
};

void runDelayed(void* context) {
    const auto* ticket = static_cast<const Ticket*>(context);
    ticket->ledger->runOnce(ticket->number);
}

void runRepeating(void* context) {
    const auto* ticket = static_cast<const Ticket*>(context);
    ticket->ledger->runAgain(ticket->number);
}

class DarwinQueue : public Queue {
public:
    /// Takes over the caller's reference to `queue`.
    DarwinQueue(std::string name, dispatch_queue_t queue, std::shared_ptr<WorkLedger> ledger)
        : name_(std::move(name)), queue_(queue), ledger_(std::move(ledger)) {}
    ~DarwinQueue() override { dispatch_release(queue_); }

    const std::string& name() const override { return name_; }

    void async(Work work) override { dispatch_async_f(queue_, ticketFor(std::move(work)), runTicketOnce); }

    void asyncAfter(double seconds, Work work) override {
        dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, decode::delayNanoseconds(seconds)), queue_,
                         ticketFor(std::move(work)), runTicketOnce);
    }

    std::unique_ptr<Timer> delayed(double seconds, Work work) override {
        return std::make_unique<DarwinTimer>(queue_, ledger_, std::move(work), decode::delayNanoseconds(seconds),
                                             DISPATCH_TIME_FOREVER, runDelayed);
    }

    std::unique_ptr<Timer> repeating(double seconds, Work work) override {
        const std::int64_t interval = decode::intervalNanoseconds(seconds);
        return std::make_unique<DarwinTimer>(queue_, ledger_, std::move(work), interval,
                                             static_cast<std::uint64_t>(interval), runRepeating);
    }

private:
    Ticket* ticketFor(Work work) const { return new Ticket{ledger_, ledger_->hold(std::move(work))}; }

    std::string name_;
    dispatch_queue_t queue_;
    std::shared_ptr<WorkLedger> ledger_;
};

std::shared_ptr<Queue> makeQueue(const std::string& name, dispatch_queue_attr_t attribute,
                                 const std::shared_ptr<WorkLedger>& ledger) {
    return std::make_shared<DarwinQueue>(name, dispatch_queue_create(name.c_str(), attribute), ledger);
}

void stopCurrentLoop(void*) { CFRunLoopStop(CFRunLoopGetCurrent()); }

}  // namespace

/// One call of runMain. Its source keeps the loop from ending for want of sources, and holds a stop that comes before
/// the loop waits.
struct DarwinQueuesPort::MainRun {
    MainRun() : loop(CFRunLoopGetCurrent()), stop(makeStop()) {
        CFRunLoopAddSource(loop, stop.get(), kCFRunLoopDefaultMode);
    }
    ~MainRun() { CFRunLoopSourceInvalidate(stop.get()); }

    static CFRunLoopSourceRef makeStop() {
        CFRunLoopSourceContext context{};
        context.perform = stopCurrentLoop;
        return CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
    }

    CFRunLoopRef loop;
    CFOwned<CFRunLoopSourceRef> stop;
    std::atomic<bool> stopped{false};
};

DarwinQueuesPort::DarwinQueuesPort()
    : ledger_(std::make_shared<WorkLedger>()),
      main_(std::make_unique<DarwinQueue>("main", dispatch_get_main_queue(), ledger_)) {}

DarwinQueuesPort::~DarwinQueuesPort() { ledger_->close(); }

std::shared_ptr<Queue> DarwinQueuesPort::serial(const std::string& name) {
    return makeQueue(name, DISPATCH_QUEUE_SERIAL, ledger_);
}

std::shared_ptr<Queue> DarwinQueuesPort::concurrent(const std::string& name) {
    return makeQueue(name, DISPATCH_QUEUE_CONCURRENT, ledger_);
}

void DarwinQueuesPort::runMain(double seconds) {
    MainRun run;
    {
        std::lock_guard lock(mutex_);
        mainRuns_.push_back(&run);
    }
    DarwinClockPort clock;
    const double end = clock.monotonicSeconds() + std::max(0.0, seconds);
    double left = std::max(0.0, seconds);
    // Another's CFRunLoopStop ends a turn, not the run.
    do {
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, left, false);
        left = end - clock.monotonicSeconds();
    } while (!run.stopped && left > 0);
    std::lock_guard lock(mutex_);
    mainRuns_.erase(std::find(mainRuns_.begin(), mainRuns_.end(), &run));
}

void DarwinQueuesPort::stopMain() {
    std::lock_guard lock(mutex_);
    for (MainRun* run : mainRuns_) {
        run->stopped = true;
        CFRunLoopSourceSignal(run->stop.get());
        CFRunLoopWakeUp(run->loop);
    }
}

}  // namespace hvk
