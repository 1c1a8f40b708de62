// BluetoothDevices.h - bluetooth devices and their batteries.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Bluetooth devices and their batteries. Thread: the main thread.
class HVK_EXPORT BluetoothDevicesPort {
public:
    virtual ~BluetoothDevicesPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedBluetoothDevicesPort : public BluetoothDevicesPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingBluetoothDevicesPort : public BluetoothDevicesPort {
public:
    explicit ForwardingBluetoothDevicesPort(BluetoothDevicesPort& target) : target_(target) {}

protected:
    BluetoothDevicesPort& target_;
};

}  // namespace hvk
