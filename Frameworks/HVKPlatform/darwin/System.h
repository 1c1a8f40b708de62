// System.h - the constants of a Mac.
#pragma once

#include "HVKPlatform/darwin/HostPort.h"
#include "HVKPlatform/darwin/SystemControl.h"
#include "HVKPlatform/ports/System.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// SystemPort of macOS.
class DarwinSystemPort : public SystemPort {
public:
    DarwinSystemPort(const HostPort& host, Diagnostics& diagnostics);

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
    const HostPort& host_;
    SystemControl bootTime_;
    SystemControl model_;
    SystemControl logical_;
    SystemControl physical_;
    SourceHealth& versionHealth_;
    SourceHealth& bootTimeHealth_;
    SourceHealth& pageSizeHealth_;
    SourceHealth& modelHealth_;
    SourceHealth& logicalHealth_;
    SourceHealth& physicalHealth_;
    SourceHealth& usersHealth_;
    SourceHealth& languagesHealth_;
};

}  // namespace hvk
