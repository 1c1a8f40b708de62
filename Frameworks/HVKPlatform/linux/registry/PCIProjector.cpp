#include "HVKPlatform/linux/registry/PCIProjector.h"

#include <cstdio>

namespace hvk {

namespace {

Result<Value> nameOf(const SysfsDevice& device) {
    const auto vendor = device.hexadecimal("vendor");
    if (!vendor) return vendor.failure();
    const auto product = device.hexadecimal("device");
    if (!product) return product.failure();
    char name[32];
    std::snprintf(name, sizeof name, "pci%x,%x", vendor->get<unsigned>(), product->get<unsigned>());
    return Value(name);
}

}  // namespace

PCIProjector::PCIProjector()
    : properties_{
          {"IOName", nameOf},
          {"class-code", [](const SysfsDevice& device) { return device.data("class"); }},
          {"revision-id", [](const SysfsDevice& device) { return device.data("revision"); }},
          {"subsystem-vendor-id", [](const SysfsDevice& device) { return device.data("subsystem_vendor"); }},
          {"subsystem-id", [](const SysfsDevice& device) { return device.data("subsystem_device"); }},
      } {}

bool PCIProjector::serves(const std::string& subsystem) const { return subsystem == "pci"; }

bool PCIProjector::mayYield(const std::string&, const std::string& className) const {
    return className == "IOPCIDevice";
}

std::optional<Projection> PCIProjector::project(const SysfsDevice&) const {
    Projection projection;
    projection.classes = {"IOPCIDevice", "IOService"};
    projection.properties = &properties_;
    return projection;
}

}  // namespace hvk
