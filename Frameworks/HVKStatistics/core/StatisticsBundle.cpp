#include "HVKStatistics/core/StatisticsBundle.h"

#include "HVKBase/Resources.h"
#include "HVKLogger/DDLog.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

LocalizedBundle statisticsBundle(Machine& machine) {
    const std::string directory = resourceDirectory();
    SourceHealth& health = machine.diagnostics().source(
        "share/HVKStatisticsKit", "names in the user's language",
        "install the resources beside the library, or name their directory with setResourceDirectory");
    if (directory.empty()) {
        (void)health.failed({FailureKind::Absent, "share/HVKStatisticsKit", "there is no such directory"});
        HVKLogError("Localization: The framework's resources are not there");
    } else {
        health.works();
    }
    return LocalizedBundle(directory, machine.system().preferredLanguages().valueOr({}),
                           [&health](const std::string& fault) {
                               (void)health.failed({FailureKind::Malformed, "HVKStatisticsKit.strings", fault});
                               HVKLogError("Localization: " + fault);
                           });
}

}  // namespace hvk
