// TreeRegistry.h - a device tree in memory that answers the registry's questions.
//
// It owns the shape of the tree, the matching rules, the paths and the counting of handles. What the entries are and
// where their properties come from is the business of the adapter that fills it: properties are functions, asked every
// time and never kept, so that an answer is never older than the question.
//
//     TreeRegistry registry;
//     auto disk = registry.add(registry.root(), {"disk0", {"IOMedia", "IOService"}, "0", readDisk, {}});
//     registry.remove(disk);  // handles to it now answer Gone
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// The tree. Thread: any, for the port and for those who fill it; no property function is called with a lock held, so
/// one may use the tree.
///
/// An entry has one handle for as long as somebody holds it: receiving it twice gives the same number and two
/// references. A failed question says Gone for a held entry that was removed, Absent for a number that nobody holds,
/// Malformed for an iterator where an entry is wanted and the other way round.
class HVK_EXPORT TreeRegistry : public RegistryPort {
public:
    /// An entry of the tree and its registry entry ID; never used twice. 0 is none.
    using Node = std::uint64_t;

    /// What an entry is.
    struct Description {
        std::string name;                  ///< "disk0"
        std::vector<std::string> classes;  ///< own class first, then what it derives from: {"IOMedia", "IOService"}
        std::string location;              ///< what follows "@" in a path component; empty for none
        /// Reads the whole dictionary; empty for an entry without properties. It must not throw.
        std::function<Result<Value>()> properties;
        /// Reads one property more quickly; empty to look it up in `properties`. A null is the same as Absent.
        std::function<Result<Value>(const std::string& key)> property;
    };

    /// A tree of nothing but a root, named "Root".
    TreeRegistry();
    ~TreeRegistry() override;
    TreeRegistry(const TreeRegistry&) = delete;
    TreeRegistry& operator=(const TreeRegistry&) = delete;

    /// The root. It is an "IORegistryEntry" and no service: no match finds it.
    Node root() const { return RootNode; }

    /// Adds an entry after its siblings; 0 when the parent is not in the tree (any more), and nothing is added.
    Node add(Node parent, Description description);

    /// Removes an entry with all below it. Handles stay valid and answer Gone, iterators pass over it. The root and a
    /// node that is not in the tree are left alone.
    void remove(Node node);

    /// Gives an entry another description; false when it is not in the tree. Children and handles stay.
    bool replace(Node node, Description description);

    /// The description of an entry, null when it is not in the tree.
    std::shared_ptr<const Description> description(Node node) const;

    /// The entry at "IOService:/...", 0 for none. See `entryAtPath`.
    Node nodeAtPath(const std::string& path) const;

    /// Entries below the root.
    std::size_t entryCount() const;

    /// The same entries with the same numbers and no handles: to try changes out.
    std::unique_ptr<TreeRegistry> copy() const;

    /// The services that match, in the order of `matchingServices`; none for a question that makes no sense.
    std::vector<Node> matchingNodes(const RegistryMatch& match) const;

    /// An iterator over entries, owned by the caller.
    RegistryHandle makeIterator(std::vector<Node> nodes);

    /// Gives an iterator other entries, from the first; false when nobody holds it.
    bool refill(RegistryHandle iterator, std::vector<Node> nodes);

    /// Whether an iterator was walked to its end; nothing when nobody holds it.
    std::optional<bool> isExhausted(RegistryHandle iterator);

    /// Handles that somebody holds, entries and iterators.
    std::size_t liveHandles() const;

    /// Handles that somebody still held when their tree went, of all trees of this program together. Such a handle was
    /// never given back: a test run that ends with one fails.
    static std::size_t abandonedHandles();

    /// References that are owed; an entry received twice counts twice.
    std::size_t liveReferences() const;

    /// Releases of a handle that nobody held; each was ignored.
    std::size_t overReleases() const;

    /// Services only, depth first. A dictionary matches with all its keys: "IOProviderClass" the class or one that it
    /// derives from, "IONameMatch" the name or one of several, "IOPropertyMatch" a dictionary (or one of several) whose
    /// keys all equal the entry's properties, any other key the property of that name. The iterator holds what matched
    /// when it was made.
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
    /// A component may leave its "@location" out; the first sibling that fits is taken. Malformed for a path of another
    /// plane.
    Result<RegistryHandle> entryAtPath(const std::string& path) override;
    /// "IOService:/AppleARMPE/disk@0"; the root's is "IOService:/".
    Result<std::string> path(RegistryHandle entry) override;
    Result<std::string> name(RegistryHandle entry) override;
    Result<std::string> className(RegistryHandle entry) override;
    Result<std::uint64_t> entryID(RegistryHandle entry) override;
    /// Every entry is an "IORegistryEntry", every entry but the root an "IOService" too.
    bool conformsTo(RegistryHandle entry, const std::string& className) override;

private:
    using SharedDescription = std::shared_ptr<const Description>;

    static constexpr Node RootNode = 0x100000000;  // entry IDs are wider than 32 bits, whoever cuts one off finds out

    struct Entry {
        SharedDescription description;
        Node parent = 0;
        std::vector<Node> children;
        RegistryHandle handle = 0;  ///< 0 while nobody holds it
    };

    struct Handle {
        std::size_t references = 1;
        Node entry = 0;           ///< 0 for an iterator
        std::vector<Node> items;  ///< of an iterator
        std::size_t position = 0;
        bool exhausted = false;  ///< somebody was told that there is no more
    };

    /// An entry as it was when it was looked up.
    struct Held {
        Node node = 0;
        Entry* entry = nullptr;
    };

    // Called with the lock held.
    Result<Held> held(RegistryHandle handle);
    Handle* iterator(RegistryHandle handle);
    RegistryHandle addHandle(Handle handle);
    RegistryHandle ownEntry(Node node, Entry& entry);
    void appendDescendants(const Entry& entry, std::vector<Node>& nodes) const;
    Node findPath(const Entry& parent, std::string_view rest) const;
    std::string pathOf(Node node) const;

    // Called without it.
    Result<SharedDescription> descriptionOf(RegistryHandle handle);
    Failure goneWhileRead(RegistryHandle handle) const;
    bool stillThere(RegistryHandle handle);

    mutable std::mutex mutex_;
    std::unordered_map<Node, Entry> entries_;
    std::unordered_map<RegistryHandle, Handle> handles_;
    Node lastNode_ = RootNode;
    RegistryHandle lastHandle_ = 0;
    std::size_t overReleases_ = 0;
};

}  // namespace hvk
