#include "HVKPlatform/linux/registry/RegistryHandles.h"

#include <string>
#include <utility>

namespace hvk {

RegistryHandle RegistryHandles::add(Handle handle) {
    // A number comes back only after all others had their turn: a stale handle is found out.
    do ++lastHandle_;
    while (lastHandle_ == 0 || handles_.count(lastHandle_) > 0);
    handles_.emplace(lastHandle_, std::move(handle));
    return lastHandle_;
}

RegistryHandle RegistryHandles::own(RegistryEntryPointer entry) {
    if (!entry) return 0;
    std::lock_guard lock(mutex_);
    const auto [found, isNew] = byEntry_.try_emplace(entry->id, 0);
    if (isNew)
        found->second = add({1, std::move(entry), nullptr});
    else
        ++handles_.at(found->second).references;
    return found->second;
}

RegistryHandle RegistryHandles::own(RegistryIteration iteration) {
    auto shared = std::make_shared<RegistryIteration>(std::move(iteration));
    std::lock_guard lock(mutex_);
    return add({1, nullptr, std::move(shared)});
}

Result<RegistryEntryPointer> RegistryHandles::entry(RegistryHandle handle) const {
    std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    if (found == handles_.end())
        return Failure{FailureKind::Absent, "registry", "nobody holds handle " + std::to_string(handle)};
    if (!found->second.entry)
        return Failure{FailureKind::Malformed, "registry", "handle " + std::to_string(handle) + " is an iterator"};
    return found->second.entry;
}

std::shared_ptr<RegistryIteration> RegistryHandles::iteration(RegistryHandle handle) const {
    std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    return found == handles_.end() ? nullptr : found->second.iteration;
}

void RegistryHandles::retain(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    if (const auto found = handles_.find(handle); found != handles_.end()) ++found->second.references;
}

void RegistryHandles::release(RegistryHandle handle) {
    if (handle == 0) return;
    Handle released;  // what it owns is destroyed after the lock is given back
    std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    if (found == handles_.end()) {
        ++overReleases_;
        return;
    }
    if (--found->second.references > 0) return;
    released = std::move(found->second);
    handles_.erase(found);
    if (released.entry) byEntry_.erase(released.entry->id);
}

std::size_t RegistryHandles::liveHandles() const {
    std::lock_guard lock(mutex_);
    return handles_.size();
}

std::size_t RegistryHandles::liveReferences() const {
    std::lock_guard lock(mutex_);
    std::size_t references = 0;
    for (const auto& [number, handle] : handles_) references += handle.references;
    return references;
}

std::size_t RegistryHandles::overReleases() const {
    std::lock_guard lock(mutex_);
    return overReleases_;
}

}  // namespace hvk
