// DiskTable.h - the disks that are there and their volumes, described as disk arbitration describes them.
//
//   DAMediaBSDName "sda1"    DAMediaBSDMajor, DAMediaBSDMinor    DAMediaSize in bytes    DAMediaWhole, DAMediaWritable,
//   DAMediaRemovable    DADeviceModel, DADeviceVendor    DAVolumePath    DAVolumeName    DAVolumeUUID (text)
//   DAVolumeKind "ext4"    DAVolumeMountable    DAVolumeNetwork
//
// What is not known is left out. A loop device with a file is a "Disk Image". A device counts as mountable unless it is
// known that it is not: a disk that is divided, the container of a partition table, a member of another device, swap.
// The volume's name and kind are the device manager's findings: no disk is read, so none is spun up.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "HVKPlatform/Value.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/parse/MountInfo.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// One disk or network volume.
struct DiskState {
    std::uint64_t identity = 0;  ///< another disk at the same name has another one
    Value description;

    bool operator==(const DiskState&) const = default;
};

/// All of them, by the device's name, or by source and path of a network volume. A state never changes.
using DiskStates = std::map<std::string, std::shared_ptr<const DiskState>>;

/// The table. Thread: one at a time; a snapshot that was given out may be read by any.
class DiskTable {
public:
    /// Empty; reads nothing yet. The root and the health must outlive it.
    DiskTable(const LinuxRoot& root, SourceHealth& health) : root_(root), health_(health) {}

    /// Looks at all disks and volumes. Whether anything is other than before.
    bool lookAtEverything();

    /// Looks at these block devices, and at what is mounted.
    bool lookAt(const std::vector<std::string>& names);

    /// Looks at what is mounted, and at those disks whose volume came or went.
    bool lookAtMounts();

    /// What is there.
    std::shared_ptr<const DiskStates> states() const { return states_; }

private:
    void readMounts();
    void lookAt(const std::string& name, DiskStates& states) const;
    void lookAtNetworkVolumes(DiskStates& states) const;
    std::optional<DiskState> read(const std::string& name) const;
    const parse::MountRecord* mountOf(const std::string& device, const std::string& name) const;
    bool publish(DiskStates states);

    const LinuxRoot& root_;
    SourceHealth& health_;
    std::vector<parse::MountRecord> mounts_;
    std::unordered_map<std::string, std::size_t> mountOf_;  ///< by device number, or by the device's path
    std::shared_ptr<const DiskStates> states_ = std::make_shared<const DiskStates>();
};

}  // namespace hvk
