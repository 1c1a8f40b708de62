// LaunchServices.h - what the system's list of applications says of a process.
//
// The functions are not declared by any header of the system and may be missing from a later one, so they are looked up
// in the com.apple.LaunchServices bundle at the first question. Thread: one at a time.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/darwin/CFOwned.h"

namespace hvk {

/// The optional functions of Launch Services.
class LaunchServices {
public:
    /// The "ApplicationType" of a process: "Foreground", "BackgroundOnly", "UIElement". Absent when the process is no
    /// application, Unsupported when this system lacks the functions.
    Result<std::string> applicationType(std::int32_t pid);

private:
    using CreateSerialNumber = CFTypeRef (*)(CFAllocatorRef, pid_t);
    using CopyItem = CFTypeRef (*)(int session, CFTypeRef serialNumber, CFStringRef key);
    using CopyAll = CFDictionaryRef (*)(int session, CFTypeRef serialNumber, CFArrayRef keys);

    void lookUp();
    CFOwned<CFTypeRef> copyItem(CFTypeRef serialNumber, CFStringRef key) const;

    bool lookedUp_ = false;
    CreateSerialNumber createSerialNumber_ = nullptr;
    CopyItem copyItem_ = nullptr;
    CopyAll copyAll_ = nullptr;
};

}  // namespace hvk
