#include "HVKPlatform/darwin/LaunchServices.h"

#include <dlfcn.h>

#include <string>
#include <utility>

#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/PropertyValue.h"

namespace hvk {

namespace {

constexpr const char* Source = "LaunchServices ApplicationType";
constexpr const char* Library = "/System/Library/Frameworks/CoreServices.framework/CoreServices";

/// The login session that this process belongs to.
constexpr int DefaultSession = -2;

CFBundleRef launchServicesBundle() {
    const CFStringRef identifier = CFSTR("com.apple.LaunchServices");
    if (const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(identifier)) return bundle;
    // Only a loaded bundle is found. It stays loaded: it is one of the system's own.
    if (dlopen(Library, RTLD_LAZY | RTLD_LOCAL) == nullptr) return nullptr;
    return CFBundleGetBundleWithIdentifier(identifier);
}

}  // namespace

void LaunchServices::lookUp() {
    if (std::exchange(lookedUp_, true)) return;
    const CFBundleRef bundle = launchServicesBundle();
    if (bundle == nullptr) return;
    const auto function = [bundle](CFStringRef name) { return CFBundleGetFunctionPointerForName(bundle, name); };
    createSerialNumber_ = reinterpret_cast<CreateSerialNumber>(function(CFSTR("_LSASNCreateWithPid")));
    copyItem_ = reinterpret_cast<CopyItem>(function(CFSTR("_LSCopyApplicationInformationItem")));
    copyAll_ = reinterpret_cast<CopyAll>(function(CFSTR("_LSCopyApplicationInformation")));
}

CFOwned<CFTypeRef> LaunchServices::copyItem(CFTypeRef serialNumber, CFStringRef key) const {
    countSystemCalls();
    if (copyItem_ != nullptr) return CFOwned<CFTypeRef>(copyItem_(DefaultSession, serialNumber, key));
    const CFOwned<CFDictionaryRef> all(copyAll_(DefaultSession, serialNumber, nullptr));
    if (!all || CFGetTypeID(all.get()) != CFDictionaryGetTypeID()) return CFOwned<CFTypeRef>();
    const CFTypeRef item = CFDictionaryGetValue(all.get(), key);
    return CFOwned<CFTypeRef>(item == nullptr ? nullptr : CFRetain(item));
}

Result<std::string> LaunchServices::applicationType(std::int32_t pid) {
    lookUp();
    if (createSerialNumber_ == nullptr || (copyItem_ == nullptr && copyAll_ == nullptr))
        return Failure{FailureKind::Unsupported, Source, "this system lacks the functions that tell it"};
    const Failure absent{FailureKind::Absent, Source, "process " + std::to_string(pid) + " is no application"};
    countSystemCalls();
    const CFOwned<CFTypeRef> serialNumber(createSerialNumber_(kCFAllocatorDefault, pid));
    if (!serialNumber) return absent;
    const CFOwned<CFTypeRef> type = copyItem(serialNumber.get(), CFSTR("ApplicationType"));
    if (!type || CFGetTypeID(type.get()) != CFStringGetTypeID()) return absent;
    return textOfString(static_cast<CFStringRef>(type.get()));
}

}  // namespace hvk
