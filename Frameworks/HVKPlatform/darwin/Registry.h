// Registry.h - the I/O Registry, as IOKit hands it out. A handle is the IOKit object's own port name.
#pragma once

#include "HVKPlatform/ports/Registry.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// RegistryPort of macOS.
///
/// A terminated service whose handle is kept stays in the kernel with its last properties, but leaves the tree; so each
/// question about an entry first asks whether the entry is still in it, and is Gone when not.
class DarwinRegistryPort : public RegistryPort {
public:
    explicit DarwinRegistryPort(Diagnostics& diagnostics);

    Result<RegistryHandle> matchingServices(const RegistryMatch& match) override;
    Result<RegistryHandle> childIterator(RegistryHandle entry) override;
    Result<RegistryHandle> descendantIterator(RegistryHandle entry) override;
    RegistryHandle next(RegistryHandle iterator) override;
    void reset(RegistryHandle iterator) override;
    void retain(RegistryHandle handle) override;
    void release(RegistryHandle handle) override;
    Result<Value> properties(RegistryHandle entry) override;
    Result<Value> property(RegistryHandle entry, const std::string& key) override;
    Result<RegistryHandle> parent(RegistryHandle entry) override;
    Result<RegistryHandle> child(RegistryHandle entry) override;
    Result<RegistryHandle> entryAtPath(const std::string& path) override;
    Result<std::string> path(RegistryHandle entry) override;
    Result<std::string> name(RegistryHandle entry) override;
    Result<std::string> className(RegistryHandle entry) override;
    Result<std::uint64_t> entryID(RegistryHandle entry) override;
    bool conformsTo(RegistryHandle entry, const std::string& className) override;

private:
    /// Whether the entry is in the tree; a failure says that it is not, without noting it: a device may go away.
    Status attached(RegistryHandle entry) const;

    /// Notes the outcome of an IOKit call: nothing there is an answer like any other, an error is the source's.
    Status outcome(const char* call, int code);

    /// An answer that says that there is nothing there.
    Failure absent(const char* call, std::string detail);

    SourceHealth& health_;
};

}  // namespace hvk
