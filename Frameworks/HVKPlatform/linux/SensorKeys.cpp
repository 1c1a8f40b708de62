#include "HVKPlatform/linux/SensorKeys.h"

namespace hvk {

namespace {

constexpr std::string_view Letters = "TFVIPC";
constexpr std::string_view Characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

std::uint64_t hashOf(std::string_view identity, unsigned attempt) {
    std::uint64_t hash = 14695981039346656037U;
    const auto take = [&](unsigned char byte) { hash = (hash ^ byte) * 1099511628211U; };
    for (const char c : identity) take(static_cast<unsigned char>(c));
    for (; attempt > 0; attempt >>= 8) take(static_cast<unsigned char>(attempt));
    hash ^= hash >> 33;
    hash *= 0xff51afd7ed558ccdU;
    hash ^= hash >> 33;
    return hash;
}

/// Past this many attempts the keys of a letter count up instead: each is tried once, however unlucky.
constexpr unsigned HashedAttempts = 64;

}  // namespace

char sensorKeyLetter(SensorKind kind) { return Letters[static_cast<std::size_t>(kind)]; }

bool isSensorKey(std::uint32_t key) {
    const auto character = [key](int shift) { return static_cast<char>(key >> shift & 0xFF); };
    if (Letters.find(character(24)) == std::string_view::npos) return false;
    for (const int shift : {16, 8, 0})
        if (Characters.find(character(shift)) == std::string_view::npos) return false;
    return true;
}

std::uint32_t sensorKeyAttempt(SensorKind kind, bool ofGPU, std::string_view identity, unsigned attempt) {
    const std::uint64_t hash =
        attempt < HashedAttempts ? hashOf(identity, attempt) : hashOf(identity, 0) + (attempt - HashedAttempts);
    const auto code = [](char c) { return static_cast<std::uint32_t>(static_cast<unsigned char>(c)); };
    const auto character = [&](std::uint64_t number) { return code(Characters[number % Characters.size()]); };
    const bool isTemperature = kind == SensorKind::Temperature;
    std::uint32_t second = character(hash / (Characters.size() * Characters.size()));
    // The place of "G" among temperatures is the GPUs'; the others that would come there move to the next letter.
    if (isTemperature && second == code('G')) second = code('H');
    if (isTemperature && ofGPU) second = code('G');
    return code(sensorKeyLetter(kind)) << 24 | second << 16 | character(hash / Characters.size()) << 8 |
           character(hash);
}

std::uint32_t SensorKeys::give(SensorKind kind, bool ofGPU, std::string_view identity, std::size_t place) {
    for (unsigned attempt = 0;; ++attempt) {
        const std::uint32_t key = sensorKeyAttempt(kind, ofGPU, identity, attempt);
        if (places_.try_emplace(key, place).second) return key;
    }
}

std::optional<std::size_t> SensorKeys::find(std::uint32_t key) const {
    const auto found = places_.find(key);
    if (found == places_.end()) return std::nullopt;
    return found->second;
}

}  // namespace hvk
