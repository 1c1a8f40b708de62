// RegistryHandles.h - counts who holds which entry or iterator.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/registry/RegistryEntry.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// A walk over entries that somebody holds; one thread at a time.
struct RegistryIteration {
    std::vector<RegistryEntryPointer> first;  ///< where it starts, and starts again: the last is the next
    std::vector<RegistryEntryPointer> open;   ///< what is left: the last is the next
    bool isDeep = false;                      ///< whether the children of an entry follow it
    bool showsGone = false;                   ///< whether an entry whose device went away is handed out too
    bool exhausted = false;                   ///< somebody was told that there is no more
};

/// The handles. An entry has one handle for as long as somebody holds it: receiving it twice gives the same number and
/// two references. Thread: any.
class RegistryHandles {
public:
    /// One more reference to the entry's handle, which is made when nobody holds it. 0 for null.
    RegistryHandle own(RegistryEntryPointer entry);

    /// A handle of a new iterator.
    RegistryHandle own(RegistryIteration iteration);

    /// What a handle stands for: Absent when nobody holds it, Malformed when it is an iterator.
    Result<RegistryEntryPointer> entry(RegistryHandle handle) const;

    /// The iterator; null when the handle is none.
    std::shared_ptr<RegistryIteration> iteration(RegistryHandle handle) const;

    void retain(RegistryHandle handle);
    void release(RegistryHandle handle);

    /// Handles that somebody holds, and the references that are owed.
    std::size_t liveHandles() const;
    std::size_t liveReferences() const;

    /// Releases of a handle that nobody held; each was ignored.
    std::size_t overReleases() const;

private:
    struct Handle {
        std::size_t references = 1;
        RegistryEntryPointer entry;
        std::shared_ptr<RegistryIteration> iteration;
    };

    RegistryHandle add(Handle handle);

    mutable std::mutex mutex_;
    std::unordered_map<RegistryHandle, Handle> handles_;
    std::unordered_map<std::uint64_t, RegistryHandle> byEntry_;  ///< by registry entry ID
    RegistryHandle lastHandle_ = 0;
    std::size_t overReleases_ = 0;
};

}  // namespace hvk
