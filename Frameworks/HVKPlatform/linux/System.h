// System.h - the constants of a Linux machine.
#pragma once

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/linux/parse/LocaleSettings.h"
#include "HVKPlatform/ports/System.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The interface level that every Linux machine reports: the lowest at which every release rule that a Linux source can
/// serve is in force. 10.9 and 10.11 turn on compressed memory, purgeable pages and the file cache; 10.14 the
/// system-wide video memory count; 12.0 the newest stored flag; 14.0 makes Bluetooth ask for its permission, which the
/// Linux Bluetooth port grants. It says nothing of the kernel's release.
inline constexpr OperatingSystemVersion LinuxInterfaceLevel{14, 0, 0};

/// Constants from procfs and sysfs. For a saved tree the page size comes from its proc/self/auxv, else from the size of
/// its huge pages (a middle directory entry maps pagesize / 8 pages), else 4096; the tick rate from auxv, else 100, the
/// value that Linux fixes for user programs on all current processors. Never from the running kernel.
class LinuxSystemPort : public SystemPort {
public:
    LinuxSystemPort(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics);
    Result<OperatingSystemVersion> operatingSystemVersion() override { return LinuxInterfaceLevel; }
    Result<std::string> operatingSystemName() override;
    Result<double> bootTime() override;
    Result<std::uint64_t> pageSize() override { return pageSize_; }
    Result<std::uint64_t> ticksPerSecond() override { return ticksPerSecond_; }
    /// The DMI product name, else the board's, else the device tree's model, else the "Model" or "Hardware" line of
    /// /proc/cpuinfo. Vendors' fillers ("To Be Filled By O.E.M.") count as none.
    Result<std::string> modelName() override;
    Result<std::uint32_t> logicalProcessorCount() override;
    Result<std::uint32_t> physicalProcessorCount() override;
    /// From the root's own etc/passwd for a saved tree; through the name service of a running system.
    Result<std::string> userName(std::uint32_t user) override;
    /// By the environment of this program when it measures the system that it runs on (LC_ALL, LC_MESSAGES, LANG, with
    /// LANGUAGE before them), as it was at construction; of a saved tree by its own etc/locale.conf or
    /// etc/default/locale.
    Result<std::vector<std::string>> preferredLanguages() override;

private:
    void readConstants(Diagnostics& diagnostics);
    bool isRunningSystem() const;

    const LinuxRoot& root_;
    const Topology& topology_;
    SourceHealth& bootTimeSource_;
    SourceHealth& modelSource_;
    SourceHealth& topologySource_;
    std::uint64_t pageSize_ = 0;
    std::uint64_t ticksPerSecond_ = 0;
    parse::LocaleSettings locale_;  ///< of the environment; empty for a saved tree
};

}  // namespace hvk
