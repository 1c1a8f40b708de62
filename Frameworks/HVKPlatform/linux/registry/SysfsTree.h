// SysfsTree.h - reads /sys of a machine: directories, attributes, and links that stay below the machine's root.
//
// It knows files, not devices. A saved tree is not trusted: a link that leads out of it leads to the same place inside
// it, an attribute that is a link or no file is refused. Nothing is kept: every answer is read now.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// What tells a directory from one that is made later at the same path. sysfs never uses an inode number twice (Linux
/// 5.5, 64 bits); on a saved tree's file system, which may, the time of birth helps where it is known.
struct SysfsIdentity {
    std::uint64_t device = 0;  ///< of the file system
    std::uint64_t inode = 0;
    std::int64_t birthNanoseconds = 0;  ///< 0 where the file system knows none, as sysfs

    bool operator==(const SysfsIdentity&) const = default;
};

/// The files. Paths are the machine's, "/sys/devices/...". Thread: any.
///
/// What went wrong is noted in the diagnostics: not what is missing or went away, for devices do, but what may not be
/// read or answers an error.
class SysfsTree {
public:
    SysfsTree(const LinuxRoot& root, Diagnostics& diagnostics);
    ~SysfsTree();
    SysfsTree(const SysfsTree&) = delete;
    SysfsTree& operator=(const SysfsTree&) = delete;

    /// Whether there is something at a path; a link at its end is not followed.
    bool exists(const std::string& path) const;

    /// The directories in a directory, links to directories not among them, as `parse::nameBefore` sorts them; empty
    /// when it cannot be listed.
    std::vector<std::string> directories(const std::string& path) const;

    /// The links in a directory, sorted so; empty when it cannot be listed.
    std::vector<std::string> links(const std::string& path) const;

    /// The identity of a directory; Absent when there is none at the path.
    Result<SysfsIdentity> identity(const std::string& path) const;

    /// The content of an attribute. Malformed when it is larger than any attribute, no file, or cannot be read.
    Result<std::string> read(const std::string& path) const;

    /// The last component of a link's target: "pci" for ".../subsystem". The target is not looked at.
    std::optional<std::string> linkName(const std::string& path) const;

    /// The directory below /sys/devices that a link of /sys/class or /sys/bus stands for. Malformed for a link that
    /// leads elsewhere or in a circle.
    Result<std::string> device(const std::string& link) const;

private:
    enum class Wanted { Directories, Links };

    std::vector<std::string> list(const std::string& path, Wanted wanted) const;
    Failure failed(int error, const std::string& path) const;
    bool isPlainDirectory(const std::string& path) const;
    Result<std::string> resolved(const std::string& path) const;

    const LinuxRoot& root_;
    SourceHealth& health_;
    int directory_;  ///< of the root, -1 when there is none
};

}  // namespace hvk
