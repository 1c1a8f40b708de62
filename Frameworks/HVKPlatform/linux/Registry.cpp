#include "HVKPlatform/linux/Registry.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace hvk {

namespace {

constexpr const char* Source = "registry";
constexpr std::string_view PlanePrefix = "IOService:/";

/// A walk takes from the end.
std::vector<RegistryEntryPointer> reversed(std::vector<RegistryEntryPointer> entries) {
    std::reverse(entries.begin(), entries.end());
    return entries;
}

}  // namespace

LinuxRegistryPort::LinuxRegistryPort(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics)
    : entries_(root, topology, diagnostics) {}

Failure LinuxRegistryPort::gone(const RegistryEntry& entry) const {
    return {FailureKind::Gone, Source, "the device of " + entries_.name(entry) + " was removed"};
}

/// The entry of a handle, when its device is still there.
Result<RegistryEntryPointer> LinuxRegistryPort::alive(RegistryHandle handle) const {
    auto entry = handles_.entry(handle);
    if (entry && !entries_.isAlive(**entry)) return gone(**entry);
    return entry;
}

// Iterators

Result<std::vector<RegistryEntryPointer>> LinuxRegistryPort::matchingEntries(const RegistryMatch& match) const {
    if (match.kind == RegistryMatch::Kind::Dictionary && !match.dictionary.is_object())
        return Failure{FailureKind::Malformed, Source, "the matching dictionary is no dictionary"};
    return entries_.matching(match);
}

Result<RegistryHandle> LinuxRegistryPort::matchingServices(const RegistryMatch& match) {
    auto entries = matchingEntries(match);
    if (!entries) return entries.failure();
    RegistryIteration iteration;
    iteration.first = reversed(std::move(*entries));
    iteration.open = iteration.first;
    return handles_.own(std::move(iteration));
}

Result<RegistryHandle> LinuxRegistryPort::childIterator(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    RegistryIteration iteration;
    iteration.first = reversed(entries_.children(**entry));
    iteration.open = iteration.first;
    return handles_.own(std::move(iteration));
}

Result<RegistryHandle> LinuxRegistryPort::descendantIterator(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    RegistryIteration iteration;
    iteration.isDeep = true;
    iteration.first = {*entry};
    iteration.open = reversed(entries_.children(**entry));
    return handles_.own(std::move(iteration));
}

RegistryHandle LinuxRegistryPort::next(RegistryHandle iterator) {
    const auto iteration = handles_.iteration(iterator);
    if (!iteration) return 0;
    while (!iteration->open.empty()) {
        RegistryEntryPointer entry = std::move(iteration->open.back());
        iteration->open.pop_back();
        if (!iteration->showsGone && !entries_.isAlive(*entry)) continue;
        if (iteration->isDeep)
            for (RegistryEntryPointer& child : reversed(entries_.children(*entry)))
                iteration->open.push_back(std::move(child));
        return handles_.own(std::move(entry));
    }
    iteration->exhausted = true;
    return 0;
}

RegistryHandle LinuxRegistryPort::makeIterator(const std::vector<RegistryEntryPointer>& entries) {
    RegistryIteration iteration;
    iteration.first = reversed(entries);
    iteration.open = iteration.first;
    iteration.showsGone = true;
    return handles_.own(std::move(iteration));
}

bool LinuxRegistryPort::refill(RegistryHandle iterator, const std::vector<RegistryEntryPointer>& entries) {
    const auto iteration = handles_.iteration(iterator);
    if (!iteration) return false;
    iteration->first = reversed(entries);
    iteration->open = iteration->first;
    iteration->exhausted = false;
    return true;
}

std::optional<bool> LinuxRegistryPort::isExhausted(RegistryHandle iterator) const {
    const auto iteration = handles_.iteration(iterator);
    if (!iteration) return std::nullopt;
    return iteration->exhausted;
}

void LinuxRegistryPort::reset(RegistryHandle iterator) {
    const auto iteration = handles_.iteration(iterator);
    if (!iteration) return;
    iteration->exhausted = false;
    iteration->open = iteration->first;
    if (!iteration->isDeep) return;
    const RegistryEntryPointer start = iteration->first.front();
    iteration->open.clear();
    if (entries_.isAlive(*start)) iteration->open = reversed(entries_.children(*start));
}

void LinuxRegistryPort::retain(RegistryHandle handle) { handles_.retain(handle); }

void LinuxRegistryPort::release(RegistryHandle handle) { handles_.release(handle); }

// Properties. Whether the device is still there is asked after they were read: if it is, they are its own.

Result<Value> LinuxRegistryPort::properties(RegistryHandle handle) {
    const auto entry = handles_.entry(handle);
    if (!entry) return entry.failure();
    auto properties = entries_.properties(**entry);
    if (!entries_.isAlive(**entry)) return gone(**entry);
    return properties;
}

Result<Value> LinuxRegistryPort::property(RegistryHandle handle, const std::string& key) {
    const auto entry = handles_.entry(handle);
    if (!entry) return entry.failure();
    auto property = entries_.property(**entry, key);
    if (!entries_.isAlive(**entry)) return gone(**entry);
    return property;
}

// Relatives and paths

Result<RegistryHandle> LinuxRegistryPort::parent(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    auto parent = entries_.parent(**entry);
    if (parent) return handles_.own(std::move(parent));
    if (*entry == entries_.root()) return Failure{FailureKind::Absent, Source, "the root has no parent"};
    return gone(**entry);
}

Result<RegistryHandle> LinuxRegistryPort::child(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    const auto children = entries_.children(**entry);
    if (children.empty()) return Failure{FailureKind::Absent, Source, entries_.name(**entry) + " has no child"};
    return handles_.own(children.front());
}

Result<RegistryHandle> LinuxRegistryPort::entryAtPath(const std::string& path) {
    std::string_view rest = path;
    if (rest.substr(0, PlanePrefix.size()) != PlanePrefix)
        return Failure{FailureKind::Malformed, Source, "a path begins with IOService:/, not so " + path};
    rest.remove_prefix(PlanePrefix.size());
    auto found = rest.empty() ? entries_.root() : entries_.find(*entries_.root(), rest);
    if (!found) return Failure{FailureKind::Absent, Source, "no entry at " + path};
    return handles_.own(std::move(found));
}

Result<std::string> LinuxRegistryPort::path(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    std::string path;
    for (RegistryEntryPointer at = *entry; at != entries_.root();) {
        path = entries_.component(*at) + (path.empty() ? "" : "/") + path;
        at = entries_.parent(*at);
        if (!at) return gone(**entry);
    }
    return std::string(PlanePrefix) + path;
}

// What an entry is

Result<std::string> LinuxRegistryPort::name(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    return entries_.name(**entry);
}

Result<std::string> LinuxRegistryPort::className(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    return entries_.classes(**entry).front();
}

Result<std::uint64_t> LinuxRegistryPort::entryID(RegistryHandle handle) {
    const auto entry = alive(handle);
    if (!entry) return entry.failure();
    return (*entry)->id;
}

bool LinuxRegistryPort::conformsTo(RegistryHandle handle, const std::string& className) {
    const auto entry = alive(handle);
    if (!entry) return false;
    if (className == "IORegistryEntry") return true;
    const auto& classes = entries_.classes(**entry);
    return std::find(classes.begin(), classes.end(), className) != classes.end();
}

}  // namespace hvk
