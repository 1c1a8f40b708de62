#include "HVKPlatform/darwin/HID.h"

#include <IOKit/hidsystem/IOHIDEventSystemClient.h>
#include <IOKit/hidsystem/IOHIDServiceClient.h>
#include <dlfcn.h>

#include <optional>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/PropertyValue.h"

namespace hvk {

namespace {

constexpr const char* Source = "IOHIDEventSystemClient";

using Event = CFTypeRef;

/// What IOKit has without a header.
struct EventFunctions {
    IOHIDEventSystemClientRef (*createClient)(CFAllocatorRef) = nullptr;
    int (*setMatching)(IOHIDEventSystemClientRef, CFDictionaryRef) = nullptr;
    Event (*copyEvent)(IOHIDServiceClientRef, std::int64_t type, std::int32_t options,
                       std::int64_t timestamp) = nullptr;
    double (*floatValue)(Event, std::int32_t field) = nullptr;

    bool isComplete() const {
        return createClient != nullptr && setMatching != nullptr && copyEvent != nullptr && floatValue != nullptr;
    }
};

template <class Function>
void find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

const EventFunctions& eventFunctions() {
    static const EventFunctions functions = [] {
        EventFunctions found;
        find(found.createClient, "IOHIDEventSystemClientCreate");
        find(found.setMatching, "IOHIDEventSystemClientSetMatching");
        find(found.copyEvent, "IOHIDServiceClientCopyEvent");
        find(found.floatValue, "IOHIDEventGetFloatValue");
        return found;
    }();
    return functions;
}

CFOwned<CFDictionaryRef> matchingUsage(std::uint32_t usagePage, std::uint32_t usage) {
    auto match = propertyOfValue({{"PrimaryUsagePage", usagePage}, {"PrimaryUsage", usage}});
    return CFOwned<CFDictionaryRef>(static_cast<CFDictionaryRef>(match.take()));
}

/// The product's name; nothing when the service has none or it is no text.
std::optional<std::string> productOf(IOHIDServiceClientRef service) {
    countSystemCalls();
    const CFOwned<CFTypeRef> product(IOHIDServiceClientCopyProperty(service, CFSTR("Product")));
    if (!product || CFGetTypeID(product.get()) != CFStringGetTypeID()) return std::nullopt;
    return textOfString(static_cast<CFStringRef>(product.get()));
}

std::optional<double> currentValue(IOHIDServiceClientRef service, std::uint32_t eventType) {
    countSystemCalls();
    const CFOwned<Event> event(eventFunctions().copyEvent(service, eventType, 0, 0));
    if (!event) return std::nullopt;
    // A field's number has the event's type in its upper half.
    return eventFunctions().floatValue(event.get(), static_cast<std::int32_t>(eventType << 16));
}

}  // namespace

DarwinHIDPort::DarwinHIDPort(Diagnostics& diagnostics)
    : health_(diagnostics.source(Source, "temperature sensors of the HID event system")) {}

Status DarwinHIDPort::readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                               std::vector<HIDReading>& readings) {
    readings.clear();
    const EventFunctions& functions = eventFunctions();
    if (!functions.isComplete())
        return health_.failed({FailureKind::Unsupported, Source, "this system lacks the functions that give events"});
    // The event system makes objects that only a pool releases; the thread that updates may have none.
    @autoreleasepool {
        countSystemCalls(3);
        const CFOwned<IOHIDEventSystemClientRef> client(functions.createClient(kCFAllocatorDefault));
        if (!client) return health_.failed({FailureKind::Absent, Source, "the event system gives no client"});
        functions.setMatching(client.get(), matchingUsage(usagePage, usage).get());
        const CFOwned<CFArrayRef> services(IOHIDEventSystemClientCopyServices(client.get()));
        const CFIndex count = services ? CFArrayGetCount(services.get()) : 0;
        for (CFIndex index = 0; index < count; ++index) {
            const auto service =
                static_cast<IOHIDServiceClientRef>(const_cast<void*>(CFArrayGetValueAtIndex(services.get(), index)));
            auto product = productOf(service);
            const auto value = product ? currentValue(service, eventType) : std::nullopt;
            if (value) readings.push_back({std::move(*product), *value});
        }
    }
    health_.works();
    return {};
}

}  // namespace hvk
