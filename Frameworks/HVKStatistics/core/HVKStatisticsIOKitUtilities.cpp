#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"

#include <utility>

namespace hvk {

namespace {

using Iterator = HVKStatisticsIOKitUtilities;

template <class T>
std::optional<T> answered(Result<T> result) {
    if (!result) return std::nullopt;
    return *std::move(result);
}

RegistryReference retained(RegistryPort& registry, RegistryHandle entry) {
    registry.retain(entry);
    return {registry, entry};
}

RegistryReference owned(RegistryPort& registry, Result<RegistryHandle> entry) { return {registry, entry.valueOr(0)}; }

}  // namespace

HVKStatisticsIOKitUtilities::HVKStatisticsIOKitUtilities(RegistryPort& registry, Result<RegistryHandle> iterator)
    : registry_(&registry), iterator_(owned(registry, std::move(iterator))) {}

// Making an iterator.

Iterator HVKStatisticsIOKitUtilities::iteratorWithBSDNameMatch(RegistryPort& registry, const std::string& name) {
    return initWithBSDNameMatch(registry, name);
}

Iterator HVKStatisticsIOKitUtilities::initWithBSDNameMatch(RegistryPort& registry, const std::string& name) {
    return {registry, registry.matchingServices({RegistryMatch::Kind::BSDName, name, {}})};
}

Iterator HVKStatisticsIOKitUtilities::iteratorWithServiceNameMatch(RegistryPort& registry, const std::string& name) {
    return initWithServiceNameMatch(registry, name);
}

Iterator HVKStatisticsIOKitUtilities::initWithServiceNameMatch(RegistryPort& registry, const std::string& name) {
    return {registry, registry.matchingServices({RegistryMatch::Kind::ServiceName, name, {}})};
}

Iterator HVKStatisticsIOKitUtilities::iteratorWithServiceMatch(RegistryPort& registry, const std::string& className) {
    return initWitServicehMatch(registry, className);
}

Iterator HVKStatisticsIOKitUtilities::initWitServicehMatch(RegistryPort& registry, const std::string& className) {
    return {registry, registry.matchingServices({RegistryMatch::Kind::Class, className, {}})};
}

Iterator HVKStatisticsIOKitUtilities::iteratorWithMatch(RegistryPort& registry, const Value& matching) {
    return initWithMatch(registry, matching);
}

Iterator HVKStatisticsIOKitUtilities::initWithMatch(RegistryPort& registry, const Value& matching) {
    // No dictionary is a bad argument to IOServiceGetMatchingServices, not a match for everything.
    if (!matching.is_object()) return Iterator(registry);
    return {registry, registry.matchingServices({RegistryMatch::Kind::Dictionary, {}, matching})};
}

Iterator HVKStatisticsIOKitUtilities::childIteratorFromObject(RegistryPort& registry, RegistryHandle entry) {
    return initWithChildIteratorFromObject(registry, entry);
}

Iterator HVKStatisticsIOKitUtilities::initWithChildIteratorFromObject(RegistryPort& registry, RegistryHandle entry) {
    return {registry, registry.childIterator(entry)};
}

Iterator HVKStatisticsIOKitUtilities::initWithDeepChildIteratorFromObject(RegistryPort& registry,
                                                                          RegistryHandle entry) {
    return {registry, registry.descendantIterator(entry)};
}

std::optional<Iterator> HVKStatisticsIOKitUtilities::childIteratorFromObject(RegistryPort& registry,
                                                                             RegistryHandle entry, std::int64_t index) {
    std::optional<Iterator> iterator;
    for (std::int64_t step = 0; step < index; ++step) {
        iterator = childIteratorFromObject(registry, entry);
        entry = iterator->object();         // it has not advanced, so the second step starts at nothing
        if (entry == 0 && step > 0) break;  // and so do the others
    }
    return iterator;
}

// Advancing.

RegistryHandle HVKStatisticsIOKitUtilities::nextObject() {
    if (!iterator_) return 0;
    object_.reset();
    object_ = RegistryReference(*registry_, registry_->next(iterator_.get()));
    return object_.get();
}

Value HVKStatisticsIOKitUtilities::next() {
    if (nextObject() == 0) return nullptr;
    return propertiesFromObject(*registry_, object_.get());
}

Value HVKStatisticsIOKitUtilities::nextName() {
    if (nextObject() == 0) return nullptr;
    Value named = Value::object();
    if (Value name = propertyWithKey("IOName"); !name.is_null()) named["IOName"] = std::move(name);
    return named;
}

std::optional<std::string> HVKStatisticsIOKitUtilities::objectPath() const {
    return pathForObject(*registry_, object_.get());
}

std::optional<std::string> HVKStatisticsIOKitUtilities::objectName() const {
    return nameForObject(*registry_, object_.get());
}

std::optional<std::string> HVKStatisticsIOKitUtilities::objectID() const {
    const auto identifier = registry_->entryID(object_.get());
    if (!identifier) return std::nullopt;
    return std::to_string(*identifier);
}

Value HVKStatisticsIOKitUtilities::propertyWithKey(const std::string& key) const {
    return property(*registry_, key, object_.get());
}

void HVKStatisticsIOKitUtilities::reset() {
    if (iterator_) registry_->reset(iterator_.get());
}

void HVKStatisticsIOKitUtilities::finish() {
    iterator_.reset();
    object_.reset();
}

// Questions about an entry.

Value HVKStatisticsIOKitUtilities::dictionaryWithMatch(RegistryPort& registry, const Value& matching) {
    return iteratorWithMatch(registry, matching).next();
}

std::optional<std::string> HVKStatisticsIOKitUtilities::pathForObject(RegistryPort& registry, RegistryHandle entry) {
    return answered(registry.path(entry));
}

std::optional<std::string> HVKStatisticsIOKitUtilities::nameForObject(RegistryPort& registry, RegistryHandle entry) {
    return answered(registry.name(entry));
}

RegistryHandle HVKStatisticsIOKitUtilities::objectAtPath(RegistryPort& registry, const std::string& path) {
    return registry.entryAtPath(path).valueOr(0);
}

Value HVKStatisticsIOKitUtilities::propertiesFromObjectAtPath(RegistryPort& registry, const std::string& path) {
    const RegistryReference entry(registry, objectAtPath(registry, path));
    return entry ? propertiesFromObject(registry, entry.get()) : Value();
}

Value HVKStatisticsIOKitUtilities::property(RegistryPort& registry, const std::string& key, RegistryHandle fromObject) {
    return registry.property(fromObject, key).valueOr(nullptr);
}

Value HVKStatisticsIOKitUtilities::propertiesFromObject(RegistryPort& registry, RegistryHandle entry) {
    return registry.properties(entry).valueOr(nullptr);
}

Value HVKStatisticsIOKitUtilities::dictionaryForParentOfObject(RegistryPort& registry, RegistryHandle entry) {
    const RegistryReference parent = owned(registry, registry.parent(entry));
    return parent ? propertiesFromObject(registry, parent.get()) : Value();
}

RegistryHandle HVKStatisticsIOKitUtilities::parentAtIndex(RegistryPort& registry, std::int64_t index,
                                                          RegistryHandle forObject) {
    RegistryReference entry = retained(registry, forObject);
    for (std::int64_t level = 0; level < index && entry; ++level) entry = owned(registry, registry.parent(entry.get()));
    return entry.take();
}

RegistryHandle HVKStatisticsIOKitUtilities::childAtIndex(RegistryPort& registry, std::int64_t index,
                                                         RegistryHandle forObject) {
    RegistryReference entry = retained(registry, forObject);
    // Nothing has no child, so the steps after a missing one need not be taken.
    for (std::int64_t level = 0; level < index && entry; ++level) entry = owned(registry, registry.child(entry.get()));
    return entry.take();
}

Value HVKStatisticsIOKitUtilities::dictionaryForParentAtIndex(RegistryPort& registry, std::int64_t index,
                                                              RegistryHandle forObject) {
    const RegistryReference parent(registry, parentAtIndex(registry, index, forObject));
    return parent ? propertiesFromObject(registry, parent.get()) : Value();
}

Value HVKStatisticsIOKitUtilities::dictionaryForChildAtIndex(RegistryPort& registry, std::int64_t index,
                                                             RegistryHandle forObject) {
    const RegistryReference child(registry, childAtIndex(registry, index, forObject));
    return child ? propertiesFromObject(registry, child.get()) : Value();
}

Value HVKStatisticsIOKitUtilities::searchForKeyInParents(RegistryPort& registry, const std::string& key,
                                                         std::int64_t limit, RegistryHandle forObject) {
    RegistryReference entry = retained(registry, forObject);
    for (std::int64_t level = 0; level < limit; ++level) {
        entry = owned(registry, registry.parent(entry.get()));
        if (!entry) break;
        Value properties = propertiesFromObject(registry, entry.get());
        const auto found = properties.find(key);
        if (found != properties.end() && !found->is_null()) return std::move(*found);
    }
    return nullptr;
}

}  // namespace hvk
