#include "HVKPlatform/recorded/Registry.h"

#include <iterator>
#include <utility>

#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/support/RegistryMatching.h"

namespace hvk {

namespace {

using Node = TreeRegistry::Node;
using Description = TreeRegistry::Description;
using SharedProperties = std::shared_ptr<const RecordedProperties>;

constexpr const char* Source = "recording: registry";

/// No registry is deeper; a recording that is would use up the stack.
constexpr int DeepestEntry = 200;

/// Puts the properties that `field` names over those of `properties`; a null takes one away.
RecordedProperties mergedProperties(const RecordingField& field, RecordedProperties properties) {
    if (auto failure = field.failureOrData(Source)) {
        properties.failure = std::move(*failure);
        return properties;
    }
    properties.failure.reset();
    field.eachEntry([&](const std::string& key, const RecordingField& property) {
        properties.values.erase(key);
        properties.failures.erase(key);
        if (auto failure = property.failureOrData(Source))
            properties.failures.emplace(key, std::move(*failure));
        else if (!property.value().is_null())
            properties.values[key] = property.propertyValue();
    });
    return properties;
}

void answerFrom(Description& description, SharedProperties properties) {
    description.properties = [properties]() -> Result<Value> {
        if (properties->failure) return *properties->failure;
        return properties->values;
    };
    description.property = [properties](const std::string& key) -> Result<Value> {
        if (properties->failure) return *properties->failure;
        if (const auto failed = properties->failures.find(key); failed != properties->failures.end())
            return failed->second;
        const auto found = properties->values.find(key);
        return found != properties->values.end() ? *found : Value();
    };
}

/// An entry's own fields, without its children.
std::pair<Description, SharedProperties> readEntry(const RecordingField& field) {
    field.allowOnly({"name", "classes", "location", "properties", "children"});
    Description description;
    description.name = field.require("name").text();
    if (description.name.empty()) field.require("name").fault("should not be empty");
    if (const auto location = field.find("location")) description.location = location->text();
    if (const auto classes = field.find("classes"))
        for (std::size_t index = 0; index < classes->size(); ++index)
            description.classes.push_back(classes->at(index).text());
    RecordedProperties properties;
    if (const auto given = field.find("properties")) properties = mergedProperties(*given, {});
    auto shared = std::make_shared<const RecordedProperties>(std::move(properties));
    answerFrom(description, shared);
    return {std::move(description), std::move(shared)};
}

void addEntry(const RecordingField& field, Node parent, TreeRegistry& tree, RegistryAnswers& answers, int depth);

void addChildren(const RecordingField& entry, Node node, TreeRegistry& tree, RegistryAnswers& answers, int depth) {
    const auto children = entry.find("children");
    if (!children) return;
    if (depth > DeepestEntry) children->fault("is nested too deeply");
    for (std::size_t index = 0; index < children->size(); ++index)
        addEntry(children->at(index), node, tree, answers, depth + 1);
}

void addEntry(const RecordingField& field, Node parent, TreeRegistry& tree, RegistryAnswers& answers, int depth) {
    auto [description, properties] = readEntry(field);
    const Node node = tree.add(parent, std::move(description));
    answers.properties[node] = std::move(properties);
    addChildren(field, node, tree, answers, depth);
}

Node nodeAt(const RecordingField& path, const TreeRegistry& tree) {
    const Node node = tree.nodeAtPath(path.text());
    if (node == 0) path.fault("no entry at " + path.text());
    return node;
}

void forgetRemoved(const TreeRegistry& tree, RegistryAnswers& answers) {
    for (auto each = answers.properties.begin(); each != answers.properties.end();)
        each = tree.description(each->first) ? std::next(each) : answers.properties.erase(each);
}

void setProperties(const RecordingField& field, Node node, TreeRegistry& tree, RegistryAnswers& answers) {
    Description description = *tree.description(node);
    RecordedProperties before;
    if (const auto known = answers.properties.find(node); known != answers.properties.end())
        before = *known->second;
    else  // an entry that was put in by hand
        before.values = readProperties(description).valueOr(Value::object());
    auto properties = std::make_shared<const RecordedProperties>(mergedProperties(field, std::move(before)));
    answerFrom(description, properties);
    tree.replace(node, std::move(description));
    answers.properties[node] = std::move(properties);
}

void makeChange(const RecordingField& change, TreeRegistry& tree, RegistryAnswers& answers) {
    if (const auto path = change.find("remove")) {
        change.allowOnly({"remove"});
        const Node node = nodeAt(*path, tree);
        if (node == tree.root()) path->fault("the root cannot be removed");
        tree.remove(node);
        forgetRemoved(tree, answers);
    } else if (const auto parent = change.find("add")) {
        change.allowOnly({"add", "entry"});
        addEntry(change.require("entry"), nodeAt(*parent, tree), tree, answers, 0);
    } else if (const auto entry = change.find("set")) {
        change.allowOnly({"set", "properties"});
        setProperties(change.require("properties"), nodeAt(*entry, tree), tree, answers);
    } else {
        change.fault("should have one of \"remove\", \"add\" and \"set\"");
    }
}

}  // namespace

void readRegistry(const RecordingField& field, TreeRegistry& tree, RegistryAnswers& answers) {
    answers.described = true;
    answers.failure = field.failure(Source);
    if (answers.failure) return;
    auto [description, properties] = readEntry(field);
    if (!description.location.empty()) field.require("location").fault("the root has none");
    tree.replace(tree.root(), std::move(description));
    answers.properties[tree.root()] = std::move(properties);
    addChildren(field, tree.root(), tree, answers, 0);
}

void changeRegistry(const RecordingField& field, TreeRegistry& tree, RegistryAnswers& answers) {
    answers.described = true;
    answers.failure = field.failure(Source);
    if (answers.failure) return;
    for (std::size_t index = 0; index < field.size(); ++index) makeChange(field.at(index), tree, answers);
}

RecordedRegistry::RecordedRegistry(TreeRegistry& tree, Diagnostics& diagnostics)
    : ForwardingRegistryPort(tree), tree_(tree), health_(diagnostics.source(Source, "device tree")) {}

RegistryAnswers RecordedRegistry::answers() const {
    std::lock_guard lock(mutex_);
    return answers_;
}

void RecordedRegistry::setAnswers(RegistryAnswers answers) {
    std::lock_guard lock(mutex_);
    std::swap(answers_, answers);
}

/// Why nothing is found. A tree that was filled by hand needs no description.
std::optional<Failure> RecordedRegistry::closed() const {
    std::unique_lock lock(mutex_);
    const bool described = answers_.described;
    auto failure = answers_.failure;
    lock.unlock();
    if (described || tree_.entryCount() > 0) return failure;
    return Failure{FailureKind::Absent, Source, "the recording does not describe it"};
}

Result<RegistryHandle> RecordedRegistry::matchingServices(const RegistryMatch& match) {
    if (auto failure = closed()) return health_.failed(std::move(*failure));
    return noted(health_, tree_.matchingServices(match));
}

Result<RegistryHandle> RecordedRegistry::entryAtPath(const std::string& path) {
    if (auto failure = closed()) return health_.failed(std::move(*failure));
    auto entry = tree_.entryAtPath(path);
    // That a path leads nowhere is an answer.
    if (!entry && entry.failure().kind == FailureKind::Absent) return entry;
    return noted(health_, std::move(entry));
}

Result<Value> RecordedRegistry::properties(RegistryHandle entry) { return noted(health_, tree_.properties(entry)); }

Result<Value> RecordedRegistry::property(RegistryHandle entry, const std::string& key) {
    auto property = tree_.property(entry, key);
    // That an entry has no such property is an answer.
    if (!property && property.failure().kind == FailureKind::Absent) return property;
    return noted(health_, std::move(property));
}

}  // namespace hvk
