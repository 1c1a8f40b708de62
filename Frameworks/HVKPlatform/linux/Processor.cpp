#include "HVKPlatform/linux/Processor.h"

#include <algorithm>
#include <string>

namespace hvk {

namespace {

constexpr std::size_t NoPlace = SIZE_MAX;

/// Further than a counter moves between two readings (a week at 1000 ticks a second); a greater distance modulo 2^32
/// means that it ran backwards.
constexpr std::uint32_t LongestStep = std::uint32_t{1} << 30;

constexpr const char* StateNames[ProcessorStateCount] = {"user", "system", "idle", "nice"};

std::array<std::uint64_t, ProcessorStateCount> countersOf(const parse::ProcessorTimes& times) {
    std::array<std::uint64_t, ProcessorStateCount> counters{};
    counters[ProcessorStateUser] = times.user;
    counters[ProcessorStateSystem] = times.system + times.irq + times.softirq + times.steal;
    counters[ProcessorStateIdle] = times.idle + times.iowait;
    counters[ProcessorStateNice] = times.nice;
    return counters;
}

}  // namespace

LinuxProcessorPort::LinuxProcessorPort(const LinuxRoot& root, const Topology& topology, std::uint64_t ticksPerSecond,
                                       Diagnostics& diagnostics)
    : topology_(topology),
      saved_(!root.isLive()),
      idleSlip_(ticksPerSecond),
      file_(root, "/proc/stat"),
      source_(diagnostics.source("/proc/stat", "processor ticks", "mount procfs at /proc")) {
    for (const ProcessorPlace& entry : topology.places) {
        Place& place = places_.emplace_back();
        place.processor = entry.processor;
        place.online = entry.online;
        if (placeByNumber_.size() <= entry.processor) placeByNumber_.resize(entry.processor + 1, NoPlace);
        placeByNumber_[entry.processor] = places_.size() - 1;
    }
}

ProcessorArchitecture LinuxProcessorPort::architecture() {
    return topology_.isHybrid ? ProcessorArchitecture::Clustered : ProcessorArchitecture::Paired;
}

LinuxProcessorPort::Place* LinuxProcessorPort::placeOf(std::uint32_t processor) {
    if (processor >= placeByNumber_.size() || placeByNumber_[processor] == NoPlace) return nullptr;
    return &places_[placeByNumber_[processor]];
}

/// Takes one processor's counters over; false with the reason when one ran backwards.
bool LinuxProcessorPort::moveOn(Place& place, const Counters& counters, std::string& fault) {
    if (!place.read && everRead_) {
        // It was offline until now: what it counted before is nobody's use of the last span.
        place.last = counters;
        place.read = true;
        return true;
    }
    bool sound = true;
    for (std::size_t state = 0; state < ProcessorStateCount; ++state) {
        const std::uint64_t before = place.last[state];
        const std::uint64_t now = counters[state];
        if (now < before && place.read) {
            if (state == ProcessorStateIdle && before - now <= idleSlip_) continue;
            // A counter of 32 bits may have wrapped; then the difference modulo 2^32 is a plausible step.
            if (static_cast<std::uint32_t>(now - before) > LongestStep || before > UINT32_MAX) {
                sound = false;
                fault = "cpu" + std::to_string(place.processor) + ": " + StateNames[state] + " ran backwards from " +
                        std::to_string(before) + " to " + std::to_string(now);
                place.last[state] = now;
                continue;
            }
        }
        place.presented[state] += static_cast<std::uint32_t>(now - before);
        place.last[state] = now;
    }
    place.read = true;
    return sound;
}

Status LinuxProcessorPort::accept(const parse::ProcessorLines& lines) {
    for (Place& place : places_) place.seen = false;
    for (const auto& line : lines.lines)
        if (Place* place = placeOf(line.processor)) place->seen = true;

    // A file that ends with its processor lines may have lost some; one that goes on has only lost what is offline.
    for (const Place& place : places_) {
        if (lines.endsWithThem && place.online && !place.seen)
            return Failure{FailureKind::Malformed, file_.name(),
                           "the file ends before the line of cpu" + std::to_string(place.processor)};
    }

    std::string fault;
    bool sound = true;
    for (const auto& line : lines.lines) {
        Place* place = placeOf(line.processor);
        if (place == nullptr) {
            if (!reportedNewcomer_)
                source_.note("cpu" + std::to_string(line.processor) +
                             " was added after the start; it is shown after a restart");
            reportedNewcomer_ = true;
            continue;
        }
        sound = moveOn(*place, countersOf(line.times), fault) && sound;
    }
    for (Place& place : places_) place.online = place.seen;
    if (!sound) return Failure{FailureKind::Malformed, file_.name(), fault};
    return {};
}

Status LinuxProcessorPort::readCounters() {
    const auto text = file_.read();
    if (!text) {
        // A tree saved without the file still tells which processors there are; their counters stay 0.
        if (saved_ && text.failure().kind == FailureKind::Absent && !everRead_ && !places_.empty()) {
            (void)source_.failed(text.failure());
            return {};
        }
        return source_.failed(text.failure());
    }
    if (auto parsed = parse::parseProcessorLines(*text, lines_); !parsed) return source_.failed(parsed.failure());
    if (auto accepted = accept(lines_); !accepted) return source_.failed(accepted.failure());
    everRead_ = true;
    source_.works();
    return {};
}

Status LinuxProcessorPort::loadInfo(std::vector<ProcessorTicks>& ticks) {
    if (auto status = readCounters(); !status) return status;
    ticks.resize(places_.size());
    for (std::size_t index = 0; index < places_.size(); ++index) ticks[index] = places_[index].presented;
    return {};
}

}  // namespace hvk
