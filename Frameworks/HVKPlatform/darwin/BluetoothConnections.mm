#include "HVKPlatform/darwin/BluetoothConnections.h"

#include <Foundation/Foundation.h>
#include <dlfcn.h>
#include <objc/message.h>
#include <objc/runtime.h>

#include <utility>

/// What IOBluetooth calls.
@interface HVKBluetoothObserver : NSObject
- (instancetype)initWithBlock:(std::function<void()>)block;
- (void)notification:(id)notification fromDevice:(id)device;
@end

@implementation HVKBluetoothObserver {
    std::function<void()> _block;
}
- (instancetype)initWithBlock:(std::function<void()>)block {
    self = [super init];
    if (self) _block = std::move(block);
    return self;
}
- (void)notification:(id)notification fromDevice:(id)device {
    (void)notification;
    (void)device;
    @autoreleasepool {
        _block();
    }
}
@end

namespace hvk {

namespace {

constexpr const char* Source = "IOBluetoothDevice";
constexpr const char* Library = "/System/Library/Frameworks/IOBluetooth.framework/IOBluetooth";

/// The registration: the observer, and what takes it back.
struct Connections {
    Connections(HVKBluetoothObserver* made, id given) : observer(made), notification(given) {}
    ~Connections() {
        const SEL unregister = sel_registerName("unregister");
        if ([notification respondsToSelector:unregister])
            reinterpret_cast<void (*)(id, SEL)>(objc_msgSend)(notification, unregister);
    }
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    HVKBluetoothObserver* observer;
    id notification;
};

}  // namespace

Result<std::shared_ptr<void>> watchBluetoothConnections(std::function<void()> connected) {
    @autoreleasepool {
        // A library with Objective-C classes is never unloaded, so neither is this.
        if (dlopen(Library, RTLD_LAZY | RTLD_LOCAL) == nullptr)
            return Failure{FailureKind::Unsupported, Source, "IOBluetooth cannot be opened"};
        const Class device = objc_getClass("IOBluetoothDevice");
        const SEL watch = sel_registerName("registerForConnectNotifications:selector:");
        if (device == Nil || class_getClassMethod(device, watch) == nullptr)
            return Failure{FailureKind::Unsupported, Source, "it takes no observers"};
        HVKBluetoothObserver* observer = [[HVKBluetoothObserver alloc] initWithBlock:std::move(connected)];
        using Register = id (*)(Class, SEL, id, SEL);
        const id notification =
            reinterpret_cast<Register>(objc_msgSend)(device, watch, observer, @selector(notification:fromDevice:));
        if (notification == nil) return Failure{FailureKind::Absent, Source, "Bluetooth is not there, or not allowed"};
        return std::shared_ptr<void>(std::make_shared<Connections>(observer, notification));
    }
}

}  // namespace hvk
