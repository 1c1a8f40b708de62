// Volumes.h - mounted volumes and their space.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Mounted volumes and their space. Thread: the main thread.
class HVK_EXPORT VolumesPort {
public:
    virtual ~VolumesPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedVolumesPort : public VolumesPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingVolumesPort : public VolumesPort {
public:
    explicit ForwardingVolumesPort(VolumesPort& target) : target_(target) {}

protected:
    VolumesPort& target_;
};

}  // namespace hvk
