// Bluetooth.h - the Bluetooth permission of a recorded machine.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Bluetooth.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct BluetoothAnswers {
    Result<BluetoothAuthorization> authorization = undescribed("bluetooth.authorization");
};

/// Reads a section "bluetooth"; what it does not name stays. Throws RecordingFault.
void readBluetooth(const RecordingField& section, BluetoothAnswers& answers);

/// The port.
class HVK_EXPORT RecordedBluetooth : public RecordedPort<BluetoothPort, BluetoothAnswers> {
public:
    explicit RecordedBluetooth(Diagnostics& diagnostics);
    Result<BluetoothAuthorization> authorization() override;

private:
    SourceHealth& authorization_;
};

}  // namespace hvk
