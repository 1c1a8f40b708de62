// BluetoothConnections.h - tells when a Bluetooth device connects: IOBluetooth, opened at run time.
#pragma once

#include <functional>
#include <memory>

#include "HVKPlatform/Result.h"

namespace hvk {

/// Watches until what it answers is destroyed; the block is called on the main thread. Unsupported when the system has
/// no IOBluetooth, Absent when it takes no observer. Thread: the main thread.
Result<std::shared_ptr<void>> watchBluetoothConnections(std::function<void()> connected);

}  // namespace hvk
