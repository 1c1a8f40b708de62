// SMCParamStruct.h - the structure that the management controller's driver takes and gives: 80 bytes, in natural
// alignment and in the byte order of the machine, which is little-endian wherever there is such a driver.
//
// It owns the layout only. What a command means and how value bytes are decoded is SMC's.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace hvk {

/// The version block of a call; sent as 0.
struct SMCVersion {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint8_t build = 0;
    std::uint8_t reserved = 0;
    std::uint16_t release = 0;

    bool operator==(const SMCVersion&) const = default;
};

/// The power-limit block of a call; sent as 0.
struct SMCPLimitData {
    std::uint16_t version = 0;
    std::uint16_t length = 0;
    std::uint32_t cpuPLimit = 0;
    std::uint32_t gpuPLimit = 0;
    std::uint32_t memPLimit = 0;

    bool operator==(const SMCPLimitData&) const = default;
};

/// What the controller knows of a key.
struct SMCKeyInfoData {
    std::uint32_t dataSize = 0;       ///< number of value bytes, e.g. 2; 0 when there is no such key
    std::uint32_t dataType = 0;       ///< four-character code, e.g. "sp78" as 0x73703738
    std::uint8_t dataAttributes = 0;  ///< bits that nobody interprets

    bool operator==(const SMCKeyInfoData&) const = default;
};

/// A request to the driver, and its reply.
struct SMCParamStruct {
    std::uint32_t key = 0;  ///< four-character code, the first character in the most significant byte
    SMCVersion vers;
    SMCPLimitData pLimitData;
    SMCKeyInfoData keyInfo;
    std::uint8_t result = 0;               ///< the driver's result code, not interpreted
    std::uint8_t status = 0;               ///< not interpreted
    std::uint8_t data8 = 0;                ///< the command
    std::uint32_t data32 = 0;              ///< the index of the command that asks for one
    std::array<std::uint8_t, 32> bytes{};  ///< the value, in the key's own byte order

    bool operator==(const SMCParamStruct&) const = default;
};

/// The structure's Objective-C type, under which a host may box one.
inline constexpr const char* SMCParamStructType =
    "{SMCParamStruct=I{SMCVersion=CCCCS}{SMCPLimitData=SSIII}{SMCKeyInfoData=IIC}CCCI[32c]}";

static_assert(std::endian::native == std::endian::little);
static_assert(std::is_trivially_copyable_v<SMCParamStruct> && std::is_standard_layout_v<SMCParamStruct>);
static_assert(sizeof(SMCParamStruct) == 80 && alignof(SMCParamStruct) == 4);
static_assert(sizeof(SMCVersion) == 6 && offsetof(SMCVersion, release) == 4);
static_assert(offsetof(SMCVersion, minor) == 1 && offsetof(SMCVersion, build) == 2);
static_assert(offsetof(SMCVersion, reserved) == 3);
static_assert(sizeof(SMCPLimitData) == 16 && offsetof(SMCPLimitData, length) == 2);
static_assert(offsetof(SMCPLimitData, cpuPLimit) == 4 && offsetof(SMCPLimitData, gpuPLimit) == 8);
static_assert(offsetof(SMCPLimitData, memPLimit) == 12);
static_assert(sizeof(SMCKeyInfoData) == 12 && offsetof(SMCKeyInfoData, dataType) == 4);
static_assert(offsetof(SMCKeyInfoData, dataAttributes) == 8);
static_assert(offsetof(SMCParamStruct, key) == 0 && offsetof(SMCParamStruct, vers) == 4);
static_assert(offsetof(SMCParamStruct, pLimitData) == 12 && offsetof(SMCParamStruct, keyInfo) == 28);
static_assert(offsetof(SMCParamStruct, result) == 40 && offsetof(SMCParamStruct, status) == 41);
static_assert(offsetof(SMCParamStruct, data8) == 42 && offsetof(SMCParamStruct, data32) == 44);
static_assert(offsetof(SMCParamStruct, bytes) == 48);

}  // namespace hvk
