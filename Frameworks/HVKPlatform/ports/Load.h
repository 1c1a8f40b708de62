// Load.h - the kernel's load averages as it keeps them: fixed-point numbers and their scale.
#pragma once

#include <array>
#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// One-, five- and fifteen-minute load averages; each is `values[i]` / `scale`, e.g. {12, 34, 56} / 100.
struct LoadAverages {
    std::array<std::uint32_t, 3> values{};
    std::int64_t scale = 1;

    bool operator==(const LoadAverages&) const = default;
};

/// Load averages. Thread: the one that updates the load module.
class HVK_EXPORT LoadPort {
public:
    virtual ~LoadPort() = default;

    /// sysctl VM_LOADAVG; /proc/loadavg (hundredths, the digits that the kernel prints).
    virtual Result<LoadAverages> loadAverages() = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedLoadPort : public LoadPort {
public:
    Result<LoadAverages> loadAverages() override { return unsupported("load averages"); }
};

/// Hands the question on; a test overrides it.
class HVK_EXPORT ForwardingLoadPort : public LoadPort {
public:
    explicit ForwardingLoadPort(LoadPort& target) : target_(target) {}
    Result<LoadAverages> loadAverages() override { return target_.loadAverages(); }

protected:
    LoadPort& target_;
};

}  // namespace hvk
