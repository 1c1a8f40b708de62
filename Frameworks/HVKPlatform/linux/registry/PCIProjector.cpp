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

PCIProjector::PCIProjector(const LinuxRoot& root, Diagnostics& diagnostics)
    : graphics_(root, diagnostics),
      properties_{
          {"IOName", nameOf},
          {"class-code", [](const SysfsDevice& device) { return device.data("class"); }},
          {"revision-id", [](const SysfsDevice& device) { return device.data("revision"); }},
          {"subsystem-vendor-id", [](const SysfsDevice& device) { return device.data("subsystem_vendor"); }},
          {"subsystem-id", [](const SysfsDevice& device) { return device.data("subsystem_device"); }},
      },
      graphicsProperties_(properties_),
      accelerator_{
          {"PerformanceStatistics", [this](const SysfsDevice& device) { return graphics_.statistics(device); }},
          {"VRAM,totalsize", [this](const SysfsDevice& device) { return graphics_.memorySize(device); }},
      } {
    graphicsProperties_.push_back({"model", [this](const SysfsDevice& device) { return graphics_.model(device); }});
}

bool PCIProjector::serves(const std::string& subsystem) const { return subsystem == "pci"; }

bool PCIProjector::mayYield(const std::string&, const std::string& className) const {
    return className == "IOPCIDevice" || className == "IOAccelerator";
}

std::optional<Projection> PCIProjector::project(const SysfsDevice& device) const {
    Projection projection;
    projection.classes = {"IOPCIDevice", "IOService"};
    projection.properties = &properties_;
    if (!GraphicsDevices::isGraphics(device)) return projection;
    projection.properties = &graphicsProperties_;
    projection.below.push_back({"IOAccelerator", "", {"IOAccelerator", "IOService"}, &accelerator_});
    return projection;
}

}  // namespace hvk
