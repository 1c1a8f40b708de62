// Registry.h - the device tree of a recorded machine: how it is described and how a frame changes it.
//
// The tree itself, its matching, paths and handles are TreeRegistry's.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "HVKBase/Export.h"
#include "HVKPlatform/recorded/RecordingField.h"
#include "HVKPlatform/support/Diagnostics.h"
#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {

/// The properties of a recorded entry.
struct RecordedProperties {
    std::optional<Failure> failure;           ///< why there is no dictionary at all
    Value values = Value::object();           ///< what can be read
    std::map<std::string, Failure> failures;  ///< what cannot, by key; not in the dictionary
};

/// What a recording says about the registry besides the tree.
struct RegistryAnswers {
    bool described = false;          ///< whether the recording says anything; a tree filled by hand needs no word
    std::optional<Failure> failure;  ///< why nothing can be found although there is a tree
    /// What the recording says of each entry, so that a change adds to it. Never changed once it is here.
    std::unordered_map<TreeRegistry::Node, std::shared_ptr<const RecordedProperties>> properties;
};

/// Reads the "registry" of a description into a tree that has a root only. Throws RecordingFault.
void readRegistry(const RecordingField& field, TreeRegistry& tree, RegistryAnswers& answers);

/// Makes the "registry" changes of a frame, in order. Throws RecordingFault at the first that does not fit the tree;
/// those before it are made.
void changeRegistry(const RecordingField& field, TreeRegistry& tree, RegistryAnswers& answers);

/// The port: the tree, unless the recording says why there is none. Thread: any.
class HVK_EXPORT RecordedRegistry : public ForwardingRegistryPort {
public:
    RecordedRegistry(TreeRegistry& tree, Diagnostics& diagnostics);

    RegistryAnswers answers() const;
    void setAnswers(RegistryAnswers answers);

    Result<RegistryHandle> matchingServices(const RegistryMatch& match) override;
    Result<RegistryHandle> entryAtPath(const std::string& path) override;
    Result<Value> properties(RegistryHandle entry) override;
    Result<Value> property(RegistryHandle entry, const std::string& key) override;

private:
    std::optional<Failure> closed() const;

    TreeRegistry& tree_;
    SourceHealth& health_;
    mutable std::mutex mutex_;
    RegistryAnswers answers_;
};

}  // namespace hvk
