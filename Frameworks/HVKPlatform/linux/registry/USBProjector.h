// USBProjector.h - devices of the USB bus and their interfaces.
#pragma once

#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// A device is an "IOUSBHostDevice" with "idVendor", "idProduct", "bcdDevice", "bDeviceClass", "USB Product Name",
/// "USB Vendor Name", "USB Serial Number" and "USB Address"; an interface of it an "IOUSBHostInterface" with
/// "bInterfaceNumber", "bInterfaceClass", "bInterfaceSubClass" and "bInterfaceProtocol". The kernel keeps the
/// descriptors that they come from: a suspended device is not woken.
class USBProjector : public RegistryProjector {
public:
    USBProjector();
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    std::optional<Projection> project(const SysfsDevice& device) const override;

private:
    RegistryProperties device_;
    RegistryProperties interface_;
};

}  // namespace hvk
