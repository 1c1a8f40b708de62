#include "HVKStatistics/sensors/SMC.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <locale>
#include <span>
#include <sstream>

#include "HVKStatistics/core/HVKTryCatch.h"
#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

namespace {

constexpr const char* ServiceClass = "AppleSMC";
constexpr std::uint32_t ClientType = 1;
constexpr std::uint32_t OpenSelector = 0;
constexpr std::uint32_t CallSelector = 2;

/// What every request for a key's information says its size is, whatever the key.
constexpr std::uint32_t KeyInfoSize = 2;

/// A reading of this is the controller's way to say that it has none.
constexpr float NoReading = 254;
constexpr float ColdestTemperature = 0;
constexpr float HottestTemperature = 150;

struct FixedPoint {
    std::string_view type;
    float divisor;
};

/// The letter or digit at the end counts the fraction bits.
constexpr FixedPoint FixedPoints[] = {
    {"spe1", 2},    {"fpf1", 2},    {"spd2", 4},     {"fpe2", 4},     {"spc3", 8},     {"fpd3", 8},
    {"spb4", 16},   {"fpc4", 16},   {"spa5", 32},    {"fpb5", 32},    {"sp96", 64},    {"fpa6", 64},
    {"sp87", 128},  {"fp97", 128},  {"sp78", 256},   {"fp88", 256},   {"sp69", 512},   {"fp79", 512},
    {"sp5a", 1024}, {"fp6a", 1024}, {"sp4b", 2048},  {"fp5b", 2048},  {"sp3c", 4096},  {"fp4c", 4096},
    {"sp2d", 8192}, {"fp3d", 8192}, {"sp1e", 16384}, {"fp2e", 16384}, {"sp0f", 32768}, {"fp1f", 32768},
};

float divisorOf(std::string_view type) {
    const auto found = std::find_if(std::begin(FixedPoints), std::end(FixedPoints),
                                    [&](const FixedPoint& each) { return each.type == type; });
    return found == std::end(FixedPoints) ? 1 : found->divisor;
}

std::uint16_t bigEndian16(const SMCResultData& data) {
    return static_cast<std::uint16_t>(data.bytes[0] << 8 | data.bytes[1]);
}

std::uint32_t bigEndian32(const SMCResultData& data) {
    return std::uint32_t{bigEndian16(data)} << 16 | std::uint32_t{data.bytes[2]} << 8 | data.bytes[3];
}

/// The driver's marks of a sensor that is not there: 0x8000 to 0x8400.
bool isAbsentSensor(const SMCResultData& data) {
    return data.bytes[1] == 0 && static_cast<std::int8_t>(data.bytes[0]) < -123;
}

float signedFixedPoint(const SMCResultData& data, float divisor, bool isSignAndMagnitude) {
    const std::uint16_t bits = bigEndian16(data);
    if (isSignAndMagnitude && data.dataSize == 2) {
        const float magnitude = static_cast<float>(bits & 0x7FFF) / divisor;
        return (bits & 0x8000) != 0 ? -magnitude : magnitude;
    }
    if (isAbsentSensor(data)) return SMCNotAvailable;
    return static_cast<float>(static_cast<std::int16_t>(bits)) / divisor;
}

float unsignedFixedPoint(const SMCResultData& data, float divisor) {
    if (isAbsentSensor(data)) return SMCNotAvailable;
    return static_cast<float>(bigEndian16(data)) / divisor;
}

/// A signed integer as the unsigned number that its bits are; read as sign and magnitude, a negative one is negated
/// within its width first.
template <class Bits>
float signedInteger(Bits bits, bool isSignAndMagnitude) {
    constexpr auto SignBit = static_cast<Bits>(Bits{1} << (sizeof(Bits) * 8 - 1));
    if (isSignAndMagnitude && (bits & SignBit) != 0) bits = static_cast<Bits>(0U - static_cast<Bits>(bits & ~SignBit));
    return static_cast<float>(bits);
}

/// Four bytes as text. What is outside ASCII becomes the character of that number, so that the text is UTF-8.
std::string textOfCode(std::uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const std::uint32_t character = code >> shift & 0xFF;
        if (character >= 0x80) text += static_cast<char>(0xC0 | character >> 6);
        text += static_cast<char>(character < 0x80 ? character : 0x80 | (character & 0x3F));
    }
    return text;
}

// Values to be written

bool isWritable(const Value& value) { return value.is_string() || value.is_number() || value.is_boolean(); }

std::string textOf(const Value& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
    if (value.is_number_unsigned()) return std::to_string(value.get<std::uint64_t>());
    if (value.is_number_integer()) return std::to_string(value.get<std::int64_t>());
    return value.is_number() ? fmt::format("{}", value.get<double>()) : std::string();
}

/// The number that a text begins with, after white space; 0 when it begins with none. Whatever follows is ignored.
double leadingNumber(const std::string& text) {
    const auto start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    std::size_t end = start;
    const auto skipDigits = [&] { end = std::min(text.find_first_not_of("0123456789", end), text.size()); };
    if (end < text.size() && (text[end] == '+' || text[end] == '-')) ++end;
    skipDigits();
    if (end < text.size() && text[end] == '.') {
        ++end;
        skipDigits();
    }
    std::istringstream stream(text.substr(start, end - start));
    stream.imbue(std::locale::classic());
    double number = 0;
    stream >> number;
    return number;
}

double numberOf(const Value& value) {
    if (value.is_string()) return leadingNumber(value.get_ref<const std::string&>());
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    return value.is_number() ? value.get<double>() : 0;
}

std::int64_t integerOf(const Value& value) {
    if (value.is_number_integer()) return value.get<std::int64_t>();
    constexpr double Limit = 9.2e18;
    const double number = numberOf(value);
    return std::isnan(number) ? 0 : static_cast<std::int64_t>(std::clamp(number, -Limit, Limit));
}

void putFanSpeed(const Value& value, std::array<std::uint8_t, 32>& bytes) {
    if (textOf(value).size() != 4) return;
    const auto quarters = static_cast<std::uint32_t>(static_cast<std::uint64_t>(integerOf(value)) * 4);
    // What needs more than four digits keeps the first four of them.
    const std::string digits = fmt::format("{:04x}", quarters);
    for (std::size_t byte = 0; byte < 2; ++byte)
        std::from_chars(digits.data() + byte * 2, digits.data() + byte * 2 + 2, bytes[byte], 16);
}

void putValue(const Value& value, std::uint32_t size, std::array<std::uint8_t, 32>& bytes) {
    if (size == 4)
        float2Bytes(bytes.data(), static_cast<float>(numberOf(value)));
    else if (size == 1)
        bytes[0] = static_cast<std::uint8_t>(integerOf(value));
    else
        putFanSpeed(value, bytes);
}

SMCParamStruct requestFor(std::uint8_t command, std::uint32_t size, std::string_view key) {
    SMCParamStruct request;
    request.key = smcKey(key);
    request.keyInfo.dataSize = size;
    request.data8 = command;
    return request;
}

/// The bytes of a request as they travel: between the fields there are zeros, whatever the compiler left there.
std::array<std::uint8_t, sizeof(SMCParamStruct)> bytesOf(const SMCParamStruct& request) {
    constexpr std::size_t Padding[] = {10, 11, 37, 38, 39, 43};
    auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(SMCParamStruct)>>(request);
    for (const std::size_t at : Padding) bytes[at] = 0;
    return bytes;
}

}  // namespace

SMC::SMC(Machine& machine) : machine_(machine) {}

SMC::~SMC() {
    if (connection_ != 0) machine_.userClients().close(connection_);
}

SMC& SMC::sharedSMC() {
    static SMC& instance = *new SMC;
    return instance;
}

bool SMC::open() {
    UserClientPort& port = machine_.userClients();
    const auto opened = port.open(ServiceClass, ClientType);
    if (!opened && (opened.failure().kind == FailureKind::Absent || opened.failure().kind == FailureKind::Unsupported))
        return false;
    if (connection_ != 0) port.close(connection_);
    connection_ = opened.valueOr(0);
    if (connection_ == 0) return false;
    // Drivers that have no sessions refuse this, and serve all the same.
    (void)port.callScalar(connection_, OpenSelector);
    return true;
}

// Calls

SMCParamStruct SMC::call(const SMCParamStruct& request) {
    if (connection_ == 0) return {};
    const auto input = bytesOf(request);
    std::array<std::uint8_t, sizeof(SMCParamStruct)> output{};
    if (!machine_.userClients().callStructure(connection_, CallSelector, input, output)) return {};
    return std::bit_cast<SMCParamStruct>(output);
}

SMCParamStruct SMC::process(std::uint8_t command, std::uint32_t size, std::string_view key) {
    return call(requestFor(command, size, key));
}

SMCParamStruct SMC::process(std::uint8_t command, std::uint32_t size, std::string_view key, const Value& value) {
    SMCParamStruct request = requestFor(command, size, key);
    putValue(value, size, request.bytes);
    return call(request);
}

std::optional<std::string> SMC::process(std::uint8_t command, std::uint32_t index) {
    SMCParamStruct request;
    request.data8 = command;
    request.data32 = index;
    const std::uint32_t code = call(request).key;
    if (code == 0) return std::nullopt;
    return textOfCode(code);
}

std::optional<std::string> SMC::keyForIndex(std::uint32_t index) { return process(SMCKeyFromIndex, index); }

const SMCParamStruct& SMC::processKey(std::string_view key) {
    const auto found = cache_.find(key);
    if (found != cache_.end()) return found->second;
    return cache_.emplace(key, process(SMCReadKeyInfo, KeyInfoSize, key)).first->second;
}

// Readings

SMCResultData SMC::readBytes(std::string_view key, const SMCKeyInfoData& info) {
    SMCResultData data;
    data.dataSize = info.dataSize;
    for (std::size_t index = 0; index < 4; ++index)
        data.dataType[index] = static_cast<char>(info.dataType >> (24 - 8 * index));
    data.bytes = process(SMCReadKey, info.dataSize, key).bytes;
    return data;
}

float SMC::read(std::string_view key) {
    float number = SMCNotAvailable;
    const auto reading = [&] {
        const SMCKeyInfoData info = processKey(key).keyInfo;
        if (info.dataSize == 0) return;
        const float decoded = value(readBytes(key, info));
        if (decoded == NoReading) return;
        if (key.starts_with('T') && (decoded > HottestTemperature || decoded < ColdestTemperature)) return;
        number = decoded;
    };
    HVKTryCatchBlock(std::ref(reading));
    return number;
}

Value SMC::detailedRead(std::string_view key) {
    const SMCKeyInfoData info = processKey(key).keyInfo;
    if (info.dataSize == 0) return nullptr;
    const SMCResultData data = readBytes(key, info);
    Value bytes = Value::array();
    for (const std::uint8_t byte : std::span(data.bytes).first(std::min<std::size_t>(info.dataSize, data.bytes.size())))
        bytes.push_back(std::to_string(static_cast<std::int8_t>(byte)));
    const float number = value(data);
    // The mark of no value stays the number that readers compare with.
    return {{"value", number == SMCNotAvailable ? Value(static_cast<double>(number)) : numberFromFloat(number)},
            {"bytes", std::move(bytes)}};
}

float SMC::value(const SMCResultData& data) const {
    const std::string_view type(data.dataType.data(), 4);
    const bool alternate = useAlternateConversion_;
    if (type.starts_with("sp")) return signedFixedPoint(data, divisorOf(type), alternate);
    if (type.starts_with("fp")) return unsignedFixedPoint(data, divisorOf(type));
    if (type.starts_with("flt")) {
        float number = 0;
        std::memcpy(&number, data.bytes.data(), sizeof number);
        return number;
    }
    if (type == "ui32") return static_cast<float>(bigEndian32(data));
    if (type == "ui16") {
        std::uint16_t number = bigEndian16(data);
        if (alternate) swap2(&number);
        return number;
    }
    if (type == "flag" || type.starts_with("ui8")) return data.bytes[0];
    if (type.starts_with("si8")) return signedInteger(data.bytes[0], alternate);
    if (type == "si16") return signedInteger(bigEndian16(data), alternate);
    if (type == "si32") return signedInteger(bigEndian32(data), alternate);
    return SMCNotAvailable;
}

bool SMC::write(const Value& value, std::string_view key) {
    if (!isWritable(value)) return false;
    const std::uint32_t size = process(SMCReadKeyInfo, KeyInfoSize, key).keyInfo.dataSize;
    if (size == 0) return false;
    process(SMCWriteKey, size, key, value);
    return true;
}

// Functions beside the class

std::uint32_t smcKey(std::string_view key) {
    if (key.size() != 4) return 0;
    std::uint32_t code = 0;
    for (const char character : key) {
        if (static_cast<unsigned char>(character) >= 0x80) return 0;
        code = code << 8 | static_cast<unsigned char>(character);
    }
    return code;
}

void float2Bytes(std::uint8_t* buffer, float value) { std::memcpy(buffer, &value, sizeof value); }

void swap2(std::uint16_t* number) { *number = static_cast<std::uint16_t>(*number << 8 | *number >> 8); }

bool isbigendian() { return false; }

}  // namespace hvk
