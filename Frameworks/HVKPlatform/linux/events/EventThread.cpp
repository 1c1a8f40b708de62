#include "HVKPlatform/linux/events/EventThread.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace hvk {

namespace {

/// How long poll may wait, -1 for ever; rounded up, so that a source is due when it has its turn.
int patienceUntil(const std::vector<std::shared_ptr<EventSource>>& sources) {
    std::optional<EventSource::Clock::time_point> first;
    for (const auto& source : sources)
        if (const auto due = source->due(); due && (!first || *due < *first)) first = due;
    if (!first) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*first - EventSource::Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
}

}  // namespace

EventThread::EventThread() : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void EventThread::wake() {
    const std::uint64_t one = 1;
    (void)!::write(wakeUp_.get(), &one, sizeof one);
}

void EventThread::run(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    work_.push_back(std::move(work));
    if (!thread_.joinable()) thread_ = std::thread([this] { loop(); });
    wake();
}

void EventThread::add(std::shared_ptr<EventSource> source) {
    run([this, source = std::move(source)] { sources_.push_back(source); });
}

void EventThread::stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        wake();
    }
    if (thread_.joinable()) thread_.join();
    work_.clear();
    sources_.clear();
}

void EventThread::loop() {
    std::vector<pollfd> waited;
    std::vector<std::size_t> starts;
    for (;;) {
        std::vector<std::function<void()>> work;
        {
            std::lock_guard lock(mutex_);
            if (stopping_) return;
            work.swap(work_);
        }
        for (const auto& one : work) one();

        waited.assign(1, {wakeUp_.get(), POLLIN, 0});
        starts.clear();
        for (const auto& source : sources_) {
            starts.push_back(waited.size());
            source->appendTo(waited);
        }
        if (::poll(waited.data(), waited.size(), patienceUntil(sources_)) < 0)
            for (pollfd& one : waited) one.revents = 0;
        if (waited.front().revents != 0) {
            std::uint64_t count = 0;
            (void)!::read(wakeUp_.get(), &count, sizeof count);
        }
        const auto now = EventSource::Clock::now();
        for (std::size_t index = 0; index < sources_.size(); ++index)
            sources_[index]->turn(waited.data() + starts[index], now);
    }
}

}  // namespace hvk
