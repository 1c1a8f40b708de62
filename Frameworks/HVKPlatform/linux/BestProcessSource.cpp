#include "HVKPlatform/linux/BestProcessSource.h"

#include <utility>

#include "HVKPlatform/linux/IteratorSource.h"

namespace hvk {

namespace {

constexpr int MostFailuresInARow = 3;

}  // namespace

BestProcessSource::BestProcessSource(const LinuxRoot& root, std::uint64_t ticksPerSecond, std::uint64_t pageSize,
                                     Diagnostics& diagnostics, ProcessSourceChoice choice, Opener opener)
    : root_(root),
      ticksPerSecond_(ticksPerSecond),
      pageSize_(pageSize),
      diagnostics_(diagnostics),
      choice_(root.isLive() ? choice : ProcessSourceChoice::Proc),
      opener_(std::move(opener)),
      proc_(root, ticksPerSecond, pageSize, diagnostics),
      inForce_(&proc_) {}

BestProcessSource::~BestProcessSource() = default;

/// The source is registered here, when it is known what would mend it.
void BestProcessSource::open() {
    TaskIteratorRefusal refusal;
    std::unique_ptr<TaskReader> reader = opener_(root_, refusal);
    health_ = &diagnostics_.source("task iterator", "all of every process in one reading", std::move(refusal.mend));
    if (reader != nullptr) {
        iterator_ = std::make_unique<IteratorSource>(std::move(reader), proc_, ticksPerSecond_, pageSize_, *health_);
        return;
    }
    refusal_ = refusal.failure;
    (void)failed(std::move(refusal.failure));
}

Status BestProcessSource::failed(Failure failure) {
    if (choice_ == ProcessSourceChoice::Best) failure.detail += "; processes are read from /proc";
    return health_->failed(std::move(failure));
}

Status BestProcessSource::pids(std::vector<std::int32_t>& pids) {
    if (choice_ != ProcessSourceChoice::Proc) {
        if (health_ == nullptr) open();
        if (iterator_ != nullptr) {
            auto listed = iterator_->pids(pids);
            if (listed) {
                failuresInARow_ = 0;
                health_->works();
                inForce_ = iterator_.get();
                return {};
            }
            inForce_ = &proc_;
            refusal_ = listed.failure();
            (void)failed(listed.failure());
            if (++failuresInARow_ == MostFailuresInARow || refusal_.kind == FailureKind::Unsupported) {
                health_->note({});
                iterator_.reset();
            }
        }
        if (choice_ == ProcessSourceChoice::Iterator) return refusal_;
    }
    return proc_.pids(pids);
}

}  // namespace hvk
