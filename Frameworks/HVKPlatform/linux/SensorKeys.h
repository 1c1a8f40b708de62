// SensorKeys.h - the four-character keys of the channels of hardware monitors.
//
// A key is a letter for what is measured and three characters 0-9 A-Z a-z, a hash of the channel's identity: the name
// of the chip, the stable path of its device, the channel. So it is the same on every start, whatever number the chip
// has in /sys/class/hwmon, with no table to keep. GPU temperatures, and no others, begin with "TG": clients go on
// asking for those when they do not answer, as a sleeping GPU does not.
//
// Two identities may hash to one key; the chance is 1 in 238328 for a pair of one letter (3844 for GPU temperatures).
// Then the one that came later takes the next key of its own sequence. Chips that are there at the start come in the
// order of their device paths, those on USB last: so what is plugged in never moves what is built in, and the key of a
// channel depends on another one only when the two collide. A key that was given away stays so while the program runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "HVKPlatform/ports/SensorDescriptions.h"

namespace hvk {

/// The first letter of a kind's keys: T, F, V, I, P, C (clock).
char sensorKeyLetter(SensorKind kind);

/// Whether a key has the shape of those given here.
bool isSensorKey(std::uint32_t key);

/// The key that an identity takes at the n-th attempt, from 0.
std::uint32_t sensorKeyAttempt(SensorKind kind, bool ofGPU, std::string_view identity, unsigned attempt);

/// The keys given so far, and to which place each was given. Thread: one at a time.
class SensorKeys {
public:
    /// Gives a new identity its key.
    std::uint32_t give(SensorKind kind, bool ofGPU, std::string_view identity, std::size_t place);

    /// The place that a key was given to.
    std::optional<std::size_t> find(std::uint32_t key) const;

private:
    std::unordered_map<std::uint32_t, std::size_t> places_;
};

}  // namespace hvk
