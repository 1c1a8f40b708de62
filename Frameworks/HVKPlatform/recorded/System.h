// System.h - the constants and the users of a recorded machine.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/System.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct SystemAnswers {
    Result<OperatingSystemVersion> operatingSystemVersion = undescribed("system.operatingSystemVersion");
    Result<std::string> operatingSystemName = undescribed("system.operatingSystemName");
    Result<double> bootTime = undescribed("system.bootTime");
    Result<std::uint64_t> pageSize = undescribed("system.pageSize");
    Result<std::uint64_t> ticksPerSecond = undescribed("system.ticksPerSecond");
    Result<std::string> modelName = undescribed("system.modelName");
    Result<std::uint32_t> logicalProcessorCount = undescribed("system.logicalProcessorCount");
    Result<std::uint32_t> physicalProcessorCount = undescribed("system.physicalProcessorCount");
    Result<std::vector<std::string>> preferredLanguages = undescribed("system.preferredLanguages");
    std::map<std::uint32_t, Result<std::string>> users;
    Failure otherUsers = undescribed("system.users");  ///< the answer for a user that is not in `users`
};

/// Reads a section "system"; what it does not name stays, user by user. Throws RecordingFault.
void readSystem(const RecordingField& section, SystemAnswers& answers);

/// The port.
class HVK_EXPORT RecordedSystem : public RecordedPort<SystemPort, SystemAnswers> {
public:
    explicit RecordedSystem(Diagnostics& diagnostics);
    Result<OperatingSystemVersion> operatingSystemVersion() override;
    Result<std::string> operatingSystemName() override;
    Result<double> bootTime() override;
    Result<std::uint64_t> pageSize() override;
    Result<std::uint64_t> ticksPerSecond() override;
    Result<std::string> modelName() override;
    Result<std::uint32_t> logicalProcessorCount() override;
    Result<std::uint32_t> physicalProcessorCount() override;
    Result<std::string> userName(std::uint32_t user) override;
    Result<std::vector<std::string>> preferredLanguages() override;

private:
    SourceHealth& operatingSystemVersion_;
    SourceHealth& operatingSystemName_;
    SourceHealth& bootTime_;
    SourceHealth& pageSize_;
    SourceHealth& ticksPerSecond_;
    SourceHealth& modelName_;
    SourceHealth& logicalProcessorCount_;
    SourceHealth& physicalProcessorCount_;
    SourceHealth& users_;
    SourceHealth& preferredLanguages_;
};

}  // namespace hvk
