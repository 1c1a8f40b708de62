// LiveMachine.cpp - the composition file of Linux: the only place that picks the Linux adapter.

#include "HVKPlatform/LiveMachine.h"

#include <filesystem>

#include "HVKPlatform/linux/LinuxMachine.h"

namespace hvk {

std::unique_ptr<Machine> makeLiveMachine() { return std::make_unique<LinuxMachine>(); }

Result<std::unique_ptr<Machine>> makeSavedMachine(const std::string& root) {
    std::error_code error;
    const auto status = std::filesystem::status(root, error);
    if (!std::filesystem::exists(status)) return Failure{FailureKind::Absent, root, "there is no such directory"};
    if (!std::filesystem::is_directory(status)) return Failure{FailureKind::Malformed, root, "this is no directory"};
    if (!std::filesystem::is_directory(root + "/proc", error) && !std::filesystem::is_directory(root + "/sys", error))
        return Failure{FailureKind::Malformed, root, "there is neither proc/ nor sys/ below it"};
    return std::unique_ptr<Machine>(std::make_unique<LinuxMachine>(root));
}

}  // namespace hvk
