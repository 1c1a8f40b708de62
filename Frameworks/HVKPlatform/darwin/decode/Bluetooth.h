// Bluetooth.h - decodes the central manager's authorisation.
#pragma once

#include <cstdint>

#include "HVKPlatform/ports/Bluetooth.h"

namespace hvk::decode {

/// A CBManagerAuthorization, 0 to 3; any other number is Malformed.
Result<BluetoothAuthorization> decodeBluetoothAuthorization(std::int64_t number);

}  // namespace hvk::decode
