#include "HVKPlatform/linux/Registry.h"

#include <cstring>
#include <string>

namespace hvk {

namespace {

/// A 32-bit number as the four bytes of a data property.
Value dataOf(std::uint32_t number) {
    Value::binary_t bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    return bytes;
}

/// A text as a data property: its bytes and a trailing zero.
Value dataOf(const char* text) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(text);
    return Value::binary_t(std::vector<std::uint8_t>(first, first + std::strlen(text) + 1));
}

Value propertiesOf(const ProcessorPlace& place) {
    Value properties = {
        {"IOName", "cpu" + std::to_string(place.processor)},
        {"cluster-type", dataOf(place.cluster == ProcessorCluster::Efficiency ? "E" : "P")},
        {"logical-cpu-id", dataOf(place.processor)},
    };
    if (place.clusterId) properties["die-cluster-id"] = dataOf(*place.clusterId);
    return properties;
}

}  // namespace

LinuxRegistryPort::LinuxRegistryPort(const Topology& topology) {
    const Node platform = add(root(), {"LinuxPlatform", {"IOPlatformExpertDevice", "IOService"}, "", {}, {}});
    if (!topology.isHybrid) return;
    for (const ProcessorPlace& place : topology.places) {
        Description description;
        description.name = "cpu" + std::to_string(place.processor);
        description.classes = {"IOPlatformDevice", "IOService"};
        description.location = std::to_string(place.processor);
        description.properties = [place]() -> Result<Value> { return propertiesOf(place); };
        add(platform, std::move(description));
    }
}

}  // namespace hvk
