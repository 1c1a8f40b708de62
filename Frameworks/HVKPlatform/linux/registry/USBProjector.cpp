#include "HVKPlatform/linux/registry/USBProjector.h"

namespace hvk {

namespace {

RegistryProperty text(const char* key, const char* attribute) {
    return {key, [attribute](const SysfsDevice& device) { return device.text(attribute); }};
}

RegistryProperty number(const char* key, const char* attribute) {
    return {key, [attribute](const SysfsDevice& device) { return device.number(attribute); }};
}

RegistryProperty hexadecimal(const char* key) {
    return {key, [key](const SysfsDevice& device) { return device.hexadecimal(key); }};
}

}  // namespace

USBProjector::USBProjector()
    : device_{
          hexadecimal("idVendor"),
          hexadecimal("idProduct"),
          hexadecimal("bcdDevice"),
          hexadecimal("bDeviceClass"),
          text("USB Product Name", "product"),
          text("USB Vendor Name", "manufacturer"),
          text("USB Serial Number", "serial"),
          number("USB Address", "devnum"),
      },
      interface_{
          hexadecimal("bInterfaceNumber"),
          hexadecimal("bInterfaceClass"),
          hexadecimal("bInterfaceSubClass"),
          hexadecimal("bInterfaceProtocol"),
      } {}

bool USBProjector::serves(const std::string& subsystem) const { return subsystem == "usb"; }

bool USBProjector::mayYield(const std::string&, const std::string& className) const {
    return className == "IOUSBHostDevice" || className == "IOUSBHostInterface";
}

std::optional<Projection> USBProjector::project(const SysfsDevice& device) const {
    // The kernel names an interface after its device, configuration and number, "1-2:1.0".
    const bool isInterface = device.kernelName().find(':') != std::string_view::npos;
    Projection projection;
    projection.classes = {isInterface ? "IOUSBHostInterface" : "IOUSBHostDevice", "IOService"};
    projection.properties = isInterface ? &interface_ : &device_;
    return projection;
}

}  // namespace hvk
