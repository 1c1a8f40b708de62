// Load.h - the load averages of the Mach kernel.
#pragma once

#include "HVKPlatform/darwin/SystemControl.h"
#include "HVKPlatform/ports/Load.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// LoadPort of macOS.
class DarwinLoadPort : public LoadPort {
public:
    explicit DarwinLoadPort(Diagnostics& diagnostics);

    Result<LoadAverages> loadAverages() override;

private:
    SystemControl averages_;
    SourceHealth& health_;
};

}  // namespace hvk
