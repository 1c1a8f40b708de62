#include "HVKPlatform/darwin/Bluetooth.h"

#include <dlfcn.h>
#include <objc/message.h>
#include <objc/runtime.h>

#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/decode/Bluetooth.h"

namespace hvk {

namespace {

constexpr const char* Source = "CBManager.authorization";
constexpr const char* Library = "/System/Library/Frameworks/CoreBluetooth.framework/CoreBluetooth";

/// Asks CBManager for its class property. A library with Objective-C classes is never unloaded, so neither is this.
Result<BluetoothAuthorization> askManager() {
    if (dlopen(Library, RTLD_LAZY | RTLD_LOCAL) == nullptr)
        return Failure{FailureKind::Unsupported, Source, "CoreBluetooth cannot be opened"};
    const Class manager = objc_getClass("CBManager");
    const SEL authorization = sel_registerName("authorization");
    if (manager == Nil || class_getClassMethod(manager, authorization) == nullptr)
        return Failure{FailureKind::Unsupported, Source, "CBManager has no such property"};
    using Ask = long (*)(Class, SEL);
    return decode::decodeBluetoothAuthorization(reinterpret_cast<Ask>(objc_msgSend)(manager, authorization));
}

}  // namespace

DarwinBluetoothPort::DarwinBluetoothPort(Diagnostics& diagnostics)
    : health_(diagnostics.source(Source, "whether Bluetooth may be used",
                                 "allow Bluetooth for this program in the privacy settings")) {}

Result<BluetoothAuthorization> DarwinBluetoothPort::authorization() {
    @autoreleasepool {
        return noted(health_, askManager());
    }
}

}  // namespace hvk
