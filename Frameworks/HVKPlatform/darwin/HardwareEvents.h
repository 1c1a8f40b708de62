// HardwareEvents.h - what macOS tells of its own accord: IOKit, DiskArbitration, the configuration store, power.
//
// Every source is one of the run loop of the thread that starts the watch, which is the main thread; its blocks are
// called there, as the main queue's work is. The watches end with this object.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "HVKPlatform/ports/HardwareEvents.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// HardwareEventsPort of macOS.
class DarwinHardwareEventsPort : public HardwareEventsPort {
public:
    explicit DarwinHardwareEventsPort(Diagnostics& diagnostics);
    ~DarwinHardwareEventsPort() override;

    /// In the common modes: a menu that is open holds no event back. The watch ends when its iterator is given back.
    Result<RegistryHandle> watchServices(ServiceEvent event, const RegistryMatch& match,
                                         std::function<void(RegistryHandle)> block) override;
    /// Every mount and unmount is approved.
    Status watchDisks(std::function<void(DiskEvent, const Value&)> block) override;
    /// The session is named after the main bundle, or `name` where that has no identifier.
    Status watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                              const std::vector<std::string>& patterns,
                              std::function<void(const std::vector<std::string>&)> block) override;
    Status watchPowerSources(std::function<void()> block) override;
    Status watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) override;
    void allowPowerChange(std::int64_t argument) override;
    /// IOBluetooth is opened at run time; without it input devices are watched alone.
    Status watchBluetooth(const std::vector<std::string>& transports, std::function<void(DeviceEvent)> block) override;
    Result<std::vector<InterfaceAddress>> interfaceAddresses() override;

private:
    class ServiceWatch;
    class DiskWatch;
    class ConfigurationWatch;
    class PowerSourceWatch;
    class SystemPowerWatch;
    class InputWatch;

    SourceHealth& services_;
    SourceHealth& disks_;
    SourceHealth& configuration_;
    SourceHealth& power_;
    SourceHealth& devices_;
    SourceHealth& connections_;
    SourceHealth& addresses_;
    std::vector<std::shared_ptr<void>> watches_;
    std::vector<SystemPowerWatch*> powerWatches_;  ///< those among them
};

}  // namespace hvk
