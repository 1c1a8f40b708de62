#include "HVKPlatform/darwin/HardwareEvents.h"

#include <DiskArbitration/DiskArbitration.h>
#include <Foundation/Foundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDManager.h>
#include <IOKit/ps/IOPowerSources.h>
#include <IOKit/pwr_mgt/IOPMLib.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include <optional>
#include <utility>

#include "HVKPlatform/darwin/BluetoothConnections.h"
#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/DiskDescription.h"
#include "HVKPlatform/darwin/InterfaceList.h"
#include "HVKPlatform/darwin/MatchingDictionary.h"
#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/PropertyValue.h"
#include "HVKPlatform/darwin/RunLoopSource.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

/// Null stands for the main port; its named constant changed its name with macOS 12.
constexpr mach_port_t MainPort = MACH_PORT_NULL;

const char* notificationOf(ServiceEvent event) {
    switch (event) {
        case ServiceEvent::Publish: return kIOPublishNotification;
        case ServiceEvent::Matched: return kIOMatchedNotification;
        case ServiceEvent::Terminate: return kIOTerminatedNotification;
    }
    return "";
}

CFOwned<CFArrayRef> arrayOf(const std::vector<std::string>& texts) {
    return CFOwned<CFArrayRef>(static_cast<CFArrayRef>(propertyOfValue(Value(texts)).take()));
}

Failure refused(const char* call) { return {FailureKind::Absent, call, "the system gives none"}; }

}  // namespace

/// One matching notification. The iterator is the caller's.
class DarwinHardwareEventsPort::ServiceWatch {
public:
    explicit ServiceWatch(std::function<void(RegistryHandle)> block)
        : block_(std::move(block)), port_(IONotificationPortCreate(MainPort)) {
        if (port_ != nullptr)
            source_.emplace(retained(IONotificationPortGetRunLoopSource(port_)), kCFRunLoopCommonModes);
    }
    ~ServiceWatch() {
        source_.reset();
        if (port_ != nullptr) IONotificationPortDestroy(port_);
    }
    ServiceWatch(const ServiceWatch&) = delete;
    ServiceWatch& operator=(const ServiceWatch&) = delete;

    Result<RegistryHandle> add(ServiceEvent event, const RegistryMatch& match) {
        auto dictionary = matchingDictionary(match);
        if (!dictionary)
            return Failure{FailureKind::Malformed, "IOServiceAddMatchingNotification", "the matching cannot be asked"};
        if (port_ == nullptr) return refused("IONotificationPortCreate");
        io_iterator_t iterator = 0;
        countSystemCalls();
        const kern_return_t code = IOServiceAddMatchingNotification(
            port_, notificationOf(event), dictionary.take(),
            [](void* self, io_iterator_t changed) {
                @autoreleasepool {
                    static_cast<ServiceWatch*>(self)->block_(changed);
                }
            },
            this, &iterator);
        if (code != KERN_SUCCESS)
            return decode::kernelFailure("IOServiceAddMatchingNotification", static_cast<std::uint32_t>(code));
        return static_cast<RegistryHandle>(iterator);
    }

private:
    std::function<void(RegistryHandle)> block_;
    IONotificationPortRef port_;
    std::optional<RunLoopSource> source_;
};

/// The two sessions of disk arbitration: what happens to disks, and what is asked before it happens.
class DarwinHardwareEventsPort::DiskWatch {
public:
    explicit DiskWatch(std::function<void(DiskEvent, const Value&)> block)
        : block_(std::move(block)),
          session_(DASessionCreate(kCFAllocatorDefault)),
          approval_(DAApprovalSessionCreate(kCFAllocatorDefault)),
          loop_(CFRunLoopGetCurrent()) {
        if (!works()) return;
        DARegisterDiskMountApprovalCallback(approval_.get(), nullptr, tellApproval<DiskEvent::MountApproval>, this);
        DARegisterDiskUnmountApprovalCallback(approval_.get(), nullptr, tellApproval<DiskEvent::UnmountApproval>, this);
        DARegisterDiskDescriptionChangedCallback(session_.get(), nullptr, nullptr, tellChange, this);
        DARegisterDiskAppearedCallback(session_.get(), nullptr, tell<DiskEvent::Appeared>, this);
        DARegisterDiskDisappearedCallback(session_.get(), nullptr, tell<DiskEvent::Disappeared>, this);
        DASessionScheduleWithRunLoop(session_.get(), loop_, kCFRunLoopCommonModes);
        DAApprovalSessionScheduleWithRunLoop(approval_.get(), loop_, kCFRunLoopDefaultMode);
    }
    ~DiskWatch() {
        if (!works()) return;
        DASessionUnscheduleFromRunLoop(session_.get(), loop_, kCFRunLoopCommonModes);
        DAApprovalSessionUnscheduleFromRunLoop(approval_.get(), loop_, kCFRunLoopDefaultMode);
    }
    DiskWatch(const DiskWatch&) = delete;
    DiskWatch& operator=(const DiskWatch&) = delete;

    bool works() const { return session_ && approval_; }

private:
    void tellOf(DiskEvent event, DADiskRef disk) {
        @autoreleasepool {
            const CFOwned<CFDictionaryRef> description(DADiskCopyDescription(disk));
            block_(event, describeDisk(description.get()));
        }
    }
    template <DiskEvent Event>
    static void tell(DADiskRef disk, void* self) {
        static_cast<DiskWatch*>(self)->tellOf(Event, disk);
    }
    static void tellChange(DADiskRef disk, CFArrayRef, void* self) {
        static_cast<DiskWatch*>(self)->tellOf(DiskEvent::DescriptionChanged, disk);
    }
    template <DiskEvent Event>
    static DADissenterRef tellApproval(DADiskRef disk, void* self) {
        static_cast<DiskWatch*>(self)->tellOf(Event, disk);
        return nullptr;
    }

    std::function<void(DiskEvent, const Value&)> block_;
    CFOwned<DASessionRef> session_;
    CFOwned<DAApprovalSessionRef> approval_;
    CFRunLoopRef loop_;
};

/// A session of the configuration store.
class DarwinHardwareEventsPort::ConfigurationWatch {
public:
    explicit ConfigurationWatch(std::function<void(const std::vector<std::string>&)> block)
        : block_(std::move(block)) {}

    Status start(const std::string& name, const std::vector<std::string>& keys,
                 const std::vector<std::string>& patterns) {
        const CFStringRef identifier = CFBundleGetIdentifier(CFBundleGetMainBundle());
        const auto given = stringOfText(name);
        const auto watchedKeys = arrayOf(keys);
        const auto watchedPatterns = arrayOf(patterns);
        if (!given || !watchedKeys || !watchedPatterns)
            return Failure{FailureKind::Malformed, "SCDynamicStoreSetNotificationKeys", "a key is no text"};
        SCDynamicStoreContext context{};
        context.info = this;
        store_ = CFOwned<SCDynamicStoreRef>(SCDynamicStoreCreate(
            kCFAllocatorDefault, identifier != nullptr ? identifier : given.get(), tell, &context));
        if (!store_) return failure("SCDynamicStoreCreate");
        if (!SCDynamicStoreSetNotificationKeys(store_.get(), watchedKeys.get(), watchedPatterns.get()))
            return failure("SCDynamicStoreSetNotificationKeys");
        source_.emplace(
            CFOwned<CFRunLoopSourceRef>(SCDynamicStoreCreateRunLoopSource(kCFAllocatorDefault, store_.get(), 0)),
            kCFRunLoopCommonModes);
        if (!*source_) return failure("SCDynamicStoreCreateRunLoopSource");
        return {};
    }

private:
    static Failure failure(const char* call) { return {FailureKind::Absent, call, SCErrorString(SCError())}; }

    static void tell(SCDynamicStoreRef, CFArrayRef changed, void* self) {
        @autoreleasepool {
            std::vector<std::string> keys;
            for (const Value& key : valueOfProperty(changed))
                if (key.is_string()) keys.push_back(key.get<std::string>());
            static_cast<ConfigurationWatch*>(self)->block_(keys);
        }
    }

    std::function<void(const std::vector<std::string>&)> block_;
    CFOwned<SCDynamicStoreRef> store_;
    std::optional<RunLoopSource> source_;
};

/// The notification of the power sources.
class DarwinHardwareEventsPort::PowerSourceWatch {
public:
    explicit PowerSourceWatch(std::function<void()> block)
        : block_(std::move(block)),
          source_(CFOwned<CFRunLoopSourceRef>(IOPSNotificationCreateRunLoopSource(
                      [](void* self) {
                          @autoreleasepool {
                              static_cast<PowerSourceWatch*>(self)->block_();
                          }
                      },
                      this)),
                  kCFRunLoopDefaultMode) {}

    bool works() const { return static_cast<bool>(source_); }

private:
    std::function<void()> block_;
    RunLoopSource source_;
};

/// The notifications of sleep and waking.
class DarwinHardwareEventsPort::SystemPowerWatch {
public:
    explicit SystemPowerWatch(std::function<void(std::uint32_t, std::int64_t)> block) : block_(std::move(block)) {
        countSystemCalls();
        root_ = IORegisterForSystemPower(
            this, &port_,
            [](void* self, io_service_t, natural_t message, void* argument) {
                @autoreleasepool {
                    static_cast<SystemPowerWatch*>(self)->block_(message, reinterpret_cast<std::intptr_t>(argument));
                }
            },
            &notifier_);
        if (works()) source_.emplace(retained(IONotificationPortGetRunLoopSource(port_)), kCFRunLoopDefaultMode);
    }
    ~SystemPowerWatch() {
        if (!works()) return;
        source_.reset();
        IODeregisterForSystemPower(&notifier_);
        IOServiceClose(root_);
        IONotificationPortDestroy(port_);
    }
    SystemPowerWatch(const SystemPowerWatch&) = delete;
    SystemPowerWatch& operator=(const SystemPowerWatch&) = delete;

    bool works() const { return root_ != MACH_PORT_NULL; }

    void allow(std::int64_t argument) {
        countSystemCalls();
        IOAllowPowerChange(root_, static_cast<intptr_t>(argument));
    }

private:
    std::function<void(std::uint32_t, std::int64_t)> block_;
    io_connect_t root_ = MACH_PORT_NULL;
    IONotificationPortRef port_ = nullptr;
    io_object_t notifier_ = 0;
    std::optional<RunLoopSource> source_;
};

/// The manager of input devices. It is not opened: who comes and goes is told without, and nobody's keys are read.
class DarwinHardwareEventsPort::InputWatch {
public:
    InputWatch(const std::vector<std::string>& transports, std::function<void(DeviceEvent)> block)
        : block_(std::move(block)),
          manager_(IOHIDManagerCreate(kCFAllocatorDefault, kIOHIDOptionsTypeNone)),
          loop_(CFRunLoopGetCurrent()) {
        Value matches = Value::array();
        for (const std::string& transport : transports) matches.push_back({{kIOHIDTransportKey, transport}});
        const auto matching = propertyOfValue(matches);
        if (!manager_ || !matching) return;
        IOHIDManagerSetDeviceMatchingMultiple(manager_.get(), static_cast<CFArrayRef>(matching.get()));
        IOHIDManagerRegisterDeviceMatchingCallback(manager_.get(), tell<DeviceEvent::Matched>, this);
        IOHIDManagerRegisterDeviceRemovalCallback(manager_.get(), tell<DeviceEvent::Removed>, this);
        IOHIDManagerScheduleWithRunLoop(manager_.get(), loop_, kCFRunLoopDefaultMode);
    }
    ~InputWatch() {
        if (!manager_) return;
        IOHIDManagerRegisterDeviceMatchingCallback(manager_.get(), nullptr, nullptr);
        IOHIDManagerRegisterDeviceRemovalCallback(manager_.get(), nullptr, nullptr);
        IOHIDManagerUnscheduleFromRunLoop(manager_.get(), loop_, kCFRunLoopDefaultMode);
    }
    InputWatch(const InputWatch&) = delete;
    InputWatch& operator=(const InputWatch&) = delete;

    bool works() const { return static_cast<bool>(manager_); }

private:
    template <DeviceEvent Event>
    static void tell(void* self, IOReturn, void*, IOHIDDeviceRef) {
        @autoreleasepool {
            static_cast<InputWatch*>(self)->block_(Event);
        }
    }

    std::function<void(DeviceEvent)> block_;
    CFOwned<IOHIDManagerRef> manager_;
    CFRunLoopRef loop_;
};

DarwinHardwareEventsPort::DarwinHardwareEventsPort(Diagnostics& diagnostics)
    : services_(diagnostics.source("IOServiceAddMatchingNotification", "services that come and go")),
      disks_(diagnostics.source("DiskArbitration", "disks and volumes that come and go")),
      configuration_(diagnostics.source("SCDynamicStore notifications", "changes of the network")),
      power_(diagnostics.source("power notifications", "power sources, sleep and waking")),
      devices_(diagnostics.source("IOHIDManager", "input devices that come and go")),
      connections_(diagnostics.source("IOBluetooth notifications", "Bluetooth devices that connect",
                                      "allow Bluetooth for this program in the privacy settings")),
      addresses_(diagnostics.source("getifaddrs", "addresses of the interfaces")) {}

DarwinHardwareEventsPort::~DarwinHardwareEventsPort() = default;

Result<RegistryHandle> DarwinHardwareEventsPort::watchServices(ServiceEvent event, const RegistryMatch& match,
                                                               std::function<void(RegistryHandle)> block) {
    auto watch = std::make_shared<ServiceWatch>(std::move(block));
    auto iterator = noted(services_, watch->add(event, match));
    if (iterator) watches_.push_back(std::move(watch));
    return iterator;
}

Status DarwinHardwareEventsPort::watchDisks(std::function<void(DiskEvent, const Value&)> block) {
    auto watch = std::make_shared<DiskWatch>(std::move(block));
    if (!watch->works()) return disks_.failed(refused("DASessionCreate"));
    watches_.push_back(std::move(watch));
    disks_.works();
    return {};
}

Status DarwinHardwareEventsPort::watchConfiguration(const std::string& name, const std::vector<std::string>& keys,
                                                    const std::vector<std::string>& patterns,
                                                    std::function<void(const std::vector<std::string>&)> block) {
    auto watch = std::make_shared<ConfigurationWatch>(std::move(block));
    if (Status status = watch->start(name, keys, patterns); !status) return configuration_.failed(status.failure());
    watches_.push_back(std::move(watch));
    configuration_.works();
    return {};
}

Status DarwinHardwareEventsPort::watchPowerSources(std::function<void()> block) {
    auto watch = std::make_shared<PowerSourceWatch>(std::move(block));
    if (!watch->works()) return power_.failed(refused("IOPSNotificationCreateRunLoopSource"));
    watches_.push_back(std::move(watch));
    power_.works();
    return {};
}

Status DarwinHardwareEventsPort::watchSystemPower(std::function<void(std::uint32_t, std::int64_t)> block) {
    auto watch = std::make_shared<SystemPowerWatch>(std::move(block));
    if (!watch->works()) return power_.failed(refused("IORegisterForSystemPower"));
    powerWatches_.push_back(watch.get());
    watches_.push_back(std::move(watch));
    power_.works();
    return {};
}

void DarwinHardwareEventsPort::allowPowerChange(std::int64_t argument) {
    // The argument is that of one of the registrations; the others know nothing of it.
    for (SystemPowerWatch* watch : powerWatches_) watch->allow(argument);
}

Status DarwinHardwareEventsPort::watchBluetooth(const std::vector<std::string>& transports,
                                                std::function<void(DeviceEvent)> block) {
    auto watch = std::make_shared<InputWatch>(transports, block);
    if (!watch->works()) return devices_.failed(refused("IOHIDManagerCreate"));
    watches_.push_back(std::move(watch));
    devices_.works();
    auto connections = watchBluetoothConnections([block = std::move(block)] { block(DeviceEvent::Connected); });
    if (!connections) {
        (void)connections_.failed(connections.failure());
    } else {
        watches_.push_back(std::move(*connections));
        connections_.works();
    }
    return {};
}

Result<std::vector<InterfaceAddress>> DarwinHardwareEventsPort::interfaceAddresses() {
    return noted(addresses_, listInterfaceAddresses());
}

}  // namespace hvk
