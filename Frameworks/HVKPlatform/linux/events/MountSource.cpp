#include "HVKPlatform/linux/events/MountSource.h"

#include <fcntl.h>

#include <cerrno>

namespace hvk {

namespace {

constexpr const char* MountTable = "/proc/self/mountinfo";
constexpr std::chrono::milliseconds Settle{100};

}  // namespace

Result<std::shared_ptr<MountSource>> MountSource::open(const LinuxRoot& root, SourceHealth& health,
                                                       std::function<void()> changed) {
    Descriptor file(::open(root.path(MountTable).c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) return health.failed(failureFromErrno(errno, MountTable));
    health.works();
    return std::shared_ptr<MountSource>(new MountSource(std::move(file), std::move(changed)));
}

void MountSource::appendTo(std::vector<pollfd>& waited) const { waited.push_back({file_.get(), POLLPRI, 0}); }

void MountSource::turn(const pollfd* answered, Clock::time_point now) {
    if (answered->revents != 0 && !due_) due_ = now + Settle;
    if (!due_ || *due_ > now) return;
    due_.reset();
    changed_();
}

}  // namespace hvk
