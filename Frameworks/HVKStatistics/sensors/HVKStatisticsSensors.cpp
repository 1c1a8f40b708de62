#include "HVKStatistics/sensors/HVKStatisticsSensors.h"

namespace hvk {

HVKStatisticsSensors::HVKStatisticsSensors(Machine& machine)
    : SensorCatalogue(machine), controller_(machine), hid_(machine.hid()), loader_(machine, *this, controller_, hid_) {
    // Why it did not open stands in the diagnostics.
    (void)controller_.open();
}

HVKStatisticsSensors::~HVKStatisticsSensors() = default;

}  // namespace hvk
