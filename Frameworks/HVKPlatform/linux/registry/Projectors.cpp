#include "HVKPlatform/linux/registry/Projectors.h"

#include "HVKPlatform/linux/parse/SysfsText.h"
#include "HVKPlatform/linux/registry/BlockProjector.h"
#include "HVKPlatform/linux/registry/GenericProjector.h"
#include "HVKPlatform/linux/registry/NetworkProjector.h"
#include "HVKPlatform/linux/registry/PCIProjector.h"
#include "HVKPlatform/linux/registry/USBProjector.h"

namespace hvk {

namespace {

Result<Value> subsystemOf(const SysfsDevice& device) {
    if (device.subsystem().empty()) return Failure{FailureKind::Absent, device.path(), "it belongs to no subsystem"};
    return Value(parse::readableText(device.subsystem()));
}

Result<Value> pathOf(const SysfsDevice& device) { return Value(parse::readableText(device.path())); }

}  // namespace

std::vector<std::unique_ptr<const RegistryProjector>> registryProjectors(const LinuxRoot& root, Diagnostics& diagnostics) {
    std::vector<std::unique_ptr<const RegistryProjector>> projectors;
    projectors.push_back(std::make_unique<BlockProjector>());
    projectors.push_back(std::make_unique<NetworkProjector>());
    projectors.push_back(std::make_unique<PCIProjector>(root, diagnostics));
    projectors.push_back(std::make_unique<USBProjector>());
    projectors.push_back(std::make_unique<GenericProjector>());
    return projectors;
}

const RegistryProperties& genericDeviceProperties() {
    static const RegistryProperties properties = {
        {"Subsystem", subsystemOf},
        {"Driver", [](const SysfsDevice& device) { return device.link("driver"); }},
        {"modalias", [](const SysfsDevice& device) { return device.text("modalias"); }},
        {"vendor-id", [](const SysfsDevice& device) { return device.data("vendor"); }},
        {"device-id", [](const SysfsDevice& device) { return device.data("device"); }},
        {"Runtime Status", [](const SysfsDevice& device) { return device.text("power/runtime_status"); }},
        {"sysfs-path", pathOf},
    };
    return properties;
}

const RegistryProperties& genericSyntheticProperties() {
    static const RegistryProperties properties = {{"sysfs-path", pathOf}};
    return properties;
}

}  // namespace hvk
