// RegistryEntries.h - the entries of a Linux machine: how directories nest into a tree, who is whose parent, and which
// entries a matching has to look at.
//
// It owns no handle and keeps no entry: each question reads directories and links again, no attribute. An entry is
// believed while its directory is the one that it was made from.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HVKPlatform/linux/Topology.h"
#include "HVKPlatform/linux/registry/RegistryEntry.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// The entries. Thread: any.
class RegistryEntries {
public:
    /// The root must outlive this object.
    RegistryEntries(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics);

    const RegistryEntryPointer& root() const { return fixed_.front(); }

    /// Whether the entry's device is still there, and still the same.
    bool isAlive(const RegistryEntry& entry) const;

    /// The children in registry order.
    std::vector<RegistryEntryPointer> children(const RegistryEntry& entry) const;

    /// The parent; null for the root, and for an entry whose parent went away.
    RegistryEntryPointer parent(const RegistryEntry& entry) const;

    /// What matches, in registry order: parents before children, siblings as `parse::nameBefore` sorts them, devices
    /// that lie on no bus last. A class is looked for among the devices of the subsystems that can yield it, a BSD name
    /// by its link in /sys/class, anything else in the whole tree. A dictionary reads those properties that it names.
    std::vector<RegistryEntryPointer> matching(const RegistryMatch& match) const;

    /// The entry at the components of a path below the root, "LinuxPlatform/pci0000:00/..."; null for none.
    RegistryEntryPointer find(const RegistryEntry& from, std::string_view path) const;

    /// The entry's place among its siblings in a path: its name and, after an '@', what tells it from others.
    std::string component(const RegistryEntry& entry) const;

    /// The registry name: the directory's, or the one that the projector gave.
    std::string name(const RegistryEntry& entry) const;

    /// The entry's own class first, then those that it derives from.
    const std::vector<std::string>& classes(const RegistryEntry& entry) const;

    /// The whole dictionary: every property that can be read now. One that fails is left out, its reason is in the
    /// diagnostics.
    Result<Value> properties(const RegistryEntry& entry) const;

    /// One property: reads what it needs and nothing else.
    Result<Value> property(const RegistryEntry& entry, const std::string& key) const;

private:
    using Paths = std::vector<std::string>;
    using Take = std::function<void(RegistryEntryPointer)>;

    const RegistryProjector& projectorOf(const std::string& subsystem) const;
    std::shared_ptr<const ProjectedDevice> project(const std::string& path) const;
    std::shared_ptr<const ProjectedDevice> project(const std::string& path, std::string subsystem) const;
    RegistryEntryPointer entry(std::shared_ptr<const ProjectedDevice> projected, std::size_t level) const;
    RegistryEntryPointer outermost(const std::string& path) const;

    Paths devicesIn(const std::string& directory) const;
    void appendDevices(const std::string& directory, int depth, Paths& devices) const;
    std::optional<std::string> groupOf(const std::string& path) const;

    struct Candidate {
        std::string path;
        std::string subsystem;
    };
    std::vector<Candidate> devicesYielding(const std::string& className) const;
    std::vector<Candidate> devicesNamed(const std::string& bsdName) const;
    void appendSubsystem(const std::string& subsystem, const std::string& links, std::vector<Candidate>& devices) const;
    void walk(const RegistryEntry& from, const Take& take) const;
    bool matches(const RegistryEntry& entry, const RegistryMatch& match) const;
    TreeRegistry::Description description(const RegistryEntry& entry) const;
    std::vector<const RegistryProperties*> tables(const RegistryEntry& entry) const;

    SysfsTree tree_;
    std::vector<std::unique_ptr<const RegistryProjector>> projectors_;
    std::vector<RegistryEntryPointer> fixed_;  ///< root, platform, processors
};

}  // namespace hvk
