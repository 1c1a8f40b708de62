// NetworkInterfaces.h - network interfaces: counters, addresses, link state.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Network interfaces: counters, addresses, link state. Thread: the main thread.
class HVK_EXPORT NetworkInterfacesPort {
public:
    virtual ~NetworkInterfacesPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedNetworkInterfacesPort : public NetworkInterfacesPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingNetworkInterfacesPort : public NetworkInterfacesPort {
public:
    explicit ForwardingNetworkInterfacesPort(NetworkInterfacesPort& target) : target_(target) {}

protected:
    NetworkInterfacesPort& target_;
};

}  // namespace hvk
