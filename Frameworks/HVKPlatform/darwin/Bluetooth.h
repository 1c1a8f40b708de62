// Bluetooth.h - the authorisation that macOS keeps for this process.
#pragma once

#include "HVKPlatform/ports/Bluetooth.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// BluetoothPort of macOS. CoreBluetooth is opened at the first question and stays open: a process that never asks
/// never loads it. Asking shows no dialog.
class DarwinBluetoothPort : public BluetoothPort {
public:
    explicit DarwinBluetoothPort(Diagnostics& diagnostics);

    Result<BluetoothAuthorization> authorization() override;

private:
    SourceHealth& health_;
};

}  // namespace hvk
