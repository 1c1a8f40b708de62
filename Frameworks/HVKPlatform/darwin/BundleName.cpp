#include "HVKPlatform/darwin/BundleName.h"

#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <vector>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/PropertyValue.h"

namespace hvk {

namespace {

/// The longest Info.plist that is read; those of the largest applications have some 100 KiB.
constexpr off_t LongestPropertyList = 8 << 20;

/// A file that is open for reading.
class OpenFile {
public:
    explicit OpenFile(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
    ~OpenFile() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int get() const { return descriptor_; }

private:
    int descriptor_;
};

Failure fileFailure(const std::string& path, int error) {
    const bool denied = error == EACCES || error == EPERM;
    return {denied ? FailureKind::Denied : FailureKind::Absent, path, std::generic_category().message(error)};
}

Result<std::vector<std::uint8_t>> readFile(const std::string& path) {
    countSystemCalls();
    const OpenFile file(path);
    if (file.get() < 0) return fileFailure(path, errno);
    struct stat status {};
    countSystemCalls();
    if (fstat(file.get(), &status) != 0) return fileFailure(path, errno);
    if (!S_ISREG(status.st_mode)) return Failure{FailureKind::Malformed, path, "no ordinary file"};
    if (status.st_size > LongestPropertyList)
        return Failure{FailureKind::Malformed, path, std::to_string(status.st_size) + " bytes"};
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        countSystemCalls();
        const ssize_t count = read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fileFailure(path, errno);
        if (count == 0) break;  // it has become shorter meanwhile
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

}  // namespace

Result<std::string> bundleDisplayName(const std::string& bundle) {
    const std::string path = bundle + "/Contents/Info.plist";
    const auto bytes = readFile(path);
    if (!bytes) return bytes.failure();
    const CFOwned<CFDataRef> data(
        CFDataCreate(kCFAllocatorDefault, bytes->data(), static_cast<CFIndex>(bytes->size())));
    if (!data) return Failure{FailureKind::Absent, path, "no memory"};
    const CFOwned<CFPropertyListRef> list(
        CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!list || CFGetTypeID(list.get()) != CFDictionaryGetTypeID())
        return Failure{FailureKind::Malformed, path, "no property list with keys"};
    for (const CFStringRef key : {CFSTR("CFBundleDisplayName"), CFSTR("CFBundleName")}) {
        const CFTypeRef name = CFDictionaryGetValue(static_cast<CFDictionaryRef>(list.get()), key);
        if (name != nullptr && CFGetTypeID(name) == CFStringGetTypeID())
            return textOfString(static_cast<CFStringRef>(name));
    }
    return Failure{FailureKind::Absent, path, "neither CFBundleDisplayName nor CFBundleName"};
}

}  // namespace hvk
