// ServiceWatches.h - who watches which services of the registry, and what they have not been told yet.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "HVKPlatform/linux/Registry.h"
#include "HVKPlatform/ports/HardwareEvents.h"

namespace hvk {

/// The watches. Thread: the main thread.
class ServiceWatches {
public:
    /// The registry must outlive it.
    explicit ServiceWatches(LinuxRegistryPort& registry) : registry_(registry) {}

    /// Adds a watch and gives its iterator over what is there now.
    Result<RegistryHandle> add(ServiceEvent event, const RegistryMatch& match,
                               std::function<void(RegistryHandle)> block);

    /// Looks at the registry and tells those whose watch is armed of what came or went since they were told. A watch
    /// whose iterator was given back ends.
    void look();

    std::size_t count() const { return watches_.size(); }

private:
    struct Watch {
        ServiceEvent event;
        RegistryMatch match;
        std::function<void(RegistryHandle)> block;
        RegistryHandle iterator = 0;
        std::vector<RegistryEntryPointer> present;
    };

    LinuxRegistryPort& registry_;
    std::vector<std::shared_ptr<Watch>> watches_;
};

}  // namespace hvk
