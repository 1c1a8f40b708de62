// MountInfo.h - /proc/[pid]/mountinfo: what is mounted where.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// One mount.
struct MountRecord {
    std::uint32_t major = 0;  ///< of the file system's device number; 0 for those without a device
    std::uint32_t minor = 0;
    std::string root;    ///< what of the file system is mounted: "/", "/subvolume"
    std::string path;    ///< where
    std::string kind;    ///< "ext4", "nfs4", "fuse.sshfs"
    std::string source;  ///< "/dev/sda1", "server:/export", "tmpfs"

    bool operator==(const MountRecord&) const = default;
};

/// Reads the whole file, in its order: of two mounts at one path the later one covers the other. Malformed when a line
/// is cut short or lacks a field, and then nothing of it is believed.
Result<std::vector<MountRecord>> parseMountInfo(std::string_view content);

/// Whether a file system of this kind lies on another computer.
bool isNetworkFileSystem(std::string_view kind);

}  // namespace hvk::parse
