// Registry.h - the tree of devices: entries with classes, names, property dictionaries, parents and children.
//
// Entries and iterators are 32-bit handles that are counted: whoever receives one owns one reference and gives it back
// with `release`. Every walk is in the "IOService" plane. An entry whose device went away answers nothing, never what
// it answered before. macOS: IOKit. Linux: a tree projected from sysfs. Thread: any, but one iterator belongs to one
// thread.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// A counted handle of an entry or of an iterator; 0 is none.
using RegistryHandle = std::uint32_t;

/// What to look for. Exactly one question, as the four matching functions of IOKit put it.
struct RegistryMatch {
    enum class Kind {
        BSDName,      ///< the entry's "BSD Name", e.g. "disk0s1"
        ServiceName,  ///< the entry's registry name
        Class,        ///< the entry's class or one that it derives from, e.g. "IOMedia"
        Dictionary,   ///< every key: "IOProviderClass", "IOPropertyMatch" (dictionary), other keys as properties
    };
    Kind kind = Kind::Class;
    std::string name;  ///< for the first three
    Value dictionary;  ///< for Dictionary
};

/// The device tree.
class HVK_EXPORT RegistryPort {
public:
    virtual ~RegistryPort() = default;

    /// An iterator over the matching services in registry order. IOServiceGetMatchingServices.
    virtual Result<RegistryHandle> matchingServices(const RegistryMatch& match) = 0;

    /// An iterator over the direct children. IORegistryEntryGetChildIterator.
    virtual Result<RegistryHandle> childIterator(RegistryHandle entry) = 0;

    /// An iterator over all descendants, depth first. IORegistryEntryCreateIterator, recursive.
    virtual Result<RegistryHandle> descendantIterator(RegistryHandle entry) = 0;

    /// The next entry (owned by the caller), 0 at the end or for a handle that is no iterator. IOIteratorNext.
    virtual RegistryHandle next(RegistryHandle iterator) = 0;

    /// Back to the first entry. IOIteratorReset.
    virtual void reset(RegistryHandle iterator) = 0;

    /// One more reference; 0 is ignored. IOObjectRetain.
    virtual void retain(RegistryHandle handle) = 0;

    /// One reference less; 0 is ignored. IOObjectRelease.
    virtual void release(RegistryHandle handle) = 0;

    /// The whole property dictionary, a snapshot. IORegistryEntryCreateCFProperties.
    virtual Result<Value> properties(RegistryHandle entry) = 0;

    /// One property; Absent when the entry has none of that name. IORegistryEntryCreateCFProperty.
    virtual Result<Value> property(RegistryHandle entry, const std::string& key) = 0;

    /// The parent, owned by the caller; Absent at the root. IORegistryEntryGetParentEntry.
    virtual Result<RegistryHandle> parent(RegistryHandle entry) = 0;

    /// The first child, owned by the caller; Absent when there is none. IORegistryEntryGetChildEntry.
    virtual Result<RegistryHandle> child(RegistryHandle entry) = 0;

    /// The entry at a path such as "IOService:/AppleARMPE/cpu0", owned by the caller. IORegistryEntryFromPath.
    virtual Result<RegistryHandle> entryAtPath(const std::string& path) = 0;

    /// The path of an entry, "IOService:/...". IORegistryEntryGetPath.
    virtual Result<std::string> path(RegistryHandle entry) = 0;

    /// The registry name. IORegistryEntryGetName.
    virtual Result<std::string> name(RegistryHandle entry) = 0;

    /// The class name. IOObjectGetClass.
    virtual Result<std::string> className(RegistryHandle entry) = 0;

    /// A number that no other entry has had since boot. IORegistryEntryGetRegistryEntryID.
    virtual Result<std::uint64_t> entryID(RegistryHandle entry) = 0;

    /// Whether the entry's class is `className` or derives from it. IOObjectConformsTo.
    virtual bool conformsTo(RegistryHandle entry, const std::string& className) = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedRegistryPort : public RegistryPort {
public:
    Result<RegistryHandle> matchingServices(const RegistryMatch&) override { return unsupported("registry"); }
    Result<RegistryHandle> childIterator(RegistryHandle) override { return unsupported("registry"); }
    Result<RegistryHandle> descendantIterator(RegistryHandle) override { return unsupported("registry"); }
    RegistryHandle next(RegistryHandle) override { return 0; }
    void reset(RegistryHandle) override {}
    void retain(RegistryHandle) override {}
    void release(RegistryHandle) override {}
    Result<Value> properties(RegistryHandle) override { return unsupported("registry"); }
    Result<Value> property(RegistryHandle, const std::string&) override { return unsupported("registry"); }
    Result<RegistryHandle> parent(RegistryHandle) override { return unsupported("registry"); }
    Result<RegistryHandle> child(RegistryHandle) override { return unsupported("registry"); }
    Result<RegistryHandle> entryAtPath(const std::string&) override { return unsupported("registry"); }
    Result<std::string> path(RegistryHandle) override { return unsupported("registry"); }
    Result<std::string> name(RegistryHandle) override { return unsupported("registry"); }
    Result<std::string> className(RegistryHandle) override { return unsupported("registry"); }
    Result<std::uint64_t> entryID(RegistryHandle) override { return unsupported("registry"); }
    bool conformsTo(RegistryHandle, const std::string&) override { return false; }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingRegistryPort : public RegistryPort {
public:
    explicit ForwardingRegistryPort(RegistryPort& target) : target_(target) {}
    Result<RegistryHandle> matchingServices(const RegistryMatch& match) override {
        return target_.matchingServices(match);
    }
    Result<RegistryHandle> childIterator(RegistryHandle entry) override { return target_.childIterator(entry); }
    Result<RegistryHandle> descendantIterator(RegistryHandle entry) override {
        return target_.descendantIterator(entry);
    }
    RegistryHandle next(RegistryHandle iterator) override { return target_.next(iterator); }
    void reset(RegistryHandle iterator) override { target_.reset(iterator); }
    void retain(RegistryHandle handle) override { target_.retain(handle); }
    void release(RegistryHandle handle) override { target_.release(handle); }
    Result<Value> properties(RegistryHandle entry) override { return target_.properties(entry); }
    Result<Value> property(RegistryHandle entry, const std::string& key) override {
        return target_.property(entry, key);
    }
    Result<RegistryHandle> parent(RegistryHandle entry) override { return target_.parent(entry); }
    Result<RegistryHandle> child(RegistryHandle entry) override { return target_.child(entry); }
    Result<RegistryHandle> entryAtPath(const std::string& path) override { return target_.entryAtPath(path); }
    Result<std::string> path(RegistryHandle entry) override { return target_.path(entry); }
    Result<std::string> name(RegistryHandle entry) override { return target_.name(entry); }
    Result<std::string> className(RegistryHandle entry) override { return target_.className(entry); }
    Result<std::uint64_t> entryID(RegistryHandle entry) override { return target_.entryID(entry); }
    bool conformsTo(RegistryHandle entry, const std::string& className) override {
        return target_.conformsTo(entry, className);
    }

protected:
    RegistryPort& target_;
};

/// One reference to a handle, given back when it goes out of scope.
class HVK_EXPORT RegistryReference {
public:
    RegistryReference() = default;
    RegistryReference(RegistryPort& registry, RegistryHandle handle) : registry_(&registry), handle_(handle) {}
    RegistryReference(RegistryReference&& other) noexcept
        : registry_(other.registry_), handle_(std::exchange(other.handle_, 0)) {}
    RegistryReference& operator=(RegistryReference&& other) noexcept {
        if (this != &other) {
            reset();
            registry_ = other.registry_;
            handle_ = std::exchange(other.handle_, 0);
        }
        return *this;
    }
    ~RegistryReference() { reset(); }

    /// The handle, still owned by this object; 0 when it holds none.
    RegistryHandle get() const { return handle_; }
    explicit operator bool() const { return handle_ != 0; }

    /// Hands the reference to the caller, who now owns it.
    RegistryHandle take() { return std::exchange(handle_, 0); }

    /// Gives the reference back now.
    void reset() {
        if (registry_ != nullptr && handle_ != 0) registry_->release(handle_);
        handle_ = 0;
    }

private:
    RegistryPort* registry_ = nullptr;
    RegistryHandle handle_ = 0;
};

}  // namespace hvk
