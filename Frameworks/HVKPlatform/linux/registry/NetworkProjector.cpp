#include "HVKPlatform/linux/registry/NetworkProjector.h"

#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk {

namespace {

Result<Value> hardwareAddress(const SysfsDevice& device) {
    const auto text = device.text("address");
    if (!text) return text.failure();
    const std::string bytes = parse::hardwareAddress(text->get_ref<const std::string&>());
    if (bytes.empty()) return Failure{FailureKind::Malformed, device.file("address"), "it is no hardware address"};
    return registryData(bytes);
}

}  // namespace

NetworkProjector::NetworkProjector()
    : properties_{
          {"BSD Name", [](const SysfsDevice& device) -> Result<Value> { return Value(device.nodeName()); }},
          {"IOMACAddress", hardwareAddress},
          {"IOMaxTransferUnit", [](const SysfsDevice& device) { return device.number("mtu"); }},
      } {}

bool NetworkProjector::serves(const std::string& subsystem) const { return subsystem == "net"; }

bool NetworkProjector::mayYield(const std::string&, const std::string& className) const {
    return className == "IONetworkInterface";
}

std::optional<Projection> NetworkProjector::project(const SysfsDevice&) const {
    Projection projection;
    projection.classes = {"IONetworkInterface", "IOService"};
    projection.properties = &properties_;
    return projection;
}

}  // namespace hvk
