#include "HVKStatistics/core/StatisticsBundle.h"

#include <memory>

#include "HVKBase/Resources.h"
#include "HVKLogger/DDLog.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

LocalizedBundle statisticsBundle(Machine& machine) {
    const std::string directory = resourceDirectory();
    // The framework's own files are no source of the machine's figures: they are named when something is wrong with
    // them.
    const auto note = [&machine, health = std::make_shared<SourceHealth*>()](FailureKind kind, const char* file,
                                                                             const std::string& fault) {
        if (*health == nullptr)
            *health = &machine.diagnostics().source(
                "share/HVKStatisticsKit", "names in the user's language",
                "install the resources beside the library, or name their directory with setResourceDirectory");
        (void)(*health)->failed({kind, file, fault});
        HVKLogError("Localization: " + fault);
    };
    if (directory.empty())
        note(FailureKind::Absent, "share/HVKStatisticsKit", "the framework's resources are not there");
    return LocalizedBundle(
        directory, machine.system().preferredLanguages().valueOr({}),
        [note](const std::string& fault) { note(FailureKind::Malformed, "HVKStatisticsKit.strings", fault); });
}

}  // namespace hvk
