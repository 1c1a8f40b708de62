#include "HVKPlatform/linux/Queues.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace hvk {

namespace {

/// Threads of a concurrent queue: enough for the few readers that wait in the kernel at one time.
constexpr std::size_t ConcurrentThreads = 4;
/// How long the end of the queues waits for work that is being done.
constexpr std::chrono::seconds ShutdownPatience{2};

std::chrono::steady_clock::duration durationOf(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
}

/// The loop of one queue; shared by the queue, its threads and the owners of its timers, so that it outlives whoever
/// goes first. What waits inside the loop refers to it plainly: it goes with the loop.
struct Loop {
    asio::io_context context;
    std::atomic<bool> stopped{false};  ///< nothing may run any more
};

/// A timer that fires on its queue.
class AsioTimer : public Timer, public std::enable_shared_from_this<AsioTimer> {
public:
    AsioTimer(Loop& loop, Work work) : loop_(loop), timer_(loop.context), work_(std::move(work)) {}

    /// Starts it; with an interval it goes on until it is cancelled.
    void start(double seconds, double interval) {
        interval_ = interval;
        due_ = std::chrono::steady_clock::now() + durationOf(seconds);
        std::lock_guard lock(mutex_);
        arm();
    }

    void cancel() override {
        cancelled_ = true;
        std::lock_guard lock(mutex_);
        timer_.cancel();
    }

private:
    void arm() {
        timer_.expires_at(due_);
        timer_.async_wait([self = shared_from_this()](const asio::error_code& error) { self->fire(error); });
    }

    void fire(const asio::error_code& error) {
        if (error || cancelled_ || loop_.stopped) return;
        work_();
        if (interval_ <= 0) return;
        std::lock_guard lock(mutex_);
        if (cancelled_) return;
        // A run that came late does not make the next one early, and missed runs are not made up for.
        due_ = std::max(due_ + durationOf(interval_), std::chrono::steady_clock::now());
        arm();
    }

    Loop& loop_;
    std::mutex mutex_;  ///< guards `timer_` and `due_`
    asio::steady_timer timer_;
    std::chrono::steady_clock::time_point due_;
    double interval_ = 0;
    std::atomic<bool> cancelled_{false};
    Work work_;
};

/// What the owner of a timer holds: dropping it cancels.
class TimerHandle : public Timer {
public:
    TimerHandle(std::shared_ptr<Loop> loop, std::shared_ptr<AsioTimer> timer)
        : loop_(std::move(loop)), timer_(std::move(timer)) {}
    ~TimerHandle() override { timer_->cancel(); }
    void cancel() override { timer_->cancel(); }

private:
    std::shared_ptr<Loop> loop_;
    std::shared_ptr<AsioTimer> timer_;  ///< goes before the loop does
};

}  // namespace

/// Counts running threads and knows every loop.
class AsioQueuesPort::Threads {
public:
    void add(const std::shared_ptr<Loop>& loop) {
        std::lock_guard lock(mutex_);
        std::erase_if(loops_, [](const auto& known) { return known.expired(); });
        loops_.push_back(loop);
    }

    /// Runs `loop` on a new thread until it has nothing left to do.
    static void start(const std::shared_ptr<Threads>& threads, std::shared_ptr<Loop> loop) {
        {
            std::lock_guard lock(threads->mutex_);
            ++threads->running_;
        }
        std::thread([threads, loop = std::move(loop)]() mutable {
            loop->context.run();
            loop.reset();
            std::lock_guard lock(threads->mutex_);
            --threads->running_;
            threads->ended_.notify_all();
        }).detach();
    }

    void stopAll() {
        std::unique_lock lock(mutex_);
        for (const auto& known : loops_) {
            if (const auto loop = known.lock()) {
                loop->stopped = true;
                loop->context.stop();
            }
        }
        ended_.wait_for(lock, ShutdownPatience, [this] { return running_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    std::size_t running_ = 0;
    std::vector<std::weak_ptr<Loop>> loops_;
};

/// A queue: a loop, and the right to start threads for it.
class AsioQueue : public Queue {
public:
    AsioQueue(std::string name, std::size_t threads, std::shared_ptr<AsioQueuesPort::Threads> registry)
        : name_(std::move(name)),
          loop_(std::make_shared<Loop>()),
          guard_(loop_->context.get_executor()),
          registry_(std::move(registry)),
          threadsLeft_(threads) {
        registry_->add(loop_);
    }

    const std::string& name() const override { return name_; }

    void async(Work work) override {
        asio::post(loop_->context, [loop = loop_.get(), work = std::move(work)] {
            if (!loop->stopped) work();
        });
        ensureThread();
    }

    void asyncAfter(double seconds, Work work) override {
        std::make_shared<AsioTimer>(*loop_, std::move(work))->start(seconds, 0);
        ensureThread();
    }

    std::unique_ptr<Timer> delayed(double seconds, Work work) override { return timer(seconds, 0, std::move(work)); }

    std::unique_ptr<Timer> repeating(double seconds, Work work) override {
        return timer(seconds, seconds, std::move(work));
    }

    asio::io_context& context() { return loop_->context; }

private:
    std::unique_ptr<Timer> timer(double seconds, double interval, Work work) {
        auto made = std::make_shared<AsioTimer>(*loop_, std::move(work));
        made->start(seconds, interval);
        ensureThread();
        return std::make_unique<TimerHandle>(loop_, std::move(made));
    }

    /// Each piece of work brings one more thread until the queue has all of its own.
    void ensureThread() {
        std::lock_guard lock(mutex_);
        if (threadsLeft_ == 0) return;
        --threadsLeft_;
        AsioQueuesPort::Threads::start(registry_, loop_);
    }

    std::string name_;
    std::shared_ptr<Loop> loop_;
    /// Keeps the threads waiting for work; when the queue goes they finish what they were given and end.
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
    std::shared_ptr<AsioQueuesPort::Threads> registry_;
    std::mutex mutex_;
    std::size_t threadsLeft_;
};

AsioQueuesPort::AsioQueuesPort()
    : threads_(std::make_shared<Threads>()), main_(std::make_shared<AsioQueue>("main", 0, threads_)) {}

AsioQueuesPort::~AsioQueuesPort() { threads_->stopAll(); }

Queue& AsioQueuesPort::main() { return *main_; }

std::shared_ptr<Queue> AsioQueuesPort::serial(const std::string& name) { return make(name, 1); }

std::shared_ptr<Queue> AsioQueuesPort::concurrent(const std::string& name) { return make(name, ConcurrentThreads); }

std::shared_ptr<Queue> AsioQueuesPort::make(const std::string& name, std::size_t threads) {
    return std::make_shared<AsioQueue>(name, threads, threads_);
}

void AsioQueuesPort::runMain(double seconds) {
    asio::io_context& context = main_->context();
    context.restart();
    if (seconds <= 0)
        context.poll();
    else
        context.run_for(durationOf(seconds));
}

void AsioQueuesPort::stopMain() { main_->context().stop(); }

}  // namespace hvk
