#include "HVKPlatform/linux/HardwareMonitors.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "HVKPlatform/linux/SystemCalls.h"

namespace hvk {

namespace {

constexpr const char* MonitorClass = "/sys/class/hwmon";
constexpr double LongestRound = 1;
/// A driver makes the attributes of a new chip after its directory: the chip is scanned again in this many rounds.
constexpr unsigned ScansOfNewChip = 5;
/// More channels than any machine has; a broken tree does not fill the memory.
constexpr std::size_t MostChannels = 3000;
/// Time in which an energy counter moves by more than its step.
constexpr double ShortestEnergySpan = 0.01;
constexpr double AbsoluteZero = -273.15;
constexpr double WaterFarBoiled = 200;

SensorKind kindOf(parse::MonitorQuantity quantity) {
    switch (quantity) {
        case parse::MonitorQuantity::Temperature: return SensorKind::Temperature;
        case parse::MonitorQuantity::Fan: return SensorKind::Fan;
        case parse::MonitorQuantity::Voltage: return SensorKind::Voltage;
        case parse::MonitorQuantity::Current: return SensorKind::Current;
        case parse::MonitorQuantity::Power:
        case parse::MonitorQuantity::Energy: return SensorKind::Power;
        case parse::MonitorQuantity::Frequency: return SensorKind::Frequency;
    }
    return SensorKind::Temperature;
}

bool isGraphicsChip(std::string_view name) {
    return name == "amdgpu" || name == "radeon" || name == "nouveau" || name == "i915" || name == "xe" ||
           name == "panthor" || name == "gpu_thermal";
}

bool isOnUSB(std::string_view device) { return device.find("/usb") != std::string_view::npos; }

/// What a symbolic link points to, as the machine names it and without asking whether it is there: saved trees have
/// links into parts that were not saved.
std::optional<std::string> targetOf(const LinuxRoot& root, const std::string& link) {
    std::error_code error;
    countSystemCalls();
    const auto target = std::filesystem::read_symlink(root.path(link), error);
    if (error) return std::nullopt;
    return (std::filesystem::path(link).parent_path() / target).lexically_normal().string();
}

bool isDirectory(const std::string& path) {
    struct stat information {};
    countSystemCalls();
    return ::stat(path.c_str(), &information) == 0 && S_ISDIR(information.st_mode);
}

std::string purposeOf(const std::string& name) {
    return isGraphicsChip(name) ? "sensors of a graphics processor" : "sensors of a chip";
}

}  // namespace

/// A directory of the class.
struct HardwareMonitors::Entry {
    std::string node;         ///< "hwmon3"
    std::uint64_t inode = 0;  ///< another one when it was removed and made again
    std::string directory;    ///< where the attributes are, as the machine names it
    std::string device;       ///< path of the device, "/sys/devices/platform/coretemp.0"; empty when none is known
    std::string name;         ///< "coretemp"
};

struct HardwareMonitors::Chip {
    std::string base;      ///< name and stable path: "nvme@pci0000:00/...": two chips may have one
    std::string identity;  ///< the same, and " #2" for the second of them
    std::string name;
    bool ofGPU = false;
    bool present = false;
    std::string node;
    std::uint64_t inode = 0;
    std::string directory;
    unsigned scansLeft = 0;
    AttributeFile sleep;  ///< power/runtime_status of the device; unnamed when it cannot sleep
    bool asleep = false;
    std::uint64_t sleepRound = 0;  ///< round in which `asleep` was asked
    std::uint64_t noted = 0;       ///< round in which a success was noted
    SourceHealth* source = nullptr;
};

struct HardwareMonitors::Channel {
    MonitorChannelDescription description;
    Chip* chip = nullptr;
    parse::MonitorQuantity quantity = parse::MonitorQuantity::Temperature;
    double divisor = 1;
    bool bound = false;  ///< whether its chip has it now
    AttributeFile input;
    AttributeFile fault;
    AttributeFile enable;
    std::uint64_t round = 0;  ///< round in which it was read last
    bool knowsLimits = false;
    bool answered = false;  ///< whether it ever gave a value
    AttributeReading why;   ///< the failure that was noted last; none when it works
    bool failing = false;
    // Energy counters only.
    std::optional<std::int64_t> energy;
    double energyTime = 0;
    std::optional<double> power;
};

HardwareMonitors::HardwareMonitors(const LinuxRoot& root, ClockPort& clock, Diagnostics& diagnostics,
                                   DescriptorBudget::Keep keep)
    : root_(root),
      clock_(clock),
      diagnostics_(diagnostics),
      source_(diagnostics.source(MonitorClass, "temperatures, fans, voltages, currents and power",
                                 "load the driver of the machine's sensors: sensors-detect finds it")),
      budget_(keep),
      watch_(root.path(MonitorClass), root.isLive()) {}

HardwareMonitors::~HardwareMonitors() = default;

// Chips that come and go

bool HardwareMonitors::exists() {
    std::lock_guard lock(mutex_);
    update();
    return watch_.exists();
}

void HardwareMonitors::refresh() {
    std::lock_guard lock(mutex_);
    update();
}

void HardwareMonitors::beginRound() {
    ++round_;
    roundStart_ = clock_.monotonicSeconds();
    update();
}

void HardwareMonitors::update() {
    const bool isFirst = !std::exchange(started_, true);
    for (const auto& chip : chips_)
        if (chip->present && chip->scansLeft > 0) {
            --chip->scansLeft;
            scan(*chip);
        }
    if (watch_.changed()) scanForChips();
    settled_ = true;
    if (isFirst && !watch_.exists())
        (void)source_.failed({FailureKind::Absent, MonitorClass, "this machine has no hardware monitoring"});
}

std::vector<HardwareMonitors::Entry> HardwareMonitors::listEntries() const {
    std::vector<Entry> entries;
    for (std::string& node : root_.list(MonitorClass)) {
        const std::string link = std::string(MonitorClass).append("/").append(node);
        Entry entry;
        struct stat information {};
        countSystemCalls();
        if (::lstat(root_.path(link).c_str(), &information) != 0) continue;
        entry.inode = information.st_ino;
        entry.directory = link;
        if (auto target = targetOf(root_, link)) {
            if (isDirectory(root_.path(*target))) entry.directory = *target;
            // /sys/devices/<device>/hwmon/hwmon3
            const std::string below = "/hwmon/" + node;
            if (target->ends_with(below)) entry.device = target->substr(0, target->size() - below.size());
        } else if (auto device = targetOf(root_, link + "/device")) {
            entry.device = std::move(*device);
        }
        entry.node = std::move(node);
        entries.push_back(std::move(entry));
    }
    return entries;
}

void HardwareMonitors::scanForChips() {
    std::vector<Entry> entries = listEntries();
    // Those that are still there are left alone.
    for (const auto& chip : chips_) {
        if (!chip->present) continue;
        const auto same = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
            return entry.node == chip->node && entry.inode == chip->inode;
        });
        if (same == entries.end())
            leave(*chip);
        else
            entries.erase(same);
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
        if (isOnUSB(left.device) != isOnUSB(right.device)) return isOnUSB(right.device);
        if (left.device != right.device) return parse::naturalLess(left.device, right.device);
        return parse::naturalLess(left.node, right.node);
    });
    for (Entry& entry : entries) takeIn(std::move(entry));
    note();
}

void HardwareMonitors::takeIn(Entry&& entry) {
    auto name = root_.readLine(entry.directory + "/name");
    // Old drivers keep everything beside the class directory.
    if (!name && (name = root_.readLine(entry.directory + "/device/name"))) entry.directory += "/device";
    if (!name && !isDirectory(root_.path(entry.directory))) return;
    entry.name = name.value_or("unnamed");
    Chip& chip = chipOf(entry);
    chip.present = true;
    chip.node = entry.node;
    chip.inode = entry.inode;
    chip.directory = entry.directory;
    chip.sleepRound = chip.noted = 0;
    chip.scansLeft = settled_ ? ScansOfNewChip : 0;
    chip.sleep = AttributeFile();
    // The device itself tells whether it sleeps, or the nearest one above that knows; a bus of slow chips does not
    // count, it is suspended between any two transfers.
    for (std::string device = entry.device; device.starts_with("/sys/devices/"); device.erase(device.rfind('/'))) {
        const std::string_view last = std::string_view(device).substr(device.rfind('/') + 1);
        if (last.starts_with("i2c-") || last.starts_with("spi")) break;
        const std::string file = device + "/power/runtime_status";
        const auto status = root_.readLine(file);
        if (!status || *status == "unsupported") continue;
        chip.sleep = AttributeFile(root_.path(file), budget_);
        break;
    }
    scan(chip);
    ++revision_;
}

/// The chip of before that an entry is, or a new one.
HardwareMonitors::Chip& HardwareMonitors::chipOf(const Entry& entry) {
    const std::string base = entry.name + "@" + parse::stableDevicePath(entry.device);
    unsigned ordinal = 1;
    for (const auto& chip : chips_) {
        if (chip->base != base) continue;
        if (!chip->present) return *chip;
        ++ordinal;
    }
    auto chip = std::make_unique<Chip>();
    chip->base = base;
    chip->identity = ordinal == 1 ? base : base + " #" + std::to_string(ordinal);
    chip->name = entry.name;
    chip->ofGPU = isGraphicsChip(entry.name);
    chip->source = &diagnostics_.source(chip->identity, purposeOf(entry.name));
    chips_.push_back(std::move(chip));
    return *chips_.back();
}

void HardwareMonitors::leave(Chip& chip) {
    chip.present = false;
    chip.sleep = AttributeFile();
    if (std::exchange(chip.asleep, false)) chip.source->note("");
    for (const auto& channel : channels_) {
        if (channel->chip != &chip) continue;
        channel->bound = false;
        channel->failing = false;
        channel->input.close();
        channel->fault.close();
        channel->enable.close();
    }
    (void)chip.source->failed({FailureKind::Gone, chip.identity, "the chip was removed"});
    ++revision_;
}

void HardwareMonitors::note() {
    std::size_t chips = 0;
    for (const auto& chip : chips_) chips += chip->present;
    std::size_t channels = 0;
    for (const auto& channel : channels_) channels += channel->bound;
    source_.works();
    std::string text = std::to_string(chips) + (chips == 1 ? " chip, " : " chips, ") + std::to_string(channels) +
                       (channels == 1 ? " channel" : " channels");
    if (channels_.size() >= MostChannels) text += "; any further ones are left out";
    source_.note(std::move(text));
}

// Channels of a chip

void HardwareMonitors::scan(Chip& chip) {
    const std::vector<std::string> files = root_.list(chip.directory);
    const auto has = [&](std::string_view channel, std::string_view attribute) {
        return std::binary_search(files.begin(), files.end(), std::string(channel) + "_" + std::string(attribute));
    };
    std::vector<parse::MonitorAttribute> inputs;
    for (const std::string& file : files) {
        const auto parts = parse::parseMonitorAttribute(file);
        if (!parts) continue;
        const bool isPower = parts->quantity == parse::MonitorQuantity::Power;
        const bool isAverage = isPower && parts->attribute == "average" && !has(parts->channel, "input");
        if (parts->attribute != "input" && !isAverage) continue;
        if (parts->quantity == parse::MonitorQuantity::Energy) {
            const std::string power = "power" + std::to_string(parts->index);
            if (has(power, "input") || has(power, "average")) continue;
        }
        inputs.push_back(*parts);
    }
    std::sort(inputs.begin(), inputs.end(), [](const auto& left, const auto& right) {
        return std::pair(left.quantity, left.index) < std::pair(right.quantity, right.index);
    });
    bool isNew = false;
    for (const parse::MonitorAttribute& parts : inputs) {
        Channel* channel = channelFor(chip, parts);
        if (channel == nullptr || channel->bound) continue;
        bind(chip, *channel, parts);
        isNew = true;
    }
    if (!isNew) return;
    ++revision_;
    note();
}

/// The channel of before, or a new one with a key of its own; none when there are too many.
HardwareMonitors::Channel* HardwareMonitors::channelFor(Chip& chip, const parse::MonitorAttribute& parts) {
    const std::string identity = chip.identity + "/" + std::string(parts.channel);
    if (const auto known = identities_.find(identity); known != identities_.end())
        return channels_[known->second].get();
    if (channels_.size() >= MostChannels) return nullptr;
    const std::size_t place = channels_.size();
    auto channel = std::make_unique<Channel>();
    channel->chip = &chip;
    channel->quantity = parts.quantity;
    channel->divisor = parse::monitorDivisor(parts.quantity);
    MonitorChannelDescription& description = channel->description;
    description.kind = kindOf(parts.quantity);
    description.key = keys_.give(description.kind, chip.ofGPU, identity, place);
    description.chip = chip.name;
    description.device = chip.identity;
    description.channel = parts.channel;
    description.index = parts.index;
    identities_.emplace(identity, place);
    channels_.push_back(std::move(channel));
    return channels_.back().get();
}

void HardwareMonitors::bind(Chip& chip, Channel& channel, const parse::MonitorAttribute& parts) {
    const std::string start = chip.directory + "/" + std::string(parts.channel) + "_";
    const auto file = [&](std::string_view attribute) {
        return AttributeFile(root_.path(start + std::string(attribute)), budget_);
    };
    const auto gate = [&](const char* attribute) {
        struct stat information {};
        countSystemCalls();
        return ::stat(root_.path(start + attribute).c_str(), &information) == 0 ? file(attribute) : AttributeFile();
    };
    channel.input = file(parts.attribute);
    channel.fault = gate("fault");
    channel.enable = gate("enable");
    channel.bound = true;
    channel.round = 0;
    channel.energy.reset();
    channel.power.reset();
    MonitorChannelDescription& description = channel.description;
    description.label = root_.readLine(start + "label").value_or("");
    channel.knowsLimits = false;
    // From here on the mean power counts.
    if (channel.quantity == parse::MonitorQuantity::Energy && !isAsleep(chip)) (void)value(channel);
}

/// Reads the limits, unless that could wake the device; then they are read another time.
void HardwareMonitors::learnLimits(Channel& channel) {
    Chip& chip = *channel.chip;
    if (channel.knowsLimits || isAsleep(chip)) return;
    channel.knowsLimits = true;
    MonitorChannelDescription& description = channel.description;
    description.low = limitOf(chip, channel, {"min"});
    description.high = limitOf(chip, channel, {"crit", "max", "cap_max", "cap"});
    if (description.low && description.high && *description.low >= *description.high) description.low.reset();
}

/// The first of these limits that is there and makes sense.
std::optional<double> HardwareMonitors::limitOf(const Chip& chip, const Channel& channel,
                                                std::initializer_list<std::string_view> attributes) const {
    if (channel.quantity == parse::MonitorQuantity::Energy) return std::nullopt;
    const std::string start = chip.directory + "/" + channel.description.channel + "_";
    for (const std::string_view attribute : attributes) {
        const auto text = root_.readLine(start + std::string(attribute));
        const auto number = text ? parse::parseMonitorNumber(*text) : std::nullopt;
        if (!number) continue;
        const double limit = static_cast<double>(*number) / channel.divisor;
        const bool isTemperature = channel.quantity == parse::MonitorQuantity::Temperature;
        // Unset registers show as 0 or as the ends of their range.
        if (isTemperature && (limit <= -100 || limit >= WaterFarBoiled)) continue;
        if (attribute != "min" && limit <= 0) continue;
        return limit;
    }
    return std::nullopt;
}

// Values

/// Asked once in a round, for each chip that can sleep.
bool HardwareMonitors::isAsleep(Chip& chip) {
    if (!chip.sleep.isNamed()) return false;
    if (round_ != 0 && chip.sleepRound == round_) return chip.asleep;
    chip.sleepRound = round_;
    char line[32];
    const std::ptrdiff_t count = chip.sleep.readInto(line, sizeof line);
    const std::string_view status(line, static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
    const bool asleep = status.starts_with("suspend");
    if (asleep != chip.asleep)
        chip.source->note(asleep ? "its device is suspended; it is not read, so that it sleeps on" : "");
    return chip.asleep = asleep;
}

std::optional<double> HardwareMonitors::failed(Channel& channel, int error, const char* attribute) {
    if (channel.failing && channel.why.error == error) return std::nullopt;
    channel.failing = true;
    channel.why.error = error;
    const std::string& name = channel.description.channel;
    Failure failure = failureFromErrno(error, channel.chip->identity);
    if (error == 0)
        failure = {FailureKind::Absent, channel.chip->identity, name + " reports a " + attribute};
    else if (error == EBADMSG)
        failure.detail = name + "_" + attribute + " holds no number";
    else
        failure.detail = name + "_" + attribute + ": " + failure.detail;
    (void)channel.chip->source->failed(std::move(failure));
    return std::nullopt;
}

std::optional<double> HardwareMonitors::powerOf(Channel& channel, std::int64_t microjoules) {
    const double now = clock_.monotonicSeconds();
    const double span = now - channel.energyTime;
    const auto before = channel.energy;
    if (before && microjoules >= *before && span < ShortestEnergySpan) return channel.power;
    channel.energy = microjoules;
    channel.energyTime = now;
    channel.power.reset();
    // A counter that ran backwards was reset; the mean starts again.
    if (before && microjoules >= *before) channel.power = static_cast<double>(microjoules - *before) / 1e6 / span;
    return channel.power;
}

std::optional<double> HardwareMonitors::value(Channel& channel) {
    if (channel.fault.isNamed()) {
        // A flag that cannot be read says nothing of the value.
        if (const AttributeReading fault = channel.fault.read(); fault.error == 0 && fault.number != 0)
            return failed(channel, 0, "fault");
    }
    if (channel.enable.isNamed()) {
        if (const AttributeReading enable = channel.enable.read(); enable.error == 0 && enable.number == 0)
            return failed(channel, ENODATA, "enable");
    }
    const AttributeReading reading = channel.input.read();
    if (reading.error != 0) return failed(channel, reading.error, "input");
    if (channel.quantity == parse::MonitorQuantity::Energy) return powerOf(channel, reading.number);
    const double value = static_cast<double>(reading.number) / channel.divisor;
    if (channel.quantity == parse::MonitorQuantity::Temperature && value <= AbsoluteZero)
        return failed(channel, ERANGE, "input");
    if (channel.quantity == parse::MonitorQuantity::Fan && value < 0) return failed(channel, ERANGE, "input");
    return value;
}

/// Whether a round has lasted long enough. The clock is looked at once for the channels of a chip that are read one
/// after the other, but each time for a chip that may have fallen asleep since.
bool HardwareMonitors::isRoundOver(const Chip& chip) {
    if (std::exchange(lastRead_, &chip) == &chip && !chip.sleep.isNamed()) return false;
    return clock_.monotonicSeconds() - roundStart_ > LongestRound;
}

std::optional<double> HardwareMonitors::read(std::uint32_t key) {
    std::lock_guard lock(mutex_);
    auto place = keys_.find(key);
    if (!place) {
        update();
        if (!(place = keys_.find(key))) return std::nullopt;
    }
    if (channels_[*place]->round == round_ || isRoundOver(*channels_[*place]->chip)) beginRound();
    Channel& channel = *channels_[*place];
    channel.round = round_;
    if (!channel.bound) return std::nullopt;
    Chip& chip = *channel.chip;
    if (isAsleep(chip)) return std::nullopt;
    const auto reading = value(channel);
    if (!reading) {
        // The chip may be gone, and its successor there already.
        const int error = channel.why.error;
        if (channel.failing && (error == ENODEV || error == ENOENT || error == ENXIO)) update();
        return std::nullopt;
    }
    if (channel.failing || chip.noted != round_) {
        channel.failing = false;
        chip.noted = round_;
        chip.source->works();
    }
    if (!std::exchange(channel.answered, true)) ++revision_;
    return reading;
}

// What is there

std::size_t HardwareMonitors::places() {
    std::lock_guard lock(mutex_);
    update();
    return channels_.size();
}

std::optional<std::uint32_t> HardwareMonitors::keyAt(std::size_t place) {
    std::lock_guard lock(mutex_);
    if (place >= channels_.size() || !channels_[place]->bound) return std::nullopt;
    return channels_[place]->description.key;
}

bool HardwareMonitors::has(std::uint32_t key) {
    std::lock_guard lock(mutex_);
    const auto place = keys_.find(key);
    return place && channels_[*place]->bound;
}

std::vector<MonitorChannelDescription> HardwareMonitors::descriptions() {
    std::lock_guard lock(mutex_);
    update();
    std::vector<MonitorChannelDescription> descriptions;
    for (const auto& channel : channels_) {
        if (!channel->bound) continue;
        learnLimits(*channel);
        descriptions.push_back(channel->description);
    }
    return descriptions;
}

std::uint64_t HardwareMonitors::revision() {
    std::lock_guard lock(mutex_);
    update();
    return revision_;
}

}  // namespace hvk
