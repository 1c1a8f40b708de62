// The serving side of the controller's calls: every command over keys that are written down, and what is refused.

#include "HVKPlatform/support/ControllerProtocol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <vector>

namespace hvk {
namespace {

using testing::Each;
using testing::ElementsAre;

using Call = std::array<std::uint8_t, ControllerCallSize>;

std::uint32_t code(const char* text) { return *controllerCode(text); }

/// Two keys, one of which may fail.
class TwoKeys : public ControllerKeys {
public:
    struct Key {
        ControllerKeyInfo info;
        std::vector<std::uint8_t> bytes;
    };

    std::size_t count() override { return 0x010203; }
    std::optional<std::uint32_t> keyAt(std::size_t index) override {
        if (index >= keys.size()) return std::nullopt;
        return std::next(keys.begin(), static_cast<std::ptrdiff_t>(index))->first;
    }
    Result<ControllerKeyInfo> info(std::uint32_t key) override {
        if (key == code("Gone")) return Failure{FailureKind::Gone, "info", {}};
        const auto found = keys.find(key);
        if (found == keys.end()) return Failure{FailureKind::Absent, "info", {}};
        return found->second.info;
    }
    Status read(std::uint32_t key, std::span<std::uint8_t> bytes) override {
        const Key& found = keys.at(key);
        bytes[0] = found.bytes[0];
        if (isBroken) return Failure{FailureKind::TimedOut, "read", {}};
        std::copy(found.bytes.begin(), found.bytes.end(), bytes.begin());
        return {};
    }
    Status write(std::uint32_t key, std::span<const std::uint8_t> bytes) override {
        if (isBroken) return Failure{FailureKind::Denied, "write", {}};
        keys.at(key).bytes.assign(bytes.begin(), bytes.end());
        return {};
    }

    std::map<std::uint32_t, Key> keys = {{code("F0Mn"), {{2, code("fpe2"), 0xC0}, {0x12, 0xC0}}},
                                         {code("TC0P"), {{2, code("sp78"), 0x80}, {0x2F, 0x81}}}};
    bool isBroken = false;
};

Call request(std::uint8_t command, std::uint32_t key, std::uint32_t size = 0, std::uint32_t index = 0) {
    Call call{};
    const auto put = [&call](std::size_t at, std::uint32_t word) {
        for (std::size_t byte = 0; byte < 4; ++byte) call[at + byte] = static_cast<std::uint8_t>(word >> (8 * byte));
    };
    put(0, key);
    put(28, size);
    put(44, index);
    call[42] = command;
    return call;
}

/// The reply to a call that must work; what was in the memory before does not shine through.
Call answer(ControllerKeys& keys, const Call& call) {
    Call reply;
    reply.fill(0xEE);
    const auto written = answerControllerCall(keys, call, reply);
    EXPECT_TRUE(written) << written.failure().detail;
    EXPECT_EQ(written.valueOr(0), ControllerCallSize);
    return reply;
}

std::vector<std::uint8_t> part(const Call& call, std::size_t at, std::size_t count) {
    return {call.begin() + static_cast<std::ptrdiff_t>(at), call.begin() + static_cast<std::ptrdiff_t>(at + count)};
}

TEST(ControllerProtocol, CodesAreFourCharacters) {
    EXPECT_EQ(controllerCode("#KEY"), 0x234B4559U);
    EXPECT_EQ(controllerCode("\xFFi8 "), 0xFF693820U);
    EXPECT_EQ(controllerText(0x75693820), "ui8 ");
    for (const char* text : {"", "KEY", "#KEYS"}) EXPECT_FALSE(controllerCode(text)) << text;
}

TEST(ControllerProtocol, ListsDescribesReadsAndWrites) {
    TwoKeys keys;
    EXPECT_THAT(part(answer(keys, request(8, 0, 0, 1)), 0, 4), ElementsAre('P', '0', 'C', 'T'));
    const Call info = answer(keys, request(9, code("F0Mn"), 2));
    EXPECT_THAT(part(info, 28, 9), ElementsAre(2, 0, 0, 0, '2', 'e', 'p', 'f', 0xC0));
    EXPECT_THAT(part(info, 48, 32), Each(0));

    Call write = request(6, code("F0Mn"), 2);
    write[48] = 0x1F;
    write[49] = 0x40;
    write[50] = 0x77;
    EXPECT_THAT(answer(keys, write), Each(0));
    const Call value = answer(keys, request(5, code("F0Mn"), 2));
    EXPECT_THAT(part(value, 48, 3), ElementsAre(0x1F, 0x40, 0)) << "only as many bytes as the key has";
    EXPECT_EQ(value[40], 0);
}

TEST(ControllerProtocol, CountsItsKeysUnlessTheyCountThemselves) {
    TwoKeys keys;
    const Call info = answer(keys, request(9, code("#KEY"), 2));
    EXPECT_THAT(part(info, 28, 8), ElementsAre(4, 0, 0, 0, '2', '3', 'i', 'u'));
    EXPECT_THAT(part(answer(keys, request(5, code("#KEY"), 4)), 48, 4), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(answer(keys, request(6, code("#KEY"), 4))[40], 0x86);
    keys.keys[code("#KEY")] = {{1, code("ui8 "), 0}, {7}};
    EXPECT_THAT(part(answer(keys, request(5, code("#KEY"), 1)), 48, 2), ElementsAre(7, 0));
}

TEST(ControllerProtocol, RefusesAsTheControllerDoes) {
    TwoKeys keys;
    keys.keys[code("Long")] = {{33, code("ch8*"), 0}, std::vector<std::uint8_t>(33)};
    const struct {
        Call call;
        std::uint8_t result;
    } cases[] = {
        {request(9, code("none")), 0x84},
        {request(5, code("none"), 2), 0x84},
        {request(6, 0, 2), 0x84},
        {request(5, code("TC0P"), 4), 0x87},
        {request(6, code("TC0P")), 0x87},
        {request(5, code("Long"), 33), 0x87},
        {request(8, 0, 0, 3), 0xB8},
        {request(8, 0, 0, 0xFFFFFFFF), 0xB8},
        {request(7, code("TC0P"), 2), 0x82},
        {request(0, 0), 0x82},
    };
    for (const auto& one : cases) {
        Call reply = answer(keys, one.call);
        EXPECT_EQ(reply[40], one.result) << int{one.call[42]};
        reply[40] = 0;
        EXPECT_THAT(reply, Each(0)) << int{one.call[42]};
    }
    EXPECT_EQ(keys.keys[code("TC0P")].bytes[0], 0x2F);
}

TEST(ControllerProtocol, WhatTheKeysFailAtFailsTheCall) {
    TwoKeys keys;
    keys.isBroken = true;
    const auto kind = [&keys](const Call& call) {
        Call reply{};
        const auto written = answerControllerCall(keys, call, reply);
        EXPECT_THAT(part(reply, 48, 32), Each(0)) << "no bytes of a reading that failed halfway";
        return written ? std::nullopt : std::optional(written.failure().kind);
    };
    EXPECT_EQ(kind(request(5, code("TC0P"), 2)), FailureKind::TimedOut);
    EXPECT_EQ(kind(request(6, code("TC0P"), 2)), FailureKind::Denied);
    EXPECT_EQ(kind(request(9, code("Gone"), 2)), FailureKind::Gone);
    EXPECT_EQ(kind(request(9, code("TC0P"), 2)), std::nullopt) << "the size is known all the same";

    std::array<std::uint8_t, 81> memory{};
    memory.fill(0xEE);
    const std::span<std::uint8_t> bytes(memory);
    const Call call = request(8, 0);
    for (const std::size_t size : {0, 79, 81})
        EXPECT_EQ(answerControllerCall(keys, bytes.first(size), bytes).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(answerControllerCall(keys, call, bytes.first(79)).failure().kind, FailureKind::Malformed);
    EXPECT_THAT(memory, Each(0xEE));
    EXPECT_TRUE(answerControllerCall(keys, call, bytes));
    EXPECT_EQ(memory[80], 0xEE) << "a larger room keeps what is behind the reply";
}

}  // namespace
}  // namespace hvk
