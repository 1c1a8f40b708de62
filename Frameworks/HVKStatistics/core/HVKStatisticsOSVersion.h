// HVKStatisticsOSVersion.h - the interface level of the operating system and its release predicates.
//
// Modules choose between rules by these flags. On Linux the level is a constant of the adapter and says which rules
// apply, not which release runs.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"

namespace hvk {

/// The version record. Thread: any, once made.
class HVK_EXPORT HVKStatisticsOSVersion {
public:
    /// Asks the machine once and evaluates every predicate.
    explicit HVKStatisticsOSVersion(Machine& machine = Machine::current());

    /// The shared record of the current machine, made on first use.
    static const HVKStatisticsOSVersion& versions();

    // 0, 0, 0 when the machine does not know.
    std::int64_t major = 0;
    std::int64_t minor = 0;
    std::int64_t bugfix = 0;

    // Whether the system is that release or later, as found at construction.
    bool isLion = false;          ///< 10.7
    bool isMountainLion = false;  ///< 10.8
    bool isMavericks = false;     ///< 10.9
    bool isYosemite = false;      ///< 10.10
    bool isElCapitan = false;     ///< 10.11
    bool isSierra = false;        ///< 10.12
    bool isHighSierra = false;    ///< 10.13
    bool isMojave = false;        ///< 10.14
    bool isCatalina = false;      ///< 10.15
    bool isBigSur = false;        ///< 11.0
    bool isMonterey = false;      ///< 12.0

    // The same tests, asked of the machine at each call.
    bool lion() const { return isAtLeast(10, 7); }
    bool mountainLion() const { return isAtLeast(10, 8); }
    bool mavericks() const { return isAtLeast(10, 9); }
    bool yosemite() const { return isAtLeast(10, 10); }
    bool elCapitan() const { return isAtLeast(10, 11); }
    bool sierra() const { return isAtLeast(10, 12); }
    bool highSierra() const { return isAtLeast(10, 13); }
    bool mojave() const { return isAtLeast(10, 14); }
    bool catalina() const { return isAtLeast(10, 15); }
    bool bigSur() const { return isAtLeast(11, 0); }
    bool monterey() const { return isAtLeast(12, 0); }

    /// Whether the system is at least major.minor.0; false when the machine does not know.
    bool isAtLeast(std::int64_t majorVersion, std::int64_t minorVersion) const;

private:
    Machine& machine_;
};

}  // namespace hvk
