// Bluetooth.h - the permission to use Bluetooth on Linux: nobody is asked, the bus daemon decides call by call.
#pragma once

#include "HVKPlatform/ports/Bluetooth.h"

namespace hvk {

/// Always allowed.
class LinuxBluetoothPort : public BluetoothPort {
public:
    Result<BluetoothAuthorization> authorization() override { return BluetoothAuthorization::AllowedAlways; }
};

}  // namespace hvk
