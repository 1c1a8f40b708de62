#include "HVKStatistics/core/HVKStatisticsOSVersion.h"

namespace hvk {

HVKStatisticsOSVersion::HVKStatisticsOSVersion(Machine& machine) : machine_(machine) {
    if (const auto version = machine.system().operatingSystemVersion()) {
        major = version->major;
        minor = version->minor;
        bugfix = version->bugfix;
    }
    isLion = lion();
    isMountainLion = mountainLion();
    isMavericks = mavericks();
    isYosemite = yosemite();
    isElCapitan = elCapitan();
    isSierra = sierra();
    isHighSierra = highSierra();
    isMojave = mojave();
    isCatalina = catalina();
    isBigSur = bigSur();
    isMonterey = monterey();
}

const HVKStatisticsOSVersion& HVKStatisticsOSVersion::versions() {
    static const HVKStatisticsOSVersion& instance = *new HVKStatisticsOSVersion;
    return instance;
}

bool HVKStatisticsOSVersion::isAtLeast(std::int64_t majorVersion, std::int64_t minorVersion) const {
    const auto version = machine_.system().operatingSystemVersion();
    return version && *version >= OperatingSystemVersion{majorVersion, minorVersion, 0};
}

}  // namespace hvk
