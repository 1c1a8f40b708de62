#include "HVKPlatform/linux/registry/ProcessorEntries.h"

#include <string>
#include <string_view>
#include <utility>

#include "HVKPlatform/linux/registry/SysfsDevice.h"

namespace hvk {

namespace {

Value propertiesOf(const ProcessorPlace& place) {
    // A text in data ends with a zero byte.
    const std::string_view cluster(place.cluster == ProcessorCluster::Efficiency ? "E\0" : "P\0", 2);
    Value properties = {
        {"IOName", "cpu" + std::to_string(place.processor)},
        {"cluster-type", registryData(cluster)},
        {"logical-cpu-id", registryData(place.processor)},
    };
    if (place.clusterId) properties["die-cluster-id"] = registryData(*place.clusterId);
    return properties;
}

}  // namespace

std::vector<TreeRegistry::Description> processorEntries(const Topology& topology) {
    std::vector<TreeRegistry::Description> entries;
    if (!topology.isHybrid) return entries;
    for (const ProcessorPlace& place : topology.places) {
        TreeRegistry::Description description;
        description.name = "cpu" + std::to_string(place.processor);
        description.classes = {"IOPlatformDevice", "IOService"};
        description.location = std::to_string(place.processor);
        description.properties = [place]() -> Result<Value> { return propertiesOf(place); };
        entries.push_back(std::move(description));
    }
    return entries;
}

}  // namespace hvk
