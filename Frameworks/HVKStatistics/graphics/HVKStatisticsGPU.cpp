#include "HVKStatistics/graphics/HVKStatisticsGPU.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

namespace {

constexpr double BytesPerMebibyte = 1024 * 1024;

/// How far above an accelerator a Thunderbolt port may be.
constexpr std::int64_t ThunderboltLevels = 5;

/// What the controller is asked for its state with, and the answer when the integrated processor draws.
constexpr std::uint64_t ActiveSelector = 1;
constexpr std::uint64_t ActiveDetail = 7;
constexpr std::int64_t IntegratedIsActive = 1;

const Value& entry(const Value& dictionary, const char* key) {
    static const Value absent;
    if (!dictionary.is_object()) return absent;
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? absent : *found;
}

double figure(const Value& dictionary, const char* key) {
    return HVKStatisticsGPU::convertNumericValue(entry(dictionary, key));
}

/// The first that is known of the ways in which a dictionary tells the size of the video memory; 0 for none.
double memorySizeIn(const Value& dictionary) {
    if (const double size = figure(dictionary, "VRAM,totalMB") * BytesPerMebibyte; size != 0) return size;
    if (const double size = figure(dictionary, "VRAM,totalsize"); size != 0) return size;
    return figure(dictionary, "VRAM,memsize");
}

/// A reading that is only believed when it is not 0.
void readFeature(HVKStatisticsGPUItem& item, const Value& stats, const char* name, const char* key, const char* mark) {
    const double value = figure(stats, name);
    if (value == 0) return;
    item.features[key] = value;
    item.features[mark] = true;
}

void readFeatures(HVKStatisticsGPUItem& item, const Value& stats) {
    readFeature(item, stats, "Core Clock(MHz)", "clock-core", "has-clock-core");
    if (const Value& percentage = entry(stats, "Fan Speed(%)"); !percentage.is_null())
        item.features["fan-percentage"] = HVKStatisticsGPU::convertNumericValue(percentage);
    if (const Value& speed = entry(stats, "Fan Speed(RPM)"); !speed.is_null()) {
        const double rpm = HVKStatisticsGPU::convertNumericValue(speed);
        item.features["fan-speed"] = rpm;
        if (rpm > 0) item.features["has-fan-rpm"] = true;
    }
    readFeature(item, stats, "Memory Clock(MHz)", "clock-memory", "has-clock-memory");
    readFeature(item, stats, "Total Power(W)", "power", "has-power");
    readFeature(item, stats, "Temperature(C)", "temperature", "has-temperature");
}

void readProcessor(HVKStatisticsGPUItem& item, const Value& stats) {
    constexpr double CoreUtilizationPerPercent = 10'000'000;
    if (const Value& atState = entry(stats, "Device Utilization % at cur p-state"); !atState.is_null())
        item.processor = HVKStatisticsGPU::convertNumericValue(atState);
    else if (const Value& core = entry(stats, "GPU Core Utilization"); !core.is_null())
        item.processor = HVKStatisticsGPU::convertNumericValue(core) / CoreUtilizationPerPercent;
    else if (const Value& device = entry(stats, "Device Utilization %"); !device.is_null())
        item.processor = HVKStatisticsGPU::convertNumericValue(device);
    else
        return;
    item.features["has-processor"] = true;
}

}  // namespace

HVKStatisticsGPU::HVKStatisticsGPU(Machine& machine) : machine_(machine), version_(machine) {}

HVKStatisticsGPU::~HVKStatisticsGPU() { cleanup(); }

HVKStatisticsGPU& HVKStatisticsGPU::GPU() {
    static HVKStatisticsGPU& instance = *new HVKStatisticsGPU;
    return instance;
}

void HVKStatisticsGPU::cleanup() {
    if (connection_ != 0) machine_.graphics().closeControl(std::exchange(connection_, 0));
    hasGPUSwotching_ = false;
    setupComplete_ = false;
    for (const Item& item : devices_) item->service = 0;
    services_.clear();
    changed_ = true;
}

// --- readings

std::int64_t HVKStatisticsGPU::update(double time) {
    bool different = false;
    if (changed_) {
        changed_ = false;
        updateDevices();
        if (!std::exchange(setupComplete_, true)) performSetup();
        different = true;
    }
    if (hasGPUSwotching_ && updateActiveGPU()) different = true;
    if (const auto rate = machine_.graphics().frameRate()) fps_ = *rate;
    for (const Item& item : devices_)
        if (!item->hidden) readItem(*item, time);
    return different ? StatisticsGPUChangedMask : 0;
}

void HVKStatisticsGPU::readItem(HVKStatisticsGPUItem& item, double time) {
    const Value stats =
        HVKStatisticsIOKitUtilities::property(machine_.registry(), "PerformanceStatistics", item.service);
    if (item.memorySize > 0) item.memory = processDeviceMemoryUsage(item, stats) * 100;
    readProcessor(item, stats);
    readFeatures(item, stats);
    item.updateHistory(time);
}

double HVKStatisticsGPU::processDeviceMemoryUsage(HVKStatisticsGPUItem& item, const Value& stats) const {
    double used = 0;
    double free = 0;
    if (stats.is_object()) {
        if (item.memorySize == 0)
            if (const double size = memorySizeIn(stats); size > 0) item.memorySize = size;
        const double size = item.memorySize;
        const bool isIntegrated = item.type == HVKStatisticsGPUTypeIntegrated;
        used = figure(stats, "vramUsedBytes");
        free = figure(stats, "vramFreeBytes");
        if (isIntegrated) {
            const double sharedFree = figure(stats, "gartFreeBytes");
            const double sharedUsed = figure(stats, "gartUsedBytes");
            const bool addsUp = sharedFree != 0 && sharedUsed != 0 && sharedFree + sharedUsed == size;
            if (addsUp || figure(stats, "gartSizeBytes") == size) {
                used = sharedUsed;
                free = sharedFree;
            }
            if (free > size && sharedUsed != 0) free = size - sharedUsed;
        }
        if (version_.isMojave && !isIntegrated) {
            if (const double inUse = figure(stats, "inUseVidMemoryBytes"); inUse < size) {
                used = inUse;
                free = size - used;
            }
        } else if (size > 0) {
            if (used > 0 && free == 0) free = size - used;
            if (free > 0 && used == 0) used = size - free;
        }
    }
    const double fraction = used / item.memorySize;
    return std::isfinite(fraction) && fraction <= 1 ? fraction : 0;
}

double HVKStatisticsGPU::convertNumericValue(const Value& value) {
    if (value.is_binary()) {
        const auto& bytes = value.get_binary();
        std::uint32_t number = 0;
        for (std::size_t index = 0; index < std::min<std::size_t>(bytes.size(), 4); ++index)
            number |= static_cast<std::uint32_t>(bytes[index]) << (8 * index);
        // The 32 bits are those of a signed integer.
        return static_cast<std::int32_t>(number);
    }
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    return value.is_number() ? value.get<double>() : 0;
}

std::string HVKStatisticsGPU::convertString(const Value& value) {
    if (value.is_string()) return value.get<std::string>();
    if (!value.is_binary()) return {};
    const auto& bytes = value.get_binary();
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

// --- the inventory

void HVKStatisticsGPU::updateDevices() {
    for (const Item& item : devices_) item->exists = false;
    auto accelerators = HVKStatisticsIOKitUtilities::iteratorWithServiceMatch(machine_.registry(), "IOAccelerator");
    while (const RegistryHandle accelerator = accelerators.nextObject()) {
        const auto path = accelerators.objectPath();
        // One that went away meanwhile.
        if (!path) continue;
        const Item item = deviceFromIterator(*path, accelerator);
        machine_.registry().retain(accelerator);
        services_[item.get()] = RegistryReference(machine_.registry(), accelerator);
        item->service = accelerator;
        item->exists = true;
        item->active = true;
        if (item->type == HVKStatisticsGPUTypeIntegrated && hidesIntegrated()) item->hidden = true;
    }
    numberNames();
    updatePlatformState();
    std::erase_if(devices_, [&](const Item& item) {
        if (item->exists) return false;
        services_.erase(item.get());
        item->service = 0;
        return true;
    });
    publish();
}

HVKStatisticsGPU::Item HVKStatisticsGPU::deviceFromIterator(const std::string& path, RegistryHandle accelerator) {
    std::string key = statisticsHash(path);
    for (const Item& item : devices_)
        if (item->key == key) return item;
    auto item = std::make_shared<HVKStatisticsGPUItem>();
    item->key = std::move(key);
    item->index = static_cast<std::int64_t>(devices_.size());
    RegistryReference parent(machine_.registry(),
                             HVKStatisticsIOKitUtilities::parentAtIndex(machine_.registry(), 1, accelerator));
    item->name = convertString(HVKStatisticsIOKitUtilities::property(machine_.registry(), "model", parent.get()));
    if (item->name.empty()) item->name = "GPU";
    item->type = typeOf(item->name, accelerator);
    item->memorySize = memorySizeOf(accelerator);
    devices_.push_back(item);
    return item;
}

std::int64_t HVKStatisticsGPU::typeOf(const std::string& model, RegistryHandle accelerator) const {
    std::string lower = model;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    });
    if (lower.find("intel") != std::string::npos) return HVKStatisticsGPUTypeIntegrated;
    RegistryPort& registry = machine_.registry();
    const bool isRemovable =
        !HVKStatisticsIOKitUtilities::property(registry, "Removable", accelerator).is_null() ||
        HVKStatisticsIOKitUtilities::dictionaryForParentOfObject(registry, accelerator).contains("Removable") ||
        !HVKStatisticsIOKitUtilities::searchForKeyInParents(registry, "Thunderbolt Path", ThunderboltLevels,
                                                            accelerator)
             .is_null();
    return isRemovable ? HVKStatisticsGPUTypeExternal : HVKStatisticsGPUTypeDiscrete;
}

double HVKStatisticsGPU::memorySizeOf(RegistryHandle accelerator) const {
    RegistryPort& registry = machine_.registry();
    if (const double size = memorySizeIn(HVKStatisticsIOKitUtilities::propertiesFromObject(registry, accelerator));
        size != 0)
        return size;
    return memorySizeIn(HVKStatisticsIOKitUtilities::dictionaryForParentOfObject(registry, accelerator));
}

/// Items that share a name are told apart by a number.
void HVKStatisticsGPU::numberNames() {
    std::map<std::string, std::vector<HVKStatisticsGPUItem*>> byName;
    for (const Item& item : devices_) byName[item->name].push_back(item.get());
    for (const auto& [name, items] : byName)
        if (items.size() > 1)
            for (std::size_t index = 0; index < items.size(); ++index)
                items[index]->name = name + " #" + std::to_string(index + 1);
}

void HVKStatisticsGPU::loadFromPlatform(const Value& recipe) { platform_ = recipe; }

bool HVKStatisticsGPU::hidesIntegrated() const {
    return entry(platform_, "gpu").is_object() && entry(platform_, "gpu").contains("hide-intergrated");
}

void HVKStatisticsGPU::updatePlatformState() {
    if (!hidesIntegrated()) return;
    hasGPUSwotching_ = false;
    setupComplete_ = true;
    for (const Item& item : devices_)
        if (item->type == HVKStatisticsGPUTypeIntegrated) item->hidden = true;
}

// --- switching

void HVKStatisticsGPU::performSetup() {
    const auto integrated = std::count_if(devices_.begin(), devices_.end(), [](const Item& item) {
        return item->type == HVKStatisticsGPUTypeIntegrated;
    });
    if (devices_.size() != 2 || integrated != 1) return;
    GraphicsPort& port = machine_.graphics();
    const auto connection = port.openControl();
    if (!connection) return;
    if (!port.startControl(*connection)) {
        port.closeControl(*connection);
        return;
    }
    connection_ = *connection;
    hasGPUSwotching_ = true;
}

bool HVKStatisticsGPU::updateActiveGPU() {
    const auto state = machine_.graphics().controlState(connection_, ActiveSelector, ActiveDetail);
    if (!state) return false;
    bool different = false;
    for (const Item& item : devices_) {
        if (item->type == HVKStatisticsGPUTypeExternal) continue;
        const bool active =
            *state == (item->type == HVKStatisticsGPUTypeIntegrated ? IntegratedIsActive : std::int64_t{0});
        if (std::exchange(item->active, active) != active) different = true;
    }
    return different;
}

// --- what hosts read

Value HVKStatisticsGPU::stats() const {
    Value stats = Value::object();
    for (const Item& item : devices_)
        stats[item->key] = {{"key", item->key},       {"name", item->name}, {"processor", item->processor},
                            {"memory", item->memory}, {"type", item->type}, {"features", item->features}};
    return stats;
}

std::vector<HVKStatisticsGPU::Item> HVKStatisticsGPU::immutableItems() const {
    const std::lock_guard lock(mutex_);
    return published_;
}

void HVKStatisticsGPU::publish() {
    const std::lock_guard lock(mutex_);
    published_ = devices_;
}

std::vector<std::string> HVKStatisticsGPU::keys() const {
    std::vector<std::string> keys;
    keys.reserve(devices_.size());
    for (const Item& item : devices_) keys.push_back(item->key);
    return keys;
}

Value HVKStatisticsGPU::historyConfig() { return historyConfigDictionary("gpu", {"processor", "memory"}, true); }

Value HVKStatisticsGPU::historyAverage(double start, double end, std::int64_t interval) const {
    Value averages = Value::array();
    for (const Item& item : devices_)
        if (Value average = item->historyAverage(start, end, interval); !average.is_null())
            averages.push_back(std::move(average));
    return averages;
}

void HVKStatisticsGPU::loadDemoData() {
    demoItem_ = std::make_shared<HVKStatisticsGPUItem>();
    demoItem_->name = "GPU";
    demoItem_->processor = 44;
    demoItem_->memory = 22;
    demoItem_->active = true;
    demoItem_->exists = true;
    demoItem_->features["has-processor"] = true;
    demoItem_->fillDemoHistory(machine_.clock().wallSeconds());
    fps_ = 60;
}

}  // namespace hvk
