// PowerSources.h - power sources: batteries, mains, uninterruptible supplies.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Power sources: batteries, mains, uninterruptible supplies. Thread: the main thread.
class HVK_EXPORT PowerSourcesPort {
public:
    virtual ~PowerSourcesPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedPowerSourcesPort : public PowerSourcesPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingPowerSourcesPort : public PowerSourcesPort {
public:
    explicit ForwardingPowerSourcesPort(PowerSourcesPort& target) : target_(target) {}

protected:
    PowerSourcesPort& target_;
};

}  // namespace hvk
