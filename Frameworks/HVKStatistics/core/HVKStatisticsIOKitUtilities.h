// HVKStatisticsIOKitUtilities.h - the one way in which the modules walk the device tree: an iterator over services or
// children, and questions about an entry, its parents and its children.
//
// It owns the rules of who releases what; where entries come from is the registry's business. Every walk is in the
// "IOService" plane, every dictionary is a snapshot, nothing is kept or logged. No operation reports an error: what
// cannot be answered is a null Value, std::nullopt or entry 0, for entry 0 and for an entry that went away too.
//
// The registry is always the first argument, so that nobody asks the live machine where another one is measured:
//
//     auto disks = HVKStatisticsIOKitUtilities::iteratorWithServiceMatch(machine.registry(), "IOMedia");
//     while (disks.nextObject() != 0) use(disks.propertyWithKey("BSD Name"));
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// An iterator that owns its handle and the entry that it returned last: advancing releases the entry before the next
/// one is taken, `finish` and destruction release both. Who keeps an entry longer retains it. An iterator whose making
/// failed yields nothing. Thread: the one that made it; the class operations may run on any. The registry must outlive
/// the iterator.
class HVK_EXPORT HVKStatisticsIOKitUtilities {
public:
    /// An iterator over nothing.
    explicit HVKStatisticsIOKitUtilities(RegistryPort& registry) : registry_(&registry) {}
    HVKStatisticsIOKitUtilities(HVKStatisticsIOKitUtilities&&) noexcept = default;
    HVKStatisticsIOKitUtilities& operator=(HVKStatisticsIOKitUtilities&&) noexcept = default;

    /// The services with this "BSD Name", e.g. "disk0s1".
    static HVKStatisticsIOKitUtilities iteratorWithBSDNameMatch(RegistryPort& registry, const std::string& name);
    /// The same.
    static HVKStatisticsIOKitUtilities initWithBSDNameMatch(RegistryPort& registry, const std::string& name);

    /// The services with this registry name, e.g. "pmgr".
    static HVKStatisticsIOKitUtilities iteratorWithServiceNameMatch(RegistryPort& registry, const std::string& name);
    /// The same.
    static HVKStatisticsIOKitUtilities initWithServiceNameMatch(RegistryPort& registry, const std::string& name);

    /// The services of this class or of one that derives from it, e.g. "IOMedia".
    static HVKStatisticsIOKitUtilities iteratorWithServiceMatch(RegistryPort& registry, const std::string& className);
    /// The same, with the spelling that hosts know.
    static HVKStatisticsIOKitUtilities initWitServicehMatch(RegistryPort& registry, const std::string& className);

    /// The services that a matching dictionary describes, e.g. {"IOProviderClass": "IOHIDDevice", "VendorID": 1452}.
    static HVKStatisticsIOKitUtilities iteratorWithMatch(RegistryPort& registry, const Value& matching);
    /// The same.
    static HVKStatisticsIOKitUtilities initWithMatch(RegistryPort& registry, const Value& matching);

    /// The direct children of an entry.
    static HVKStatisticsIOKitUtilities childIteratorFromObject(RegistryPort& registry, RegistryHandle entry);
    /// The same.
    static HVKStatisticsIOKitUtilities initWithChildIteratorFromObject(RegistryPort& registry, RegistryHandle entry);

    /// All descendants of an entry, depth first.
    static HVKStatisticsIOKitUtilities initWithDeepChildIteratorFromObject(RegistryPort& registry,
                                                                           RegistryHandle entry);

    /// An iterator over the children for an index of 1, none for less. For more it yields nothing: each step starts at
    /// the current entry of an iterator that has not advanced, which is none. Callers rely on that.
    static std::optional<HVKStatisticsIOKitUtilities> childIteratorFromObject(RegistryPort& registry,
                                                                              RegistryHandle entry, std::int64_t index);

    /// Advances and returns the entry, which the iterator owns; 0 at the end.
    RegistryHandle nextObject();

    /// Advances and returns the entry's whole dictionary; null at the end, and for an entry that went away meanwhile.
    /// `object` is the entry.
    Value next();

    /// Advances and returns {"IOName": the property of that name}, {} for an entry without one, null at the end.
    Value nextName();

    /// The current entry, owned by the iterator; 0 before the first advance and at the end.
    RegistryHandle object() const { return object_.get(); }

    /// The current entry's path, "IOService:/AppleARMPE/cpu0".
    std::optional<std::string> objectPath() const;

    /// The current entry's registry name, "cpu0".
    std::optional<std::string> objectName() const;

    /// The current entry's registry entry ID in decimal, "4294967612".
    std::optional<std::string> objectID() const;

    /// One property of the current entry; null when it has none of that name.
    Value propertyWithKey(const std::string& key) const;

    /// Starts again at the first entry; `object` stays until the next advance.
    void reset();

    /// Releases the iterator and the current entry now. Every advance after it yields nothing.
    void finish();

    /// The dictionary of the first service that matches; null for none.
    static Value dictionaryWithMatch(RegistryPort& registry, const Value& matching);

    /// An entry's path and its registry name.
    static std::optional<std::string> pathForObject(RegistryPort& registry, RegistryHandle entry);
    static std::optional<std::string> nameForObject(RegistryPort& registry, RegistryHandle entry);

    /// The entry at a path, owned by the caller; 0 for none.
    static RegistryHandle objectAtPath(RegistryPort& registry, const std::string& path);

    /// The dictionary of the entry at a path; null when there is no entry.
    static Value propertiesFromObjectAtPath(RegistryPort& registry, const std::string& path);

    /// One property of an entry; null when it has none of that name.
    static Value property(RegistryPort& registry, const std::string& key, RegistryHandle fromObject);

    /// An entry's whole dictionary.
    static Value propertiesFromObject(RegistryPort& registry, RegistryHandle entry);

    /// The dictionary of the direct parent; null without one.
    static Value dictionaryForParentOfObject(RegistryPort& registry, RegistryHandle entry);

    /// The ancestor so many levels up, owned by the caller; 0 when the tree is not that high. For an index below 1 it
    /// is the entry itself with one more reference.
    static RegistryHandle parentAtIndex(RegistryPort& registry, std::int64_t index, RegistryHandle forObject);

    /// The entry reached by taking the first child so many times, owned by the caller; 0 when there is none. For an
    /// index below 1 it is the entry itself with one more reference.
    static RegistryHandle childAtIndex(RegistryPort& registry, std::int64_t index, RegistryHandle forObject);

    /// The dictionaries of these two; null when there is no such entry.
    static Value dictionaryForParentAtIndex(RegistryPort& registry, std::int64_t index, RegistryHandle forObject);
    static Value dictionaryForChildAtIndex(RegistryPort& registry, std::int64_t index, RegistryHandle forObject);

    /// The value of `key` in the nearest ancestor that has one, at most `limit` levels up; null for none. The entry
    /// itself is not searched.
    static Value searchForKeyInParents(RegistryPort& registry, const std::string& key, std::int64_t limit,
                                       RegistryHandle forObject);

private:
    HVKStatisticsIOKitUtilities(RegistryPort& registry, Result<RegistryHandle> iterator);

    RegistryPort* registry_;
    RegistryReference iterator_;
    RegistryReference object_;
};

}  // namespace hvk
