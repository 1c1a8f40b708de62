// System.h - the constants of a machine: version, boot time, page size, tick rate, model, processor counts, users,
// languages.
//
// Asked once and kept by whoever needs them; only the user look-up takes a question. Thread: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The interface level of the operating system: which of the modules' release rules apply, e.g. {14, 0, 0}.
struct OperatingSystemVersion {
    std::int64_t major = 0;
    std::int64_t minor = 0;
    std::int64_t bugfix = 0;

    auto operator<=>(const OperatingSystemVersion&) const = default;
};

/// The constants of a machine.
class HVK_EXPORT SystemPort {
public:
    virtual ~SystemPort() = default;

    /// The interface level. macOS: the process information's operating-system version. Linux: one constant, see
    /// linux/System.h. It selects rules and is not for showing.
    virtual Result<OperatingSystemVersion> operatingSystemVersion() = 0;

    /// What a person calls the running system, e.g. "Linux 6.1.0-13-amd64" or "macOS 12.6".
    virtual Result<std::string> operatingSystemName() = 0;

    /// Seconds since 1970 at which the kernel started, whole seconds. sysctl KERN_BOOTTIME; btime of /proc/stat.
    virtual Result<double> bootTime() = 0;

    /// Bytes of a memory page, e.g. 4096 or 16384. host_page_size; AT_PAGESZ.
    virtual Result<std::uint64_t> pageSize() = 0;

    /// Processor ticks in one second, e.g. 100. The unit of the counters of ProcessorPort. CLK_TCK; AT_CLKTCK.
    virtual Result<std::uint64_t> ticksPerSecond() = 0;

    /// The model identifier that names a machine's recipe, e.g. "MacBookPro18,1" or "HP EliteBook 840 14 inch G10
    /// Notebook PC". hw.model; the DMI product name or the device tree's model.
    virtual Result<std::string> modelName() = 0;

    /// Logical processors, offline ones included, e.g. 20. hw.logicalcpu_max; sysfs cpu/present.
    virtual Result<std::uint32_t> logicalProcessorCount() = 0;

    /// Physical cores, e.g. 14. hw.physicalcpu_max; distinct sets of thread siblings.
    virtual Result<std::uint32_t> physicalProcessorCount() = 0;

    /// The login name of a user, e.g. 0 -> "root"; Absent when no such user is known.
    virtual Result<std::string> userName(std::uint32_t user) = 0;

    /// The languages that the user wants to read, the most preferred first, as language tags, e.g. {"de-AT", "en"}.
    /// CFLocaleCopyPreferredLanguages; the locale of the environment. Absent when a saved machine does not tell.
    virtual Result<std::vector<std::string>> preferredLanguages() = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedSystemPort : public SystemPort {
public:
    Result<OperatingSystemVersion> operatingSystemVersion() override { return unsupported("operating system version"); }
    Result<std::string> operatingSystemName() override { return unsupported("operating system name"); }
    Result<double> bootTime() override { return unsupported("boot time"); }
    Result<std::uint64_t> pageSize() override { return unsupported("page size"); }
    Result<std::uint64_t> ticksPerSecond() override { return unsupported("tick rate"); }
    Result<std::string> modelName() override { return unsupported("model name"); }
    Result<std::uint32_t> logicalProcessorCount() override { return unsupported("logical processor count"); }
    Result<std::uint32_t> physicalProcessorCount() override { return unsupported("physical processor count"); }
    Result<std::string> userName(std::uint32_t) override { return unsupported("user names"); }
    Result<std::vector<std::string>> preferredLanguages() override { return unsupported("preferred languages"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingSystemPort : public SystemPort {
public:
    explicit ForwardingSystemPort(SystemPort& target) : target_(target) {}
    Result<OperatingSystemVersion> operatingSystemVersion() override { return target_.operatingSystemVersion(); }
    Result<std::string> operatingSystemName() override { return target_.operatingSystemName(); }
    Result<double> bootTime() override { return target_.bootTime(); }
    Result<std::uint64_t> pageSize() override { return target_.pageSize(); }
    Result<std::uint64_t> ticksPerSecond() override { return target_.ticksPerSecond(); }
    Result<std::string> modelName() override { return target_.modelName(); }
    Result<std::uint32_t> logicalProcessorCount() override { return target_.logicalProcessorCount(); }
    Result<std::uint32_t> physicalProcessorCount() override { return target_.physicalProcessorCount(); }
    Result<std::string> userName(std::uint32_t user) override { return target_.userName(user); }
    Result<std::vector<std::string>> preferredLanguages() override { return target_.preferredLanguages(); }

protected:
    SystemPort& target_;
};

}  // namespace hvk
