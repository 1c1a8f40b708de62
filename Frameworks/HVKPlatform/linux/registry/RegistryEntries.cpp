#include "HVKPlatform/linux/registry/RegistryEntries.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "HVKPlatform/linux/parse/SysfsText.h"
#include "HVKPlatform/linux/registry/ProcessorEntries.h"
#include "HVKPlatform/linux/registry/Projectors.h"
#include "HVKPlatform/support/RegistryMatching.h"

namespace hvk {

namespace {

const std::string Devices = "/sys/devices";
/// Holds the devices that lie on no bus.
const std::string VirtualDevices = "/sys/devices/virtual";

constexpr std::size_t RootPlace = 0;
constexpr std::size_t PlatformPlace = 1;

/// Fixed entries are numbered from here; entry IDs are wider than 32 bits, whoever cuts one off finds out.
constexpr std::uint64_t FirstFixedID = 0x100000000;
/// The entry IDs of devices have it.
constexpr std::uint64_t DeviceIDBit = std::uint64_t{1} << 63;

/// A 64-bit digest of an entry's path and identity (FNV-1a, mixed at the end).
class EntryDigest {
public:
    void add(std::string_view bytes) {
        for (const char byte : bytes) state_ = (state_ ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }

    void add(std::uint64_t number) {
        for (int shift = 0; shift < 64; shift += 8) state_ = (state_ ^ ((number >> shift) & 0xFF)) * 0x100000001B3;
    }

    void add(const SysfsIdentity& identity) {
        add(identity.device);
        add(identity.inode);
        add(static_cast<std::uint64_t>(identity.birthNanoseconds));
    }

    std::uint64_t value() const {
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        return mixed ^ (mixed >> 31);
    }

private:
    std::uint64_t state_ = 0xCBF29CE484222325;
};

/// The order of the tree: what lies on a bus first, a device before what is below it.
bool pathBefore(const std::string& left, const std::string& right) {
    const auto isVirtual = [](const std::string& path) { return path.rfind(VirtualDevices + "/", 0) == 0; };
    if (isVirtual(left) != isVirtual(right)) return isVirtual(right);
    return parse::pathBefore(left, right);
}

std::string parentDirectory(const std::string& path) { return path.substr(0, path.rfind('/')); }

std::string lastName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

/// A link of a class, by the name of the device's node.
std::string linkName(std::string name) {
    std::replace(name.begin(), name.end(), '/', '!');
    return name;
}

/// The one class that a match asks for; nothing when every service may match.
std::optional<std::string> classWanted(const RegistryMatch& match) {
    std::optional<std::string> name;
    if (match.kind == RegistryMatch::Kind::Class) name = match.name;
    if (match.kind == RegistryMatch::Kind::Dictionary)
        if (const auto found = match.dictionary.find("IOProviderClass"); found != match.dictionary.end())
            name = found->is_string() ? found->get<std::string>() : std::string();
    if (name == "IOService" || name == "IORegistryEntry") return std::nullopt;
    return name;
}

std::optional<std::string> bsdNameWanted(const RegistryMatch& match) {
    if (match.kind == RegistryMatch::Kind::BSDName) return match.name;
    if (match.kind != RegistryMatch::Kind::Dictionary) return std::nullopt;
    const auto found = match.dictionary.find("BSD Name");
    if (found == match.dictionary.end() || !found->is_string()) return std::nullopt;
    return found->get<std::string>();
}

}  // namespace

RegistryEntries::RegistryEntries(const LinuxRoot& root, const Topology& topology, Diagnostics& diagnostics)
    : tree_(root, diagnostics), projectors_(registryProjectors(root, diagnostics)) {
    std::vector<TreeRegistry::Description> fixed = {
        {"Root", {"IORegistryEntry"}, {}, {}, {}},
        {"LinuxPlatform", {"IOPlatformExpertDevice", "IOService"}, {}, {}, {}},
    };
    for (TreeRegistry::Description& processor : processorEntries(topology)) fixed.push_back(std::move(processor));
    for (TreeRegistry::Description& description : fixed) {
        RegistryEntry entry;
        entry.place = fixed_.size();
        entry.id = FirstFixedID + entry.place;
        entry.fixed = std::make_shared<const TreeRegistry::Description>(std::move(description));
        fixed_.push_back(std::make_shared<const RegistryEntry>(std::move(entry)));
    }
}

// From directories to entries

const RegistryProjector& RegistryEntries::projectorOf(const std::string& subsystem) const {
    for (const auto& projector : projectors_)
        if (projector->serves(subsystem)) return *projector;
    return *projectors_.back();
}

std::shared_ptr<const ProjectedDevice> RegistryEntries::project(const std::string& path) const {
    return project(path, tree_.linkName(path + "/subsystem").value_or(std::string()));
}

std::shared_ptr<const ProjectedDevice> RegistryEntries::project(const std::string& path, std::string subsystem) const {
    // The identity comes first: a device that is replaced after it is not believed later.
    const auto identity = tree_.identity(path);
    if (!identity) return nullptr;
    SysfsDevice device(tree_, path, std::move(subsystem));
    auto projection = projectorOf(device.subsystem()).project(device);
    if (!projection) return nullptr;
    ProjectedDevice projected{std::move(device), *identity, {}, std::move(*projection)};
    if (!projected.projection.lifeline.empty()) {
        const auto lifeline = tree_.identity(projected.device.file(projected.projection.lifeline));
        if (!lifeline) return nullptr;
        projected.lifeline = *lifeline;
    }
    return std::make_shared<const ProjectedDevice>(std::move(projected));
}

RegistryEntryPointer RegistryEntries::entry(std::shared_ptr<const ProjectedDevice> projected, std::size_t level) const {
    EntryDigest digest;
    digest.add(projected->device.path());
    digest.add(projected->identity);
    digest.add(projected->lifeline);
    RegistryEntry entry;
    entry.level = level;
    entry.projected = std::move(projected);
    if (const SyntheticEntry* const synthetic = entry.synthetic()) {
        digest.add("/" + synthetic->name);
        digest.add("/" + synthetic->location);
    }
    entry.id = digest.value() | DeviceIDBit;
    return std::make_shared<const RegistryEntry>(std::move(entry));
}

RegistryEntryPointer RegistryEntries::outermost(const std::string& path) const {
    auto projected = project(path);
    return projected ? entry(std::move(projected), 0) : nullptr;
}

bool RegistryEntries::isAlive(const RegistryEntry& entry) const {
    if (entry.fixed) return true;
    const ProjectedDevice& projected = *entry.projected;
    const auto identity = tree_.identity(projected.device.path());
    if (!identity || *identity != projected.identity) return false;
    if (projected.projection.lifeline.empty()) return true;
    const auto lifeline = tree_.identity(projected.device.file(projected.projection.lifeline));
    return lifeline && *lifeline == projected.lifeline;
}

// How directories nest

/// The device directories in a directory. A directory that is no device may group devices by their class ("net",
/// "block"), or hold attributes ("queue").
RegistryEntries::Paths RegistryEntries::devicesIn(const std::string& directory) const {
    Paths devices;
    appendDevices(directory, 1, devices);
    return devices;
}

void RegistryEntries::appendDevices(const std::string& directory, int depth, Paths& devices) const {
    const bool isRoot = directory == Devices;
    for (const std::string& name : tree_.directories(directory)) {
        // Processors and memory blocks are in "system"; processors have entries of their own.
        if (name == "power" || (isRoot && (name == "system" || name == "virtual"))) continue;
        std::string path = directory + "/" + name;
        if (tree_.exists(path + "/uevent"))
            devices.push_back(std::move(path));
        else if (depth > 0)
            appendDevices(path, depth - 1, devices);
    }
    if (isRoot) appendDevices(VirtualDevices, 1, devices);
}

/// The name of the directory that groups a device with others of its class; nothing when it lies in its parent itself.
std::optional<std::string> RegistryEntries::groupOf(const std::string& path) const {
    const std::string directory = parentDirectory(path);
    if (directory == Devices || tree_.exists(directory + "/uevent")) return std::nullopt;
    return lastName(directory);
}

std::vector<RegistryEntryPointer> RegistryEntries::children(const RegistryEntry& from) const {
    std::vector<RegistryEntryPointer> children;
    const auto appendDirectories = [&](const std::string& directory) {
        for (const std::string& path : devicesIn(directory))
            if (auto child = outermost(path)) children.push_back(std::move(child));
    };
    if (from.fixed) {
        if (from.place == RootPlace) children.push_back(fixed_[PlatformPlace]);
        if (from.place != PlatformPlace) return children;
        children.assign(fixed_.begin() + PlatformPlace + 1, fixed_.end());
        appendDirectories(Devices);
        return children;
    }
    if (from.level < from.deviceLevel()) {
        children.push_back(entry(from.projected, from.level + 1));
    } else if (from.isDevice()) {
        for (std::size_t below = 0; below < from.projected->projection.below.size(); ++below)
            children.push_back(entry(from.projected, from.level + 1 + below));
        appendDirectories(from.projected->device.path());
    }
    return children;
}

RegistryEntryPointer RegistryEntries::parent(const RegistryEntry& from) const {
    if (from.fixed) {
        if (from.place == RootPlace) return nullptr;
        return fixed_[from.place == PlatformPlace ? RootPlace : PlatformPlace];
    }
    if (from.level > 0) return entry(from.projected, std::min(from.level - 1, from.deviceLevel()));
    for (std::string path = parentDirectory(from.projected->device.path()); path.size() > Devices.size();
         path = parentDirectory(path)) {
        if (!tree_.exists(path + "/uevent")) continue;
        auto projected = project(path);
        if (!projected) return nullptr;
        const std::size_t level = projected->projection.above.size();
        return entry(std::move(projected), level);
    }
    return fixed_[PlatformPlace];
}

// What an entry is

std::string RegistryEntries::name(const RegistryEntry& from) const {
    if (from.fixed) return from.fixed->name;
    if (const SyntheticEntry* const synthetic = from.synthetic()) return parse::readableText(synthetic->name);
    return parse::readableText(from.projected->device.kernelName());
}

const std::vector<std::string>& RegistryEntries::classes(const RegistryEntry& from) const {
    if (from.fixed) return from.fixed->classes;
    if (const SyntheticEntry* const synthetic = from.synthetic()) return synthetic->classes;
    return from.projected->projection.classes;
}

std::string RegistryEntries::component(const RegistryEntry& from) const {
    std::string name;
    std::string location;
    if (from.fixed) {
        name = from.fixed->name;
        location = from.fixed->location;
    } else if (const SyntheticEntry* const synthetic = from.synthetic()) {
        name = synthetic->name;
        location = synthetic->location;
    } else {
        name = from.projected->device.kernelName();
        location = groupOf(from.projected->device.path()).value_or(std::string());
    }
    std::string text = parse::escapedName(name);
    if (!location.empty()) text += "@" + parse::escapedName(location);
    return text;
}

RegistryEntryPointer RegistryEntries::find(const RegistryEntry& from, std::string_view path) const {
    const std::string_view first = path.substr(0, path.find('/'));
    const bool isLast = first.size() == path.size();
    const auto candidates = children(from);
    std::vector<std::string> components;
    components.reserve(candidates.size());
    for (const auto& candidate : candidates) components.push_back(component(*candidate));
    // The entry whose whole component fits is preferred to one that fits by its name alone.
    for (const bool nameAlone : {false, true}) {
        for (std::size_t index = 0; index < candidates.size(); ++index) {
            const std::string_view whole = components[index];
            const std::size_t end = whole.find('@');
            if (nameAlone && end == std::string_view::npos) continue;
            if (first != (nameAlone ? whole.substr(0, end) : whole)) continue;
            if (isLast) return candidates[index];
            if (auto found = find(*candidates[index], path.substr(first.size() + 1))) return found;
        }
    }
    return nullptr;
}

// Properties

std::vector<const RegistryProperties*> RegistryEntries::tables(const RegistryEntry& from) const {
    std::vector<const RegistryProperties*> tables;
    const SyntheticEntry* const synthetic = from.synthetic();
    if (synthetic == nullptr) {
        tables = {from.projected->projection.properties, &genericDeviceProperties()};
    } else {
        tables = {synthetic->properties, &genericSyntheticProperties()};
    }
    if (tables.front() == nullptr) tables.erase(tables.begin());
    return tables;
}

Result<Value> RegistryEntries::properties(const RegistryEntry& from) const {
    if (from.fixed) return readProperties(*from.fixed);
    Value dictionary = Value::object();
    for (const RegistryProperties* const table : tables(from)) {
        for (const RegistryProperty& property : *table) {
            if (dictionary.contains(property.key)) continue;
            if (auto value = property.read(from.projected->device); value && !value->is_null())
                dictionary[property.key] = std::move(*value);
        }
    }
    return dictionary;
}

Result<Value> RegistryEntries::property(const RegistryEntry& from, const std::string& key) const {
    if (from.fixed) return readProperty(*from.fixed, key);
    for (const RegistryProperties* const table : tables(from)) {
        for (const RegistryProperty& property : *table) {
            if (property.key != key) continue;
            auto value = property.read(from.projected->device);
            if (!value || !value->is_null()) return value;
        }
    }
    return Failure{FailureKind::Absent, "registry entry " + name(from), "no property \"" + key + "\""};
}

// Matching

TreeRegistry::Description RegistryEntries::description(const RegistryEntry& from) const {
    if (from.fixed) return *from.fixed;
    TreeRegistry::Description description;
    description.name = name(from);
    description.classes = classes(from);
    description.property = [this, &from](const std::string& key) { return property(from, key); };
    return description;
}

void RegistryEntries::appendSubsystem(const std::string& subsystem, const std::string& links,
                                      std::vector<Candidate>& devices) const {
    for (const std::string& name : tree_.links(links))
        if (auto path = tree_.device(links + "/" + name)) devices.push_back({std::move(*path), subsystem});
}

std::vector<RegistryEntries::Candidate> RegistryEntries::devicesYielding(const std::string& className) const {
    std::vector<Candidate> devices;
    for (const std::string& subsystem : tree_.directories("/sys/class"))
        if (projectorOf(subsystem).mayYield(subsystem, className))
            appendSubsystem(subsystem, "/sys/class/" + subsystem, devices);
    for (const std::string& subsystem : tree_.directories("/sys/bus"))
        if (projectorOf(subsystem).mayYield(subsystem, className))
            appendSubsystem(subsystem, "/sys/bus/" + subsystem + "/devices", devices);
    return devices;
}

std::vector<RegistryEntries::Candidate> RegistryEntries::devicesNamed(const std::string& bsdName) const {
    std::vector<Candidate> devices;
    const std::string link = linkName(bsdName);
    if (link.empty() || link == "." || link == "..") return devices;
    for (const std::string& subsystem : tree_.directories("/sys/class")) {
        if (!projectorOf(subsystem).hasBSDNames()) continue;
        const std::string path = "/sys/class/" + subsystem + "/" + link;
        if (!tree_.exists(path)) continue;
        if (auto device = tree_.device(path)) devices.push_back({std::move(*device), subsystem});
    }
    return devices;
}

void RegistryEntries::walk(const RegistryEntry& from, const Take& take) const {
    std::vector<RegistryEntryPointer> open = children(from);
    std::reverse(open.begin(), open.end());
    while (!open.empty()) {
        const RegistryEntryPointer next = std::move(open.back());
        open.pop_back();
        const auto below = children(*next);
        open.insert(open.end(), below.rbegin(), below.rend());
        take(next);
    }
}

bool RegistryEntries::matches(const RegistryEntry& entry, const RegistryMatch& match) const {
    if (match.kind != RegistryMatch::Kind::Class || entry.fixed) return matchesService(description(entry), match);
    const auto& names = classes(entry);
    return match.name == "IORegistryEntry" || std::find(names.begin(), names.end(), match.name) != names.end();
}

std::vector<RegistryEntryPointer> RegistryEntries::matching(const RegistryMatch& match) const {
    std::vector<RegistryEntryPointer> found;
    const Take takeIfMatching = [&](RegistryEntryPointer candidate) {
        if (matches(*candidate, match)) found.push_back(std::move(candidate));
    };
    const auto className = classWanted(match);
    const auto bsdName = bsdNameWanted(match);
    const bool hasIndex = tree_.exists("/sys/class") || tree_.exists("/sys/bus");
    if (!hasIndex || (!className && !bsdName)) {
        walk(*root(), takeIfMatching);
        return found;
    }

    for (std::size_t place = PlatformPlace; place < fixed_.size(); ++place) takeIfMatching(fixed_[place]);
    auto candidates = bsdName ? devicesNamed(*bsdName) : devicesYielding(*className);
    std::sort(candidates.begin(), candidates.end(),
              [](const Candidate& left, const Candidate& right) { return pathBefore(left.path, right.path); });
    for (const Candidate& candidate : candidates) {
        const auto projected = project(candidate.path, candidate.subsystem);
        if (!projected) continue;
        const std::size_t levels = projected->projection.above.size() + 1 + projected->projection.below.size();
        for (std::size_t level = 0; level < levels; ++level) takeIfMatching(entry(projected, level));
    }
    return found;
}

}  // namespace hvk
