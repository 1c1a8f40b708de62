// RegistryProjector.h - what a device directory of one subsystem becomes in the registry: the interface of a projector.
//
// A projector is one file and one line in Projectors.cpp. It says which classes an entry has and which properties it
// offers; a property is a function that reads the files that it needs, and nothing else is read for it:
//
//     properties_ = {{"Size", [](const SysfsDevice& disk) { return disk.number("size"); }}};
//
// It looks at a device's directories and links to decide, never into its attributes: a walk must stay a walk.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/linux/registry/SysfsDevice.h"

namespace hvk {

/// One property that entries offer.
struct RegistryProperty {
    std::string key;
    /// Reads it. Absent when this device has none; any thread; it must not throw.
    std::function<Result<Value>(const SysfsDevice&)> read;
};

using RegistryProperties = std::vector<RegistryProperty>;

/// An entry that has no directory of its own: a driver above a disk, an accelerator below a graphics device.
struct SyntheticEntry {
    std::string name;                                ///< "IOBlockStorageDriver"
    std::string location;                            ///< tells it from its siblings, the disk's name as a rule
    std::vector<std::string> classes;                ///< own class first; "IOService" last
    const RegistryProperties* properties = nullptr;  ///< of the projector; null for none
};

/// What one device directory becomes: a chain of entries, and leaves below it. All read from the same directory, and
/// gone when it is.
struct Projection {
    std::vector<std::string> classes;                ///< of the device's own entry, own class first; "IOService" last
    const RegistryProperties* properties = nullptr;  ///< beside those that every device has; null for none
    std::vector<SyntheticEntry> above;               ///< between the parent and the device, the outermost first
    std::vector<SyntheticEntry> below;               ///< children of the device, before those that have directories
    /// A directory in the device's that lives as long as the entries do, when they do not live as long as the device.
    std::string lifeline;
};

/// The interface. One projector serves all devices of its subsystems. Thread: any, all operations at once.
class RegistryProjector {
public:
    virtual ~RegistryProjector() = default;

    /// Whether devices of this subsystem are its own. "" is the subsystem of a device without one.
    virtual bool serves(const std::string& subsystem) const = 0;

    /// Whether an entry of a device of this subsystem may be of this class, or of one that derives from it. Asked
    /// before a matching looks at the subsystem's devices; never for "IOService" and "IORegistryEntry".
    virtual bool mayYield(const std::string& subsystem, const std::string& className) const = 0;

    /// Whether entries of its devices have a "BSD Name", which is then the device's `nodeName`.
    virtual bool hasBSDNames() const { return false; }

    /// What a device becomes; nothing for one that is no entry now.
    virtual std::optional<Projection> project(const SysfsDevice& device) const = 0;
};

}  // namespace hvk
