// ConfigurationStore.h - network configuration by keys and values.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Network configuration by keys and values. Thread: the main thread.
class HVK_EXPORT ConfigurationStorePort {
public:
    virtual ~ConfigurationStorePort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedConfigurationStorePort : public ConfigurationStorePort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingConfigurationStorePort : public ConfigurationStorePort {
public:
    explicit ForwardingConfigurationStorePort(ConfigurationStorePort& target) : target_(target) {}

protected:
    ConfigurationStorePort& target_;
};

}  // namespace hvk
