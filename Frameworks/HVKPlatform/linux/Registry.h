// Registry.h - the device tree of a Linux machine, projected from sysfs.
//
//   Root
//     LinuxPlatform               (IOPlatformExpertDevice) /sys/devices
//       cpu0@0 ...                (IOPlatformDevice) of a hybrid processor, in the order of the ProcessorPort's places
//       pci0000:00                every device directory, nested as in sysfs
//         0000:00:02.0            (IOPCIDevice)
//           nvme0@nvme            (LinuxNvmeDevice) a directory that groups devices of a class follows the '@'
//             IOBlockStorageDriver@nvme0n1
//               nvme0n1           (IOMedia)
//                 nvme0n1p1       (IOMedia)
//
// Which classes and properties the devices of a subsystem have is said by its projector (registry/*Projector.h).
// Nothing is kept: a walk reads directories and links, a property the files that it is made from, and both happen when
// they are asked for.
#pragma once

#include <optional>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/linux/registry/RegistryEntries.h"
#include "HVKPlatform/linux/registry/RegistryHandles.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// The tree. Thread: any; an iterator belongs to one thread.
///
/// An entry is a directory at a path: it is told from a later one at the same path by inode number and file system
/// (which sysfs never uses twice), or by its time of birth as well where a saved tree lies. Once it is gone, or is
/// another, every question about it answers Gone, also when the device came back: that is another entry.
///
/// An entry ID is a 64-bit digest of path and identity: the same entry has the same one whenever it is looked up, and
/// two of a million entries share one with a chance of 1 to 10^7. A device whose directory is renamed, as a network
/// interface may be, is another entry.
class LinuxRegistryPort : public RegistryPort {
public:
    /// The root and the diagnostics must outlive the port. Reads nothing yet.
    LinuxRegistryPort(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics);

    /// What matches is settled when the iterator is made; what went away since is passed over.
    Result<RegistryHandle> matchingServices(const RegistryMatch& match) override;
    /// The children as they are when the iterator is made.
    Result<RegistryHandle> childIterator(RegistryHandle entry) override;
    /// Reads the children of an entry when it passes it: what went away by then is passed over, what came is found.
    Result<RegistryHandle> descendantIterator(RegistryHandle entry) override;
    RegistryHandle next(RegistryHandle iterator) override;
    /// A walk reads the tree again; the others start at the first entry that they had.
    void reset(RegistryHandle iterator) override;
    void retain(RegistryHandle handle) override;
    void release(RegistryHandle handle) override;
    /// A property that cannot be read is left out.
    Result<Value> properties(RegistryHandle entry) override;
    Result<Value> property(RegistryHandle entry, const std::string& key) override;
    Result<RegistryHandle> parent(RegistryHandle entry) override;
    Result<RegistryHandle> child(RegistryHandle entry) override;
    /// A component may leave its "@location" out; the first sibling that fits is taken. Malformed for a path of another
    /// plane.
    Result<RegistryHandle> entryAtPath(const std::string& path) override;
    /// "IOService:/LinuxPlatform/pci0000:00/..."; '/', '@', '%' and bytes that are no UTF-8 in a name become "%2F".
    Result<std::string> path(RegistryHandle entry) override;
    Result<std::string> name(RegistryHandle entry) override;
    Result<std::string> className(RegistryHandle entry) override;
    Result<std::uint64_t> entryID(RegistryHandle entry) override;
    /// Every entry is an "IORegistryEntry", every entry but the root an "IOService" too.
    bool conformsTo(RegistryHandle entry, const std::string& className) override;

    // For those who watch services.

    /// What matches now; Malformed for a question that makes no sense.
    Result<std::vector<RegistryEntryPointer>> matchingEntries(const RegistryMatch& match) const;

    /// An iterator over entries, owned by the caller; those whose device went away are handed out too.
    RegistryHandle makeIterator(const std::vector<RegistryEntryPointer>& entries);

    /// Gives an iterator other entries, from the first; false when nobody holds it.
    bool refill(RegistryHandle iterator, const std::vector<RegistryEntryPointer>& entries);

    /// Whether an iterator was walked to its end; nothing when nobody holds it.
    std::optional<bool> isExhausted(RegistryHandle iterator) const;

    /// Who holds what, for tests.
    const RegistryHandles& handles() const { return handles_; }

private:
    Result<RegistryEntryPointer> alive(RegistryHandle handle) const;
    Failure gone(const RegistryEntry& entry) const;

    RegistryEntries entries_;
    RegistryHandles handles_;
};

}  // namespace hvk
