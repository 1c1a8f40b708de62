// SMC.h - the client of the system management controller: asks its driver for keys, sizes and values, decodes the bytes
// into numbers, and writes keys.
//
// It owns the calls and the arithmetic of the controller's number types. Which keys are sensors, and what they are
// called, is the sensors module's business; how the bytes travel is the UserClientPort's.
//
//     SMC smc(machine);
//     smc.open();
//     smc.read("TC0P");  // 47.5, or SMCNotAvailable
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/sensors/SMCParamStruct.h"

namespace hvk {

/// The one mark of "no value" among the controller's readings: the largest finite float, bits 0x7F7FFFFF.
inline constexpr float SMCNotAvailable = std::numeric_limits<float>::max();

/// The commands of a call, in `data8`.
inline constexpr std::uint8_t SMCReadKey = 5;
inline constexpr std::uint8_t SMCWriteKey = 6;
inline constexpr std::uint8_t SMCKeyFromIndex = 8;
inline constexpr std::uint8_t SMCReadKeyInfo = 9;

/// A value on its way to the decoder.
struct SMCResultData {
    std::uint32_t dataSize = 0;            ///< how many of the bytes are the value
    std::array<char, 5> dataType{};        ///< e.g. "sp78" and a terminating zero
    std::array<std::uint8_t, 32> bytes{};  ///< as the controller gave them
};

/// Looks a key up by a view, without making a string of it.
struct SMCKeyHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
};

/// The controller client. No call reports an error: what fails reads as a key of size 0 and as SMCNotAvailable; why it
/// failed stands in the machine's diagnostics. Thread: one at a time; only `sharedSMC` may be called from any.
class HVK_EXPORT SMC {
public:
    /// Key information by key, as `processKey` keeps it.
    using Cache = std::unordered_map<std::string, SMCParamStruct, SMCKeyHash, std::equal_to<>>;

    /// Without a connection: `open` makes it. The machine must outlive this object.
    explicit SMC(Machine& machine = Machine::current());

    /// Closes the connection.
    ~SMC();
    SMC(const SMC&) = delete;
    SMC& operator=(const SMC&) = delete;

    /// The process-wide instance, on the current machine, with `mode` 0; made on first call, never destroyed and not
    /// opened. (The class operation is called as its class, which no C++ member can be.) Thread: any.
    static SMC& sharedSMC();

    /// Connects to the controller. Without one it returns false and `SMCConnection` stays; when it does not open, false
    /// and `SMCConnection` is 0. A connection that is replaced is closed.
    bool open();

    /// The open connection; 0 before `open`, and when it failed.
    UserClientConnection SMCConnection() const { return connection_; }

    /// Calls the driver once with a command, a size and a key, e.g. (9, 2, "#KEY"): the reply, all zero when the call
    /// fails. A key that is not of 4 characters is sent as code 0.
    SMCParamStruct process(std::uint8_t command, std::uint32_t size, std::string_view key);

    /// The same with value bytes, laid out as `write` says. A value that is neither text nor number is sent as zeros.
    SMCParamStruct process(std::uint8_t command, std::uint32_t size, std::string_view key, const Value& value);

    /// Calls the driver once with a command and an index: the key at that index, e.g. "#KEY". Nothing when there is
    /// none or the call fails.
    std::optional<std::string> process(std::uint8_t command, std::uint32_t index);

    /// The information on a key: from the cache, or, the first time, from the driver. The first answer is final, a
    /// failed one too: such a key has size 0 for the life of this object. The reference stays valid as long.
    const SMCParamStruct& processKey(std::string_view key);

    /// The key at an index, counted from 0; nothing when there is none.
    std::optional<std::string> keyForIndex(std::uint32_t index);

    /// The value of a key, or SMCNotAvailable: for a key that the controller lacks, for a type that is no number, for a
    /// decoded 254 (the controller's mark), and for a key that begins with "T" outside of 0 to 150. One call of the
    /// driver once the key is known, and no allocation. An exception on the way is contained.
    float read(std::string_view key);

    /// {"value": 47.5, "bytes": ["47", "-128"]}: the decoded number without the rules of `read`, and each value byte as
    /// a signed number; null for a key of size 0.
    Value detailedRead(std::string_view key);

    /// Decodes value bytes by their type; SMCNotAvailable for a type that is no number. Integers are read as unsigned
    /// ones, whatever their name says.
    float value(const SMCResultData& data) const;

    /// Writes a key. The layout goes by the key's size, which is asked for anew: 4 bytes take the number as a float, 1
    /// byte takes its low byte, any other size takes, from a text of exactly 4 characters, four times the number in 2
    /// bytes (fan speeds have 2 fraction bits) and zeros otherwise. False, with nothing sent, when there is no such
    /// key, or when the value is neither text nor number; whether the controller took it, nobody checks.
    bool write(const Value& value, std::string_view key);

    /// Key information by key, one entry for each key ever asked for.
    const Cache& cache() const { return cache_; }

    /// Whether signed numbers are read as sign and magnitude, and "ui16" in the machine's own order; false at first.
    /// Only a host sets it.
    bool useAlternateConversion() const { return useAlternateConversion_; }
    void setUseAlternateConversion(bool use) { useAlternateConversion_ = use; }

    /// Stored only; 0 at first.
    std::int64_t mode() const { return mode_; }
    void setMode(std::int64_t mode) { mode_ = mode; }

private:
    SMCParamStruct call(const SMCParamStruct& request);
    SMCResultData readBytes(std::string_view key, const SMCKeyInfoData& info);

    Machine& machine_;
    UserClientConnection connection_ = 0;
    Cache cache_;
    bool useAlternateConversion_ = false;
    std::int64_t mode_ = 0;
};

/// Four characters as a code, the first in the most significant byte: "#KEY" is 0x234B4559. 0 for a key of another
/// length, and for one with a character outside ASCII.
HVK_EXPORT std::uint32_t smcKey(std::string_view key);

/// Stores the four bytes of a float, in the machine's order, at `buffer`.
HVK_EXPORT void float2Bytes(std::uint8_t* buffer, float value);

/// Exchanges the two bytes of a number in place.
HVK_EXPORT void swap2(std::uint16_t* number);

/// False: no machine with this controller is big-endian.
HVK_EXPORT bool isbigendian();

}  // namespace hvk
