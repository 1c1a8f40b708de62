#include "HVKPlatform/darwin/System.h"

#import <Foundation/Foundation.h>

#include <limits.h>
#include <mach/mach.h>
#include <pwd.h>
#include <sys/sysctl.h>
#include <sys/time.h>

#include <cerrno>
#include <cstddef>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/darwin/Cost.h"
#include "HVKPlatform/darwin/Outcome.h"
#include "HVKPlatform/darwin/decode/Failures.h"
#include "HVKPlatform/darwin/decode/System.h"

namespace hvk {

namespace {

/// A user's record does not get longer than this, whatever a directory server says.
constexpr std::size_t LongestUserRecord = 1 << 20;

Result<std::uint32_t> readCount(const SystemControl& control, SourceHealth& health) {
    std::array<std::uint8_t, sizeof(std::int32_t)> record{};
    const auto bytes = control.read(record);
    if (!bytes) return health.failed(bytes.failure());
    return noted(health, decode::decodeCount(control.name(), *bytes));
}

}  // namespace

static_assert(sizeof(timeval) == decode::TimeValueSize && sizeof(timeval::tv_sec) == sizeof(std::int64_t) &&
              offsetof(timeval, tv_sec) == 0);

DarwinSystemPort::DarwinSystemPort(const HostPort& host, Diagnostics& diagnostics)
    : host_(host),
      bootTime_("kern.boottime", {CTL_KERN, KERN_BOOTTIME}),
      model_("hw.model", {CTL_HW, HW_MODEL}),
      logical_("hw.logicalcpu_max"),
      physical_("hw.physicalcpu_max"),
      versionHealth_(diagnostics.source("NSProcessInfo", "version of the operating system")),
      bootTimeHealth_(diagnostics.source(bootTime_.name(), "boot time")),
      pageSizeHealth_(diagnostics.source("host_page_size", "page size")),
      modelHealth_(diagnostics.source(model_.name(), "model of the machine")),
      logicalHealth_(diagnostics.source(logical_.name(), "number of logical processors")),
      physicalHealth_(diagnostics.source(physical_.name(), "number of cores")),
      usersHealth_(diagnostics.source("getpwuid_r", "user names", "check that the directory service answers")),
      languagesHealth_(diagnostics.source("CFLocaleCopyPreferredLanguages", "preferred languages")) {}

Result<OperatingSystemVersion> DarwinSystemPort::operatingSystemVersion() {
    @autoreleasepool {
        const NSOperatingSystemVersion version = NSProcessInfo.processInfo.operatingSystemVersion;
        versionHealth_.works();
        return OperatingSystemVersion{version.majorVersion, version.minorVersion, version.patchVersion};
    }
}

Result<std::string> DarwinSystemPort::operatingSystemName() {
    const auto version = operatingSystemVersion();
    if (!version) return version.failure();
    return decode::operatingSystemName(*version);
}

Result<double> DarwinSystemPort::bootTime() {
    std::array<std::uint8_t, decode::TimeValueSize> record{};
    const auto bytes = bootTime_.read(record);
    if (!bytes) return bootTimeHealth_.failed(bytes.failure());
    return noted(bootTimeHealth_, decode::decodeBootTime(*bytes));
}

Result<std::uint64_t> DarwinSystemPort::pageSize() {
    vm_size_t size = 0;
    countSystemCalls();
    const kern_return_t code = host_page_size(host_.get(), &size);
    if (code != KERN_SUCCESS)
        return pageSizeHealth_.failed(decode::kernelFailure("host_page_size", static_cast<std::uint32_t>(code)));
    pageSizeHealth_.works();
    return std::uint64_t{size};
}

Result<std::uint64_t> DarwinSystemPort::ticksPerSecond() { return std::uint64_t{CLK_TCK}; }

Result<std::string> DarwinSystemPort::modelName() {
    std::array<std::uint8_t, 256> text{};
    const auto bytes = model_.read(text);
    if (!bytes) return modelHealth_.failed(bytes.failure());
    return noted(modelHealth_, decode::decodeText(model_.name(), *bytes));
}

Result<std::uint32_t> DarwinSystemPort::logicalProcessorCount() { return readCount(logical_, logicalHealth_); }

Result<std::uint32_t> DarwinSystemPort::physicalProcessorCount() { return readCount(physical_, physicalHealth_); }

Result<std::string> DarwinSystemPort::userName(std::uint32_t user) {
    std::vector<char> text(1024);
    while (true) {
        passwd record{};
        passwd* found = nullptr;
        countSystemCalls();
        const int error = getpwuid_r(user, &record, text.data(), text.size(), &found);
        if (error == ERANGE && text.size() < LongestUserRecord) {
            text.resize(text.size() * 2);
            continue;
        }
        if (error != 0) return usersHealth_.failed(decode::systemControlFailure("getpwuid_r", error));
        usersHealth_.works();
        if (found == nullptr) return Failure{FailureKind::Absent, "getpwuid_r", "no user " + std::to_string(user)};
        return std::string(found->pw_name);
    }
}

Result<std::vector<std::string>> DarwinSystemPort::preferredLanguages() {
    @autoreleasepool {
        const CFOwned<CFArrayRef> languages(CFLocaleCopyPreferredLanguages());
        std::vector<std::string> tags;
        for (NSString* language in (__bridge NSArray*)languages.get()) {
            const char* tag = language.UTF8String;
            if (tag != nullptr) tags.emplace_back(tag);
        }
        if (tags.empty())
            return languagesHealth_.failed({FailureKind::Absent, "CFLocaleCopyPreferredLanguages", "it names none"});
        languagesHealth_.works();
        return tags;
    }
}

}  // namespace hvk
