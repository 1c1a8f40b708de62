#include "HVKPlatform/support/TreeRegistry.h"

#include <algorithm>
#include <atomic>
#include <string_view>
#include <utility>

#include "HVKPlatform/support/RegistryMatching.h"

namespace hvk {

namespace {

std::atomic<std::size_t> abandoned{0};

constexpr const char* Source = "registry";
constexpr std::string_view PlanePrefix = "IOService:/";

std::string component(const TreeRegistry::Description& description) {
    if (description.location.empty()) return description.name;
    return description.name + "@" + description.location;
}

/// What is left of `path` after its first component, when that is `first`.
std::optional<std::string_view> after(std::string_view path, std::string_view first) {
    if (first.empty() || path.substr(0, first.size()) != first) return std::nullopt;
    path.remove_prefix(first.size());
    if (path.empty()) return path;
    if (path.front() != '/' || path.size() == 1) return std::nullopt;
    return path.substr(1);
}

}  // namespace

TreeRegistry::TreeRegistry() {
    Entry& root = entries_[RootNode];
    root.description = std::make_shared<const Description>(Description{"Root", {"IORegistryEntry"}, {}, {}, {}});
}

TreeRegistry::~TreeRegistry() { abandoned += handles_.size(); }

// Filling the tree

TreeRegistry::Node TreeRegistry::add(Node parent, Description description) {
    auto shared = std::make_shared<const Description>(std::move(description));
    std::lock_guard lock(mutex_);
    const auto above = entries_.find(parent);
    if (above == entries_.end()) return 0;
    const Node node = ++lastNode_;
    above->second.children.push_back(node);
    Entry& entry = entries_[node];
    entry.description = std::move(shared);
    entry.parent = parent;
    return node;
}

void TreeRegistry::remove(Node node) {
    // What the property functions own is destroyed after the lock is given back.
    std::vector<SharedDescription> removed;
    std::lock_guard lock(mutex_);
    const auto found = entries_.find(node);
    if (node == RootNode || found == entries_.end()) return;
    auto& siblings = entries_.at(found->second.parent).children;
    siblings.erase(std::find(siblings.begin(), siblings.end(), node));
    std::vector<Node> nodes{node};
    appendDescendants(found->second, nodes);
    removed.reserve(nodes.size());
    for (const Node each : nodes) {
        removed.push_back(std::move(entries_.at(each).description));
        entries_.erase(each);
    }
}

bool TreeRegistry::replace(Node node, Description description) {
    auto shared = std::make_shared<const Description>(std::move(description));
    std::lock_guard lock(mutex_);
    const auto found = entries_.find(node);
    if (found == entries_.end()) return false;
    found->second.description.swap(shared);
    return true;
}

std::shared_ptr<const TreeRegistry::Description> TreeRegistry::description(Node node) const {
    std::lock_guard lock(mutex_);
    const auto found = entries_.find(node);
    return found == entries_.end() ? nullptr : found->second.description;
}

TreeRegistry::Node TreeRegistry::nodeAtPath(const std::string& path) const {
    std::string_view rest = path;
    if (rest.substr(0, PlanePrefix.size()) != PlanePrefix) return 0;
    rest.remove_prefix(PlanePrefix.size());
    if (rest.empty()) return RootNode;
    std::lock_guard lock(mutex_);
    return findPath(entries_.at(RootNode), rest);
}

std::size_t TreeRegistry::entryCount() const {
    std::lock_guard lock(mutex_);
    return entries_.size() - 1;
}

std::unique_ptr<TreeRegistry> TreeRegistry::copy() const {
    auto copy = std::make_unique<TreeRegistry>();
    std::lock_guard lock(mutex_);
    copy->entries_ = entries_;
    copy->lastNode_ = lastNode_;
    for (auto& [node, entry] : copy->entries_) entry.handle = 0;
    return copy;
}

// Handles

std::size_t TreeRegistry::abandonedHandles() { return abandoned; }

std::size_t TreeRegistry::liveHandles() const {
    std::lock_guard lock(mutex_);
    return handles_.size();
}

std::size_t TreeRegistry::liveReferences() const {
    std::lock_guard lock(mutex_);
    std::size_t references = 0;
    for (const auto& [number, handle] : handles_) references += handle.references;
    return references;
}

std::size_t TreeRegistry::overReleases() const {
    std::lock_guard lock(mutex_);
    return overReleases_;
}

void TreeRegistry::retain(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    if (const auto found = handles_.find(handle); found != handles_.end()) ++found->second.references;
}

void TreeRegistry::release(RegistryHandle handle) {
    if (handle == 0) return;
    std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    if (found == handles_.end()) {
        ++overReleases_;
        return;
    }
    if (--found->second.references > 0) return;
    if (const auto entry = entries_.find(found->second.entry); entry != entries_.end()) entry->second.handle = 0;
    handles_.erase(found);
}

Result<TreeRegistry::Held> TreeRegistry::held(RegistryHandle handle) {
    const auto found = handles_.find(handle);
    if (found == handles_.end())
        return Failure{FailureKind::Absent, Source, "nobody holds handle " + std::to_string(handle)};
    const Node node = found->second.entry;
    if (node == 0)
        return Failure{FailureKind::Malformed, Source, "handle " + std::to_string(handle) + " is an iterator"};
    const auto entry = entries_.find(node);
    if (entry == entries_.end()) return goneWhileRead(handle);
    return Held{node, &entry->second};
}

Failure TreeRegistry::goneWhileRead(RegistryHandle handle) const {
    return {FailureKind::Gone, Source, "the entry of handle " + std::to_string(handle) + " was removed"};
}

TreeRegistry::Handle* TreeRegistry::iterator(RegistryHandle handle) {
    const auto found = handles_.find(handle);
    return found == handles_.end() || found->second.entry != 0 ? nullptr : &found->second;
}

RegistryHandle TreeRegistry::addHandle(Handle handle) {
    // A number comes back only after all others had their turn: a stale handle is found out.
    do ++lastHandle_;
    while (lastHandle_ == 0 || handles_.count(lastHandle_) > 0);
    handles_.emplace(lastHandle_, std::move(handle));
    return lastHandle_;
}

RegistryHandle TreeRegistry::ownEntry(Node node, Entry& entry) {
    if (entry.handle != 0) {
        ++handles_.at(entry.handle).references;
    } else {
        Handle handle;
        handle.entry = node;
        entry.handle = addHandle(std::move(handle));
    }
    return entry.handle;
}

// Iterators

Result<RegistryHandle> TreeRegistry::matchingServices(const RegistryMatch& match) {
    if (match.kind == RegistryMatch::Kind::Dictionary && !match.dictionary.is_object())
        return Failure{FailureKind::Malformed, Source, "the matching dictionary is no dictionary"};

    Handle iterator;
    iterator.items = matchingNodes(match);
    std::lock_guard lock(mutex_);
    return addHandle(std::move(iterator));
}

std::vector<TreeRegistry::Node> TreeRegistry::matchingNodes(const RegistryMatch& match) const {
    std::vector<Node> nodes;
    if (match.kind == RegistryMatch::Kind::Dictionary && !match.dictionary.is_object()) return nodes;
    std::vector<std::pair<Node, SharedDescription>> candidates;
    {
        std::lock_guard lock(mutex_);
        std::vector<Node> all;
        all.reserve(entries_.size());
        appendDescendants(entries_.at(RootNode), all);
        candidates.reserve(all.size());
        for (const Node node : all) candidates.emplace_back(node, entries_.at(node).description);
    }
    for (const auto& [node, description] : candidates)
        if (matchesService(*description, match)) nodes.push_back(node);
    return nodes;
}

RegistryHandle TreeRegistry::makeIterator(std::vector<Node> nodes) {
    Handle iterator;
    iterator.items = std::move(nodes);
    std::lock_guard lock(mutex_);
    return addHandle(std::move(iterator));
}

bool TreeRegistry::refill(RegistryHandle handle, std::vector<Node> nodes) {
    std::lock_guard lock(mutex_);
    Handle* const from = iterator(handle);
    if (from == nullptr) return false;
    from->items = std::move(nodes);
    from->position = 0;
    from->exhausted = false;
    return true;
}

std::optional<bool> TreeRegistry::isExhausted(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    const Handle* const from = iterator(handle);
    if (from == nullptr) return std::nullopt;
    return from->exhausted;
}

Result<RegistryHandle> TreeRegistry::childIterator(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    Handle iterator;
    iterator.items = from->entry->children;
    return addHandle(std::move(iterator));
}

Result<RegistryHandle> TreeRegistry::descendantIterator(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    Handle iterator;
    appendDescendants(*from->entry, iterator.items);
    return addHandle(std::move(iterator));
}

RegistryHandle TreeRegistry::next(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    Handle* const from = iterator(handle);
    if (from == nullptr) return 0;
    while (from->position < from->items.size()) {
        const auto found = entries_.find(from->items[from->position++]);
        // Map nodes do not move: `from` outlives the handle that is added here.
        if (found != entries_.end()) return ownEntry(found->first, found->second);
    }
    from->exhausted = true;
    return 0;
}

void TreeRegistry::reset(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    if (Handle* const from = iterator(handle)) {
        from->position = 0;
        from->exhausted = false;
    }
}

void TreeRegistry::appendDescendants(const Entry& entry, std::vector<Node>& nodes) const {
    // A stack of our own: a deep tree must not use up the thread's.
    std::vector<Node> open(entry.children.rbegin(), entry.children.rend());
    while (!open.empty()) {
        const Node node = open.back();
        open.pop_back();
        nodes.push_back(node);
        const auto& children = entries_.at(node).children;
        open.insert(open.end(), children.rbegin(), children.rend());
    }
}

// Properties

Result<TreeRegistry::SharedDescription> TreeRegistry::descriptionOf(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    const auto entry = held(handle);
    if (!entry) return entry.failure();
    return entry->entry->description;
}

bool TreeRegistry::stillThere(RegistryHandle handle) {
    std::lock_guard lock(mutex_);
    return held(handle).hasValue();
}

Result<Value> TreeRegistry::properties(RegistryHandle entry) {
    const auto description = descriptionOf(entry);
    if (!description) return description.failure();
    auto properties = readProperties(**description);
    if (!stillThere(entry)) return goneWhileRead(entry);
    return properties;
}

Result<Value> TreeRegistry::property(RegistryHandle entry, const std::string& key) {
    const auto description = descriptionOf(entry);
    if (!description) return description.failure();
    auto property = readProperty(**description, key);
    if (!stillThere(entry)) return goneWhileRead(entry);
    return property;
}

// Relatives and paths

Result<RegistryHandle> TreeRegistry::parent(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    if (from->entry->parent == 0) return Failure{FailureKind::Absent, Source, "the root has no parent"};
    return ownEntry(from->entry->parent, entries_.at(from->entry->parent));
}

Result<RegistryHandle> TreeRegistry::child(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    if (from->entry->children.empty())
        return Failure{FailureKind::Absent, Source, from->entry->description->name + " has no child"};
    const Node first = from->entry->children.front();
    return ownEntry(first, entries_.at(first));
}

Result<RegistryHandle> TreeRegistry::entryAtPath(const std::string& path) {
    if (std::string_view(path).substr(0, PlanePrefix.size()) != PlanePrefix)
        return Failure{FailureKind::Malformed, Source, "a path begins with IOService:/, not so " + path};
    const Node node = nodeAtPath(path);
    std::lock_guard lock(mutex_);
    const auto found = entries_.find(node);
    if (found == entries_.end()) return Failure{FailureKind::Absent, Source, "no entry at " + path};
    return ownEntry(node, found->second);
}

/// A name may hold a slash, so components are compared from the tree's side; the entry whose whole component fits is
/// preferred to one that fits by its name alone.
TreeRegistry::Node TreeRegistry::findPath(const Entry& parent, std::string_view rest) const {
    for (const bool nameAlone : {false, true}) {
        for (const Node node : parent.children) {
            const Entry& entry = entries_.at(node);
            if (nameAlone && entry.description->location.empty()) continue;
            const auto left = after(rest, nameAlone ? entry.description->name : component(*entry.description));
            if (!left) continue;
            if (left->empty()) return node;
            if (const Node found = findPath(entry, *left)) return found;
        }
    }
    return 0;
}

std::string TreeRegistry::pathOf(Node node) const {
    std::vector<std::string> components;
    for (; node != RootNode; node = entries_.at(node).parent)
        components.push_back(component(*entries_.at(node).description));
    std::string path(PlanePrefix);
    for (auto each = components.rbegin(); each != components.rend(); ++each) {
        if (each != components.rbegin()) path += '/';
        path += *each;
    }
    return path;
}

Result<std::string> TreeRegistry::path(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    return pathOf(from->node);
}

// What an entry is

Result<std::string> TreeRegistry::name(RegistryHandle entry) {
    const auto description = descriptionOf(entry);
    if (!description) return description.failure();
    return (*description)->name;
}

Result<std::string> TreeRegistry::className(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    const auto& classes = from->entry->description->classes;
    if (!classes.empty()) return classes.front();
    return std::string(from->node == RootNode ? "IORegistryEntry" : "IOService");
}

Result<std::uint64_t> TreeRegistry::entryID(RegistryHandle entry) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return from.failure();
    return from->node;
}

bool TreeRegistry::conformsTo(RegistryHandle entry, const std::string& className) {
    std::lock_guard lock(mutex_);
    const auto from = held(entry);
    if (!from) return false;
    if (from->node == RootNode && className == "IOService") return false;
    return isOfClass(*from->entry->description, className);
}

}  // namespace hvk
