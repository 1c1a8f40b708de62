// HardwareMonitors.h - the chips of /sys/class/hwmon, their channels, and the values of these.
//
// A channel keeps its place and its key for the life of this object, also while its chip is away; the key outlives it
// (SensorKeys.h). It owns neither names for people (SensorNames.h) nor how a client asks (UserClient.h).
//
// Reading does no harm: a chip whose device is suspended is left asleep. A value that cannot be had, because its
// channel fails, is disabled, reports a fault, sleeps or is away, is absent and never zero.
//
// Chips that come and go are noticed once in a round. A round ends when a channel is read that was read in it before,
// as a client does that passes over its sensors, or after a second. Only new chips are scanned.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/linux/AttributeFile.h"
#include "HVKPlatform/linux/DirectoryWatch.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/SensorKeys.h"
#include "HVKPlatform/linux/parse/HardwareMonitor.h"
#include "HVKPlatform/ports/Clock.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// What is known of a channel without reading its value.
struct MonitorChannelDescription {
    std::uint32_t key = 0;
    SensorKind kind = SensorKind::Temperature;  ///< of an energy counter: power
    std::string chip;                           ///< the chip's own name, "coretemp"
    std::string device;                         ///< identity of the chip, "coretemp@platform/coretemp.0"
    std::string channel;                        ///< "temp1"
    unsigned index = 0;                         ///< 1
    std::string label;                          ///< "Package id 0"; empty when there is none
    std::optional<double> low;                  ///< in the kind's unit; limits that cannot be are left out
    std::optional<double> high;
};

/// The monitors. Thread: any.
class HardwareMonitors {
public:
    HardwareMonitors(const LinuxRoot& root, ClockPort& clock, Diagnostics& diagnostics,
                     DescriptorBudget::Keep keep = DescriptorBudget::Keep::KernelFiles);
    ~HardwareMonitors();

    /// Whether the machine has hardware monitoring at all.
    bool exists();

    /// Notices chips that came or went.
    void refresh();

    /// The number of places given so far; it only grows.
    std::size_t places();

    /// The key at a place; nothing past the end, and while its chip is away.
    std::optional<std::uint32_t> keyAt(std::size_t place);

    /// Whether a channel has this key now.
    bool has(std::uint32_t key);

    /// Reads a channel with one `pread` (one more where it has a fault or enable flag): degrees Celsius, revolutions
    /// per minute, volts, amperes, watts, megahertz. Power of an energy counter is the mean since the reading before,
    /// or since the chip was found. Nothing when there is no value; the diagnostics say why.
    std::optional<double> read(std::uint32_t key);

    /// The channels that are there now, in the order of their places.
    std::vector<MonitorChannelDescription> descriptions();

    /// Moves when a channel came, went, or gave its first value.
    std::uint64_t revision();

private:
    struct Chip;
    struct Channel;
    struct Entry;

    std::vector<Entry> listEntries() const;
    void update();
    void beginRound();
    void scanForChips();
    void takeIn(Entry&& entry);
    Chip& chipOf(const Entry& entry);
    void scan(Chip& chip);
    void leave(Chip& chip);
    Channel* channelFor(Chip& chip, const parse::MonitorAttribute& parts);
    void bind(Chip& chip, Channel& channel, const parse::MonitorAttribute& parts);
    void learnLimits(Channel& channel);
    std::optional<double> limitOf(const Chip& chip, const Channel& channel,
                                  std::initializer_list<std::string_view> attributes) const;
    bool isRoundOver(const Chip& chip);
    bool isAsleep(Chip& chip);
    std::optional<double> value(Channel& channel);
    std::optional<double> powerOf(Channel& channel, std::int64_t microjoules);
    std::optional<double> failed(Channel& channel, int error, const char* attribute);
    void note();

    const LinuxRoot& root_;
    ClockPort& clock_;
    Diagnostics& diagnostics_;
    SourceHealth& source_;
    std::mutex mutex_;
    DescriptorBudget budget_;
    DirectoryWatch watch_;
    std::vector<std::unique_ptr<Chip>> chips_;                    ///< in the order in which they were first seen
    std::vector<std::unique_ptr<Channel>> channels_;              ///< by place
    std::map<std::string, std::size_t, std::less<>> identities_;  ///< of channels, to their places
    SensorKeys keys_;
    std::uint64_t round_ = 0;
    double roundStart_ = 0;
    const Chip* lastRead_ = nullptr;  ///< the chip of the reading before
    bool started_ = false;
    bool settled_ = false;  ///< whether the chips of the start were taken in
    std::uint64_t revision_ = 0;
};

}  // namespace hvk
