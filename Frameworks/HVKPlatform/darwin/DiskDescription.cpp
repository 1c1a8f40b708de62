#include "HVKPlatform/darwin/DiskDescription.h"

#include <vector>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/PropertyValue.h"

namespace hvk {

namespace {

Value textOf(CFStringRef string) { return string == nullptr ? Value(nullptr) : Value(textOfString(string)); }

Value valueOf(CFTypeRef item) {
    if (CFGetTypeID(item) == CFURLGetTypeID()) {
        const CFOwned<CFStringRef> path(CFURLCopyFileSystemPath(static_cast<CFURLRef>(item), kCFURLPOSIXPathStyle));
        return textOf(path.get());
    }
    if (CFGetTypeID(item) == CFUUIDGetTypeID()) {
        const CFOwned<CFStringRef> text(CFUUIDCreateString(kCFAllocatorDefault, static_cast<CFUUIDRef>(item)));
        return textOf(text.get());
    }
    return valueOfProperty(item);
}

}  // namespace

Value describeDisk(CFDictionaryRef description) {
    Value described = Value::object();
    if (description == nullptr) return described;
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(description));
    std::vector<CFTypeRef> keys(count), items(count);
    CFDictionaryGetKeysAndValues(description, keys.data(), items.data());
    for (std::size_t index = 0; index < count; ++index) {
        if (CFGetTypeID(keys[index]) != CFStringGetTypeID()) continue;
        Value item = valueOf(items[index]);
        if (!item.is_null()) described[textOfString(static_cast<CFStringRef>(keys[index]))] = std::move(item);
    }
    return described;
}

}  // namespace hvk
