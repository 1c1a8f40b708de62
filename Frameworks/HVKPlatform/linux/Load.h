// Load.h - load averages of a Linux machine, from /proc/loadavg.
#pragma once

#include "HVKPlatform/linux/KernelFile.h"
#include "HVKPlatform/ports/Load.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The digits that the kernel prints, as hundredths.
class LinuxLoadPort : public LoadPort {
public:
    LinuxLoadPort(const LinuxRoot& root, Diagnostics& diagnostics);
    Result<LoadAverages> loadAverages() override;

private:
    KernelFile file_;
    SourceHealth& source_;
};

}  // namespace hvk
