#include "HVKPlatform/darwin/decode/Bluetooth.h"

namespace hvk::decode {

Result<BluetoothAuthorization> decodeBluetoothAuthorization(std::int64_t number) {
    if (number < 0 || number > static_cast<std::int64_t>(BluetoothAuthorization::AllowedAlways))
        return Failure{FailureKind::Malformed, "CBManager.authorization",
                       "unknown authorisation " + std::to_string(number)};
    return static_cast<BluetoothAuthorization>(number);
}

}  // namespace hvk::decode
