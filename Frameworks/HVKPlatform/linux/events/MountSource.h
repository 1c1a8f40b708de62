// MountSource.h - tells when the mount table has changed.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/events/EventThread.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The source: /proc/self/mountinfo, which polls as exceptional when it has changed. Mounts that come close together
/// are one change. Thread: that of the events, but for `open`.
class MountSource : public EventSource {
public:
    static Result<std::shared_ptr<MountSource>> open(const LinuxRoot& root, SourceHealth& health,
                                                     std::function<void()> changed);

    void appendTo(std::vector<pollfd>& waited) const override;
    void turn(const pollfd* answered, Clock::time_point now) override;
    std::optional<Clock::time_point> due() const override { return due_; }

private:
    MountSource(Descriptor file, std::function<void()> changed)
        : file_(std::move(file)), changed_(std::move(changed)) {}

    Descriptor file_;
    std::function<void()> changed_;
    std::optional<Clock::time_point> due_;
};

}  // namespace hvk
