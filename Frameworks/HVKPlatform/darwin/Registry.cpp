#include "HVKPlatform/darwin/Registry.h"

#include <IOKit/IOKitLib.h>

#include <array>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/MatchingDictionary.h"
#include "HVKPlatform/darwin/PropertyValue.h"
#include "HVKPlatform/darwin/decode/Failures.h"

namespace hvk {

namespace {

/// Null stands for the main port; its named constant changed its name with macOS 12.
constexpr mach_port_t MainPort = MACH_PORT_NULL;

bool isRoot(RegistryHandle entry) {
    const io_registry_entry_t root = IORegistryGetRootEntry(MainPort);
    const bool same = IOObjectIsEqualTo(entry, root);
    IOObjectRelease(root);
    countSystemCalls(3);
    return same;
}

}  // namespace

DarwinRegistryPort::DarwinRegistryPort(Diagnostics& diagnostics)
    : health_(diagnostics.source("I/O Registry", "devices and their properties")) {}

Status DarwinRegistryPort::attached(RegistryHandle entry) const {
    if (entry == 0) return Failure{FailureKind::Absent, "I/O Registry", "no entry"};
    countSystemCalls();
    if (IORegistryEntryInPlane(entry, kIOServicePlane)) return {};
    countSystemCalls();
    if (IORegistryEntryInPlane(entry, kIODeviceTreePlane)) return {};
    // The root has no parent and so is in no plane.
    if (isRoot(entry)) return {};
    return Failure{FailureKind::Gone, "I/O Registry", "the entry left the tree"};
}

Status DarwinRegistryPort::outcome(const char* call, int code) {
    if (code == KERN_SUCCESS) {
        health_.works();
        return {};
    }
    if (code == kIOReturnNoDevice || code == kIOReturnNotFound) return absent(call, "nothing there");
    return health_.failed(decode::kernelFailure(call, static_cast<std::uint32_t>(code)));
}

Failure DarwinRegistryPort::absent(const char* call, std::string detail) {
    health_.works();
    return {FailureKind::Absent, call, std::move(detail)};
}

Result<RegistryHandle> DarwinRegistryPort::matchingServices(const RegistryMatch& match) {
    auto dictionary = matchingDictionary(match);
    if (!dictionary)
        return Failure{FailureKind::Malformed, "IOServiceGetMatchingServices", "the match is no dictionary in UTF-8"};
    io_iterator_t iterator = 0;
    countSystemCalls();
    const kern_return_t code = IOServiceGetMatchingServices(MainPort, dictionary.take(), &iterator);
    if (const Status status = outcome("IOServiceGetMatchingServices", code); !status) return status.failure();
    return iterator;
}

Result<RegistryHandle> DarwinRegistryPort::childIterator(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    io_iterator_t iterator = 0;
    countSystemCalls();
    const kern_return_t code = IORegistryEntryGetChildIterator(entry, kIOServicePlane, &iterator);
    if (const Status status = outcome("IORegistryEntryGetChildIterator", code); !status) return status.failure();
    return iterator;
}

Result<RegistryHandle> DarwinRegistryPort::descendantIterator(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    io_iterator_t iterator = 0;
    countSystemCalls();
    const kern_return_t code =
        IORegistryEntryCreateIterator(entry, kIOServicePlane, kIORegistryIterateRecursively, &iterator);
    if (const Status status = outcome("IORegistryEntryCreateIterator", code); !status) return status.failure();
    return iterator;
}

RegistryHandle DarwinRegistryPort::next(RegistryHandle iterator) {
    if (iterator == 0) return 0;
    countSystemCalls();
    return IOIteratorNext(iterator);
}

void DarwinRegistryPort::reset(RegistryHandle iterator) {
    if (iterator == 0) return;
    countSystemCalls();
    IOIteratorReset(iterator);
}

void DarwinRegistryPort::retain(RegistryHandle handle) {
    if (handle == 0) return;
    countSystemCalls();
    IOObjectRetain(handle);
}

void DarwinRegistryPort::release(RegistryHandle handle) {
    if (handle == 0) return;
    countSystemCalls();
    IOObjectRelease(handle);
}

Result<Value> DarwinRegistryPort::properties(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    CFMutableDictionaryRef dictionary = nullptr;
    countSystemCalls();
    const kern_return_t code = IORegistryEntryCreateCFProperties(entry, &dictionary, kCFAllocatorDefault, 0);
    const CFOwned<CFMutableDictionaryRef> owned(dictionary);
    if (const Status status = outcome("IORegistryEntryCreateCFProperties", code); !status) return status.failure();
    return valueOfProperty(owned.get());
}

Result<Value> DarwinRegistryPort::property(RegistryHandle entry, const std::string& key) {
    if (const Status status = attached(entry); !status) return status.failure();
    const auto name = stringOfText(key);
    if (!name) return Failure{FailureKind::Malformed, "IORegistryEntryCreateCFProperty", "the key is not UTF-8"};
    countSystemCalls();
    const CFOwned<CFTypeRef> property(IORegistryEntryCreateCFProperty(entry, name.get(), kCFAllocatorDefault, 0));
    if (!property) return absent("IORegistryEntryCreateCFProperty", "no property " + key);
    health_.works();
    return valueOfProperty(property.get());
}

Result<RegistryHandle> DarwinRegistryPort::parent(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    io_registry_entry_t parent = 0;
    countSystemCalls();
    const kern_return_t code = IORegistryEntryGetParentEntry(entry, kIOServicePlane, &parent);
    if (const Status status = outcome("IORegistryEntryGetParentEntry", code); !status) return status.failure();
    return parent;
}

Result<RegistryHandle> DarwinRegistryPort::child(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    io_registry_entry_t child = 0;
    countSystemCalls();
    const kern_return_t code = IORegistryEntryGetChildEntry(entry, kIOServicePlane, &child);
    if (const Status status = outcome("IORegistryEntryGetChildEntry", code); !status) return status.failure();
    return child;
}

Result<RegistryHandle> DarwinRegistryPort::entryAtPath(const std::string& path) {
    const auto name = stringOfText(path);
    if (!name) return Failure{FailureKind::Malformed, "IORegistryEntryCopyFromPath", "the path is not UTF-8"};
    // IORegistryEntryFromPath takes at most 511 bytes; paths of nested volumes are longer.
    countSystemCalls();
    const io_registry_entry_t entry = IORegistryEntryCopyFromPath(MainPort, name.get());
    if (entry == 0) return absent("IORegistryEntryCopyFromPath", "nothing at " + path);
    health_.works();
    return entry;
}

Result<std::string> DarwinRegistryPort::path(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    // IORegistryEntryGetPath has room for 511 bytes only.
    countSystemCalls();
    const CFOwned<CFStringRef> path(IORegistryEntryCopyPath(entry, kIOServicePlane));
    if (!path) return absent("IORegistryEntryCopyPath", "no path in the service plane");
    health_.works();
    return textOfString(path.get());
}

Result<std::string> DarwinRegistryPort::name(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    std::array<char, sizeof(io_name_t)> name{};
    countSystemCalls();
    const kern_return_t code = IORegistryEntryGetName(entry, name.data());
    if (const Status status = outcome("IORegistryEntryGetName", code); !status) return status.failure();
    return std::string(name.data());
}

Result<std::string> DarwinRegistryPort::className(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    std::array<char, sizeof(io_name_t)> name{};
    countSystemCalls();
    const kern_return_t code = IOObjectGetClass(entry, name.data());
    if (const Status status = outcome("IOObjectGetClass", code); !status) return status.failure();
    return std::string(name.data());
}

Result<std::uint64_t> DarwinRegistryPort::entryID(RegistryHandle entry) {
    if (const Status status = attached(entry); !status) return status.failure();
    std::uint64_t number = 0;
    countSystemCalls();
    const kern_return_t code = IORegistryEntryGetRegistryEntryID(entry, &number);
    if (const Status status = outcome("IORegistryEntryGetRegistryEntryID", code); !status) return status.failure();
    return number;
}

bool DarwinRegistryPort::conformsTo(RegistryHandle entry, const std::string& className) {
    if (!attached(entry)) return false;
    // Copied: the call takes an array of 128 bytes, whatever the name's length.
    std::array<char, sizeof(io_name_t)> name{};
    if (className.size() >= name.size()) return false;
    className.copy(name.data(), className.size());
    countSystemCalls();
    return IOObjectConformsTo(entry, name.data());
}

}  // namespace hvk
