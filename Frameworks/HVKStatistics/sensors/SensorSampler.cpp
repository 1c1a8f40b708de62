#include "HVKStatistics/sensors/SensorSampler.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace hvk {

namespace {

/// No sensor is read more often, seconds.
constexpr double ReadingInterval = 5.0;
/// A controller temperature below this is a sensor that does not work just now.
constexpr double LowestTemperature = 10.0;

/// Whether a sensor was read only just now.
bool isFresh(const StatisticsSensorItem& item, double time) { return item.lastUpdate + ReadingInterval > time; }

bool beginsWith(std::string_view key, char lower, char upper) {
    return !key.empty() && (key.front() == lower || key.front() == upper);
}

/// An array of texts in a configuration; null when there is none.
const Value* keysIn(const Value& config, const char* name) {
    const auto found = config.find(name);
    return found != config.end() && found->is_array() ? &*found : nullptr;
}

const std::string& textOf(const Value& value) {
    static const std::string none;
    return value.is_string() ? value.get_ref<const std::string&>() : none;
}

double shareOfRange(const StatisticsSensorItem& item, double value) {
    if (!(item.high > item.low)) return 0;
    return std::clamp((value - item.low) / (item.high - item.low), 0.0, 1.0);
}

}  // namespace

SensorSampler::SensorSampler(SensorCatalogue& catalogue, SMC& smc, HIDSensorReader& hid)
    : catalogue_(catalogue), smc_(smc), hid_(hid) {}

void SensorSampler::sample(double time) {
    walk_.assign(catalogue_.sensors().begin(), catalogue_.sensors().end());
    walk_.insert(walk_.end(), catalogue_.hiddenItems().begin(), catalogue_.hiddenItems().end());
    tooLow_.clear();
    readSources(time);
    deriveValues(time);
    substituteLowReadings(time);
    // Records that leave the lists must not live on here.
    walk_.clear();
}

void SensorSampler::readSources(double time) {
    const std::vector<HIDSensor>* hidSensors = nullptr;
    for (const auto& item : walk_) {
        const bool hid = item->source == StatisticsSensorSourceHID;
        if (isFresh(*item, time)) {
            item->fillSample(time);
        } else if (hid) {
            if (hidSensors == nullptr) hidSensors = &hid_.read();
            const HIDSensor* const found = HIDSensorReader::find(*hidSensors, item->key);
            const double value = found == nullptr ? StatisticsSensorNotAvailable : found->value;
            item->addValue(value, time);
            describe(*item, value, found != nullptr);
        } else if (item->source == StatisticsSensorSourceSMC) {
            readKey(*item, time);
        }
    }
}

void SensorSampler::readKey(Item& item, double time) {
    double value = static_cast<double>(smc_.read(item.key));
    bool answered = value != StatisticsSensorNotAvailable;
    if (beginsWith(item.key, 't', 'T') && value < LowestTemperature) {
        if (item.config.contains("bhash")) {
            tooLow_.push_back(&item);
            return;
        }
        // One that never worked does not begin to exist by that.
        answered = item.exists;
        value = item.value;
    }
    if (value == StatisticsSensorNotAvailable) value = item.value;
    take(item, value, answered, time);
}

void SensorSampler::deriveValues(double time) {
    for (const auto& item : walk_) {
        const bool multiplies = item->source == StatisticsSensorSourceMultiply;
        if (!multiplies && item->source != StatisticsSensorSourceAverage) continue;
        // The first pass has written the last value for this time already.
        if (isFresh(*item, time)) continue;
        if (multiplies) {
            const double value = product(*item);
            item->addValue(value, time);
            describe(*item, value, value != StatisticsSensorNotAvailable);
            continue;
        }
        const auto mean = average(*item);
        // Fans that stand are there.
        take(*item, mean.value_or(item->value), mean.has_value() || item->off, time);
    }
}

double SensorSampler::product(const Item& item) {
    const Value* const keys = keysIn(item.config, "sensors");
    if (keys == nullptr || keys->size() != 2) return 0;
    const std::string& first = textOf((*keys)[0]);
    const std::string& second = textOf((*keys)[1]);
    const auto one = catalogue_.updateSensorWithKey(first);
    const auto other = catalogue_.updateSensorWithKey(second);
    const bool known = one && other;
    const double left = known ? one->value.load() : static_cast<double>(smc_.read(first));
    const double right = known ? other->value.load() : static_cast<double>(smc_.read(second));
    if (left == StatisticsSensorNotAvailable || right == StatisticsSensorNotAvailable)
        return StatisticsSensorNotAvailable;
    return left * right;
}

/// The mean over the members that answered; nothing when none did. Sets `off`.
std::optional<double> SensorSampler::average(Item& item) const {
    const Value* const keys = keysIn(item.config, "sensors-valid");
    if (keys == nullptr) return std::nullopt;
    bool fans = false;
    double sum = 0;
    std::size_t count = 0;
    for (const Value& key : *keys) {
        const auto member = catalogue_.updateSensorWithKey(textOf(key));
        if (!member) continue;
        const double value = member->value;
        const bool fan = beginsWith(member->key, 'f', 'F');
        fans = fans || fan;
        if (value == StatisticsSensorNotAvailable || (fan && value == 0)) continue;
        sum += fan ? std::max(value - member->low, 0.0) / (member->high - member->low) : value;
        ++count;
    }
    if (fans) item.off = count == 0;
    if (count == 0) return std::nullopt;
    const double mean = sum / static_cast<double>(count);
    return std::isfinite(mean) ? mean : 0;
}

void SensorSampler::substituteLowReadings(double time) {
    for (Item* const item : tooLow_) {
        const auto other = catalogue_.updateSensorWithKey(textOf(item->config["bhash"]));
        const bool answered = other && other->value.load() != StatisticsSensorNotAvailable;
        take(*item, answered ? other->value.load() : item->value.load(), answered, time);
    }
}

/// Adds a value, if it is one.
void SensorSampler::take(Item& item, double value, bool exists, double time) {
    if (value != StatisticsSensorNotAvailable) item.addValue(value, time);
    describe(item, value, exists);
}

void SensorSampler::describe(Item& item, double value, bool exists) {
    item.exists = exists;
    item.percentage = value == StatisticsSensorNotAvailable ? 0 : shareOfRange(item, value);
}

}  // namespace hvk
