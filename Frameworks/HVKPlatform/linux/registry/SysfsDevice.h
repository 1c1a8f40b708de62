// SysfsDevice.h - one device directory of sysfs, and its attributes as values of registry properties.
//
// An attribute is read when it is asked for and at no other time. Attributes whose reading wakes a device that sleeps
// (PCI configuration space, the figures of a battery or a sensor behind a bus) go through `ifAwake`; those that the
// kernel answers from its own memory need not.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/linux/registry/SysfsTree.h"

namespace hvk {

/// A 32-bit number as the four bytes of a data property, the lowest first.
Value registryData(std::uint32_t number);

/// Bytes as a data property.
Value registryData(std::string_view bytes);

/// The directory. Thread: any; the tree must outlive it.
class SysfsDevice {
public:
    /// `subsystem` is "pci", "block", ...; empty for a device without one.
    SysfsDevice(const SysfsTree& tree, std::string path, std::string subsystem);

    /// "/sys/devices/pci0000:00/0000:00:02.0".
    const std::string& path() const { return path_; }
    const std::string& subsystem() const { return subsystem_; }

    /// The directory's name, "0000:00:02.0".
    std::string_view kernelName() const;

    /// The name of the device's node below /dev: in a directory's name a '!' stands for a slash.
    std::string nodeName() const;

    /// Whether it has an attribute, link or directory of this name.
    bool has(std::string_view name) const;

    /// An attribute as text without blanks around it. Absent when it is missing or empty.
    Result<Value> text(std::string_view attribute) const;

    /// An attribute that is a decimal number. Absent when it is missing, Malformed when it is something else.
    Result<Value> number(std::string_view attribute) const;

    /// An attribute that is written in hexadecimal, as a number. Absent and Malformed as with `number`.
    Result<Value> hexadecimal(std::string_view attribute) const;

    /// The same as four bytes, the lowest first. Absent also when it is no such number: "vendor" of a PCI device is
    /// one, that of a SCSI disk is a name.
    Result<Value> data(std::string_view attribute) const;

    /// An attribute that is 0 for no and something else for yes.
    Result<Value> flag(std::string_view attribute) const;

    /// The last component of a link's target, "nvme" for "driver". Absent when there is no such link.
    Result<Value> link(std::string_view name) const;

    /// Whether reading the hardware would wake it: power/runtime_status of the device, or of the nearest device above
    /// it that is managed, says that it is suspended or about to be.
    bool sleeps() const;

    /// What `read` answers, unless the device sleeps: then Absent, and `read` is not called.
    template <class Read>
    Result<Value> ifAwake(Read read) const {
        if (sleeps()) return Failure{FailureKind::Absent, path_, "the device sleeps and is not woken"};
        return read();
    }

    /// The content of an attribute, or of a file in a directory below the device: "queue/logical_block_size".
    Result<std::string> read(std::string_view attribute) const;

    /// The directories in a directory of the device, "hwmon": names only, sorted as the tree sorts them.
    std::vector<std::string> directories(std::string_view name) const;

    /// A file's name below the device.
    std::string file(std::string_view name) const;

private:
    Result<std::string> word(std::string_view attribute) const;

    const SysfsTree* tree_;
    std::string path_;
    std::string subsystem_;
};

}  // namespace hvk
