// HardwareEvents.h - what a recorded machine tells of its own accord.
//
// A frame's "events" happen when the frame comes; services come and go with the frame's "registry". Blocks run on the
// main queue, as on a real machine.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <variant>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/HardwareEvents.h"
#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"
#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// Something that happens to a disk.
struct RecordedDiskEvent {
    DiskEvent event = DiskEvent::Appeared;
    Value description = Value::object();
};

/// Configuration keys that change together.
struct RecordedConfigurationEvent {
    std::vector<std::string> keys;
};

/// The power sources change.
struct RecordedPowerSourceEvent {};

/// A message of the system power service.
struct RecordedSystemPowerEvent {
    std::uint32_t message = 0;
    std::int64_t argument = 0;
};

using RecordedEvent = std::variant<RecordedDiskEvent, RecordedConfigurationEvent, RecordedPowerSourceEvent,
                                   RecordedSystemPowerEvent, DeviceEvent>;

/// What the port answers, and what happens at once.
struct HardwareEventAnswers {
    Result<std::vector<InterfaceAddress>> interfaceAddresses = undescribed("interfaceAddresses");
    std::vector<RecordedEvent> events;
};

/// Reads "interfaceAddresses"; what it does not name stays. Throws RecordingFault.
void readInterfaceAddresses(const RecordingField& field, HardwareEventAnswers& answers);

/// Reads the "events" of a frame. Throws RecordingFault.
void readEvents(const RecordingField& field, HardwareEventAnswers& answers);

/// The port. Every source can be watched. Thread: the one that advances the machine.
class HVK_EXPORT RecordedHardwareEvents : public RecordedPort<HardwareEventsPort, HardwareEventAnswers> {
public:
    RecordedHardwareEvents(TreeRegistry& tree, Queue& main, Diagnostics& diagnostics);

    /// Answers from now on, and lets the events among them happen.
    void setAnswers(HardwareEventAnswers answers);

    /// Tells those who watch services of what came and went in the tree since the last look.
    void lookAtServices();

    /// The arguments of the power changes that were allowed, in order.
    const std::vector<std::int64_t>& allowedPowerChanges() const { return allowed_; }

    Result<RegistryHandle> watchServices(ServiceEvent event, const RegistryMatch& match,
                                         std::function<void(RegistryHandle)> block) override;
    Status watchDisks(std::function<void(DiskEvent, const Value&)> block) override;
    /// Keys that neither are among `keys` nor match a pattern are not told.
    Status watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                              const std::vector<std::string>& patterns,
                              std::function<void(const std::vector<std::string>&)> block) override;
    Status watchPowerSources(std::function<void()> block) override;
    Status watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) override;
    void allowPowerChange(std::int64_t argument) override { allowed_.push_back(argument); }
    Status watchBluetooth(const std::vector<std::string>& transports, std::function<void(DeviceEvent)> block) override;
    Result<std::vector<InterfaceAddress>> interfaceAddresses() override;

private:
    struct ServiceWatch {
        ServiceEvent event;
        RegistryMatch match;
        std::function<void(RegistryHandle)> block;
        RegistryHandle iterator = 0;
        std::vector<TreeRegistry::Node> present;
        std::vector<TreeRegistry::Node> pending;  ///< news that wait until the watch is armed
    };

    void happen(const RecordedEvent& event);

    TreeRegistry& tree_;
    Queue& main_;
    SourceHealth& addresses_;
    std::vector<std::shared_ptr<ServiceWatch>> services_;
    std::vector<std::function<void(DiskEvent, const Value&)>> disks_;
    std::vector<std::function<void(const std::vector<std::string>&)>> configuration_;
    std::vector<std::function<void()>> powerSources_;
    std::vector<std::function<void(std::uint32_t, std::int64_t)>> systemPower_;
    std::vector<std::function<void(DeviceEvent)>> devices_;
    std::vector<std::int64_t> allowed_;
};

}  // namespace hvk
