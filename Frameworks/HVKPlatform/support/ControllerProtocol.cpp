#include "HVKPlatform/support/ControllerProtocol.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace hvk {

namespace {

// Where the fields of a call are.
constexpr std::size_t KeyAt = 0;
constexpr std::size_t SizeAt = 28;
constexpr std::size_t TypeAt = 32;
constexpr std::size_t AttributesAt = 36;
constexpr std::size_t ResultAt = 40;
constexpr std::size_t CommandAt = 42;
constexpr std::size_t IndexAt = 44;
constexpr std::size_t BytesAt = 48;

enum class Command : std::uint8_t { Read = 5, Write = 6, KeyAtIndex = 8, Info = 9 };

// What the controller puts into the result field.
constexpr std::uint8_t Done = 0;
constexpr std::uint8_t BadCommand = 0x82;
constexpr std::uint8_t NoSuchKey = 0x84;
constexpr std::uint8_t NotWritable = 0x86;
constexpr std::uint8_t SizeMismatch = 0x87;
constexpr std::uint8_t BadIndex = 0xB8;

constexpr std::uint32_t CountKey = 0x234B4559;   // "#KEY"
constexpr std::uint32_t CountType = 0x75693332;  // "ui32"
constexpr std::size_t CountSize = 4;

using Reply = std::span<std::uint8_t>;

std::uint32_t wordAt(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + at, sizeof word);
    return word;
}

void putWord(Reply reply, std::size_t at, std::uint32_t word) { std::memcpy(reply.data() + at, &word, sizeof word); }

/// The keys of a controller, with the one that counts them when it is not among them.
class CountedKeys {
public:
    explicit CountedKeys(ControllerKeys& keys) : keys_(keys) {}

    Result<ControllerKeyInfo> info(std::uint32_t key) {
        auto info = keys_.info(key);
        counts_ = key == CountKey && !info && info.failure().kind == FailureKind::Absent;
        if (counts_) return ControllerKeyInfo{CountSize, CountType, 0};
        return info;
    }

    /// After `info` of the same key.
    Status read(std::uint32_t key, std::span<std::uint8_t> bytes) {
        if (!counts_) return keys_.read(key, bytes);
        const auto count = static_cast<std::uint32_t>(keys_.count());
        for (std::size_t index = 0; index < CountSize; ++index)
            bytes[index] = static_cast<std::uint8_t>(count >> (8 * (CountSize - 1 - index)));
        return {};
    }

    /// Whether the key that `info` was last asked for is the counting one.
    bool counts() const { return counts_; }

private:
    ControllerKeys& keys_;
    bool counts_ = false;
};

std::uint8_t answerIndex(ControllerKeys& keys, std::uint32_t index, Reply reply) {
    const auto key = keys.keyAt(index);
    if (!key) return BadIndex;
    putWord(reply, KeyAt, *key);
    return Done;
}

/// Answers a command about a key; gives the controller's result.
Result<std::uint8_t> answerKey(ControllerKeys& keys, Command command, std::span<const std::uint8_t> request,
                               Reply reply) {
    const std::uint32_t key = wordAt(request, KeyAt);
    CountedKeys counted(keys);
    const auto info = counted.info(key);
    if (!info && info.failure().kind == FailureKind::Absent) return NoSuchKey;
    if (!info) return info.failure();
    if (command == Command::Info) {
        putWord(reply, SizeAt, info->size);
        putWord(reply, TypeAt, info->type);
        reply[AttributesAt] = info->attributes;
        return Done;
    }
    if (wordAt(request, SizeAt) != info->size || info->size > ControllerValueSize) return SizeMismatch;
    if (command == Command::Write) {
        if (counted.counts()) return NotWritable;
        const Status status = keys.write(key, request.subspan(BytesAt, info->size));
        return status ? Result<std::uint8_t>(Done) : status.failure();
    }
    // Aside from the reply, so that a reading that fails halfway leaves none of its bytes there.
    std::array<std::uint8_t, ControllerValueSize> value{};
    const auto bytes = std::span(value).first(info->size);
    if (const Status status = counted.read(key, bytes); !status) return status.failure();
    std::copy(bytes.begin(), bytes.end(), reply.begin() + BytesAt);
    return Done;
}

bool isKeyCommand(Command command) {
    return command == Command::Read || command == Command::Write || command == Command::Info;
}

Failure malformed(const char* what, std::size_t size) {
    return {FailureKind::Malformed, "controller call", std::string(what) + std::to_string(size) + " bytes, not 80"};
}

}  // namespace

std::optional<std::uint32_t> controllerCode(std::string_view text) {
    if (text.size() != 4) return std::nullopt;
    std::uint32_t code = 0;
    for (const char character : text) code = code << 8 | static_cast<std::uint8_t>(character);
    return code;
}

std::string controllerText(std::uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFF);
    return text;
}

Result<std::size_t> answerControllerCall(ControllerKeys& keys, std::span<const std::uint8_t> request,
                                         std::span<std::uint8_t> reply) {
    if (request.size() != ControllerCallSize) return malformed("a request of ", request.size());
    if (reply.size() < ControllerCallSize) return malformed("room for ", reply.size());
    const auto answer = reply.first(ControllerCallSize);
    std::fill(answer.begin(), answer.end(), std::uint8_t{0});
    const auto command = static_cast<Command>(request[CommandAt]);
    Result<std::uint8_t> result = BadCommand;
    if (command == Command::KeyAtIndex)
        result = answerIndex(keys, wordAt(request, IndexAt), answer);
    else if (isKeyCommand(command))
        result = answerKey(keys, command, request, answer);
    if (!result) return result.failure();
    answer[ResultAt] = *result;
    return ControllerCallSize;
}

}  // namespace hvk
