#include "HVKPlatform/support/RegistryMatching.h"

#include <algorithm>
#include <exception>

namespace hvk {

namespace {

using Description = TreeRegistry::Description;

/// Calls an entry's function; whatever it throws becomes a failure.
template <class Read>
Result<Value> guarded(const Description& description, Read read) {
    try {
        return read();
    } catch (const std::exception& error) {
        return Failure{FailureKind::Malformed, "registry entry " + description.name, error.what()};
    }
}

Failure noProperty(const Description& description, const std::string& key) {
    return {FailureKind::Absent, "registry entry " + description.name, "no property \"" + key + "\""};
}

bool propertyEquals(const Description& description, const std::string& key, const Value& wanted) {
    const auto property = readProperty(description, key);
    return property && *property == wanted;
}

bool propertiesEqual(const Description& description, const Value& wanted) {
    const auto& items = wanted.items();
    return wanted.is_object() && std::all_of(items.begin(), items.end(), [&](const auto& item) {
               return propertyEquals(description, item.key(), item.value());
           });
}

/// Whether `test` holds for a value, or for one of several in an array.
template <class Test>
bool anyOf(const Value& wanted, Test test) {
    return wanted.is_array() ? std::any_of(wanted.begin(), wanted.end(), test) : test(wanted);
}

bool keyMatches(const Description& description, const std::string& key, const Value& wanted) {
    if (key == "IOProviderClass") return wanted.is_string() && isOfClass(description, wanted.get<std::string>());
    if (key == "IONameMatch") return anyOf(wanted, [&](const Value& name) { return name == description.name; });
    if (key == "IOPropertyMatch")
        return anyOf(wanted, [&](const Value& properties) { return propertiesEqual(description, properties); });
    return propertyEquals(description, key, wanted);
}

/// Properties may have to be read from a device, so what the description alone decides is asked first.
bool dictionaryMatches(const Description& description, const Value& dictionary) {
    const auto decidedByDescription = [](const std::string& key) {
        return key == "IOProviderClass" || key == "IONameMatch";
    };
    for (const bool first : {true, false})
        for (const auto& [key, wanted] : dictionary.items())
            if (decidedByDescription(key) == first && !keyMatches(description, key, wanted)) return false;
    return true;
}

}  // namespace

Result<Value> readProperties(const Description& description) {
    if (!description.properties) return Value::object();
    auto properties = guarded(description, [&] { return description.properties(); });
    if (properties && !properties->is_object())
        return Failure{FailureKind::Malformed, "registry entry " + description.name,
                       "its properties are no dictionary"};
    return properties;
}

Result<Value> readProperty(const Description& description, const std::string& key) {
    if (description.property) {
        auto property = guarded(description, [&] { return description.property(key); });
        if (property && property->is_null()) return noProperty(description, key);
        return property;
    }
    auto properties = readProperties(description);
    if (!properties) return properties.failure();
    const auto found = properties->find(key);
    if (found == properties->end() || found->is_null()) return noProperty(description, key);
    return std::move(*found);
}

bool isOfClass(const Description& description, const std::string& className) {
    if (className == "IOService" || className == "IORegistryEntry") return true;
    return std::find(description.classes.begin(), description.classes.end(), className) != description.classes.end();
}

bool matchesService(const Description& description, const RegistryMatch& match) {
    switch (match.kind) {
        case RegistryMatch::Kind::BSDName: return propertyEquals(description, "BSD Name", match.name);
        case RegistryMatch::Kind::ServiceName: return description.name == match.name;
        case RegistryMatch::Kind::Class: return isOfClass(description, match.name);
        case RegistryMatch::Kind::Dictionary: return dictionaryMatches(description, match.dictionary);
    }
    return false;
}

}  // namespace hvk
