// BlockProjector.h - disks and partitions.
#pragma once

#include "HVKPlatform/linux/registry/RegistryProjector.h"

namespace hvk {

/// A disk is an "IOMedia" below an "IOBlockStorageDriver" below its controller; a partition an "IOMedia" below its
/// disk.
///
/// Media: "BSD Name" ("nvme0n1"), "BSD Major", "BSD Minor", "Size" (bytes), "Preferred Block Size", "Whole",
/// "Writable", "Removable" (of the disk), "Partition ID" and "Base" (bytes, of a partition). A drive without a medium
/// has size 0; a loop device without a file is no entry at all, and another one for each file.
///
/// Driver: "Statistics" with "Operations (Read)", "Bytes (Read)", "Total Time (Read)" (nanoseconds), the same for
/// (Write). Nothing here asks the hardware.
class BlockProjector : public RegistryProjector {
public:
    BlockProjector();
    bool serves(const std::string& subsystem) const override;
    bool mayYield(const std::string& subsystem, const std::string& className) const override;
    bool hasBSDNames() const override { return true; }
    std::optional<Projection> project(const SysfsDevice& device) const override;

private:
    RegistryProperties media_;
    RegistryProperties driver_;
};

}  // namespace hvk
