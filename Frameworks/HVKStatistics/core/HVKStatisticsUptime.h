// HVKStatisticsUptime.h - when the machine started. A host shows now - `boot`.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/core/StatisticsRoles.h"

namespace hvk {

/// The boot time. Thread: the one that made it.
class HVK_EXPORT HVKStatisticsUptime : public StatisticsModuleRole {
public:
    /// Reads the boot time once.
    explicit HVKStatisticsUptime(Machine& machine = Machine::current());

    /// Seconds since 1970, whole; 0 when unknown.
    double boot = 0;

    /// Stored only.
    bool demo() const { return demo_; }
    void setDemo(bool demo) override { demo_ = demo; }

private:
    bool demo_ = false;
};

}  // namespace hvk
