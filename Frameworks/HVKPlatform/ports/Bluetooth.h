// Bluetooth.h - whether this process may use Bluetooth.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The class-wide authorisation of the Bluetooth central manager, with the platform's own numbers.
enum class BluetoothAuthorization { NotDetermined = 0, Restricted = 1, Denied = 2, AllowedAlways = 3 };

/// Bluetooth. Thread: the main thread.
class HVK_EXPORT BluetoothPort {
public:
    virtual ~BluetoothPort() = default;

    /// CBManager.authorization. Linux asks nobody, the bus daemon decides call by call: always `AllowedAlways`.
    virtual Result<BluetoothAuthorization> authorization() = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedBluetoothPort : public BluetoothPort {
public:
    Result<BluetoothAuthorization> authorization() override { return unsupported("Bluetooth authorisation"); }
};

/// Hands the question on; a test overrides it.
class HVK_EXPORT ForwardingBluetoothPort : public BluetoothPort {
public:
    explicit ForwardingBluetoothPort(BluetoothPort& target) : target_(target) {}
    Result<BluetoothAuthorization> authorization() override { return target_.authorization(); }

protected:
    BluetoothPort& target_;
};

}  // namespace hvk
