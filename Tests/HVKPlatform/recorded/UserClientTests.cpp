// The controllers of a recorded machine: opened, asked, written, patched, and gone.

#include "HVKPlatform/recorded/UserClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::turn;
using test::writtenMachine;
using testing::HasSubstr;

Value controllers() {
    return Value::parse(R"({"controller": {"services": {
        "AppleSMC": {"keys": [
            {"key": "TC0P", "type": "sp78", "bytes": "2f80", "attributes": 128},
            {"key": "F0Mn", "type": "fpe2", "bytes": "12c0"},
            {"key": "zCRS", "type": "ui8\u0000", "size": 1, "unreadable": {"error": "denied"}},
            {"key": "AOPc", "type": "hex_", "size": 64}]},
        "Second": {"keys": []},
        "Sealed": {"error": "denied"}}}})");
}

/// A session with one service: what it answers to the commands.
class Session {
public:
    explicit Session(Machine& machine, const char* service = "AppleSMC") : port_(machine.userClients()) {
        const auto opened = port_.open(service, ControllerClientType);
        connection_ = opened.valueOr(0);
    }
    UserClientConnection connection() const { return connection_; }

    /// The value of a key in hexadecimal digits, or why there is none.
    std::string value(const char* key, std::uint8_t size) {
        if (const Status status = call(5, key, size); !status)
            return std::string(failureKindName(status.failure().kind));
        std::string text;
        for (std::size_t at = 48; at < std::size_t{48} + size; ++at) {
            constexpr const char* Digits = "0123456789abcdef";
            text += Digits[reply[at] >> 4];
            text += Digits[reply[at] & 0xF];
        }
        return text;
    }

    int size(const char* key) { return call(9, key, 2) ? reply[28] : -1; }

    Status write(const char* key, std::initializer_list<std::uint8_t> bytes) {
        return call(6, key, static_cast<std::uint8_t>(bytes.size()), bytes);
    }

    Status call(std::uint8_t command, const char* key, std::uint8_t size,
                std::initializer_list<std::uint8_t> bytes = {}) {
        std::array<std::uint8_t, ControllerCallSize> request{};
        for (std::size_t index = 0; index < 4; ++index) request[index] = static_cast<std::uint8_t>(key[3 - index]);
        request[28] = size;
        request[42] = command;
        std::copy(bytes.begin(), bytes.end(), request.begin() + 48);
        const auto written = port_.callStructure(connection_, ControllerCallSelector, request, reply);
        return written ? Status() : written.failure();
    }

    std::array<std::uint8_t, ControllerCallSize> reply{};

private:
    UserClientPort& port_;
    UserClientConnection connection_ = 0;
};

TEST(RecordedUserClient, OpensWhatThereIs) {
    const auto machine = writtenMachine(controllers());
    UserClientPort& port = machine->userClients();
    const auto first = port.open("AppleSMC", 1);
    const auto second = port.open("Second", 1);
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, 0U);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(port.open("Sealed", 1).failure().kind, FailureKind::Denied);
    EXPECT_EQ(port.open("None", 1).failure().kind, FailureKind::Absent);
    EXPECT_EQ(writtenMachine()->userClients().open("AppleSMC", 1).failure().kind, FailureKind::Absent);

    EXPECT_TRUE(port.callScalar(*first, ControllerOpenSelector));
    EXPECT_EQ(port.callScalar(*first, 9).failure().kind, FailureKind::Unsupported);
    std::array<std::uint8_t, 80> bytes{};
    EXPECT_EQ(port.callStructure(*first, 3, bytes, bytes).failure().kind, FailureKind::Unsupported);
    EXPECT_EQ(port.callStructure(*first, 2, {}, bytes).failure().kind, FailureKind::Malformed);

    EXPECT_EQ(machine->recordedUserClients().connectionCount(), 2U);
    port.close(*first);
    port.close(*first);
    EXPECT_EQ(machine->recordedUserClients().connectionCount(), 1U);
    EXPECT_EQ(port.callScalar(*first, 0).failure().kind, FailureKind::Gone);
    EXPECT_EQ(port.callStructure(*first, 2, bytes, bytes).failure().kind, FailureKind::Gone);
    EXPECT_TRUE(port.callScalar(*second, 0));
}

TEST(RecordedUserClient, WritesAndFramesChangeWhatIsRead) {
    const auto machine = writtenMachine(controllers());
    Session session(*machine);
    EXPECT_EQ(session.value("TC0P", 2), "2f80");
    EXPECT_EQ(session.value("#KEY", 4), "00000004");
    EXPECT_EQ(session.value("zCRS", 1), "denied");
    EXPECT_EQ(session.size("zCRS"), 1);
    EXPECT_EQ(session.size("AOPc"), 64);
    EXPECT_EQ(session.write("zCRS", {1}).failure().kind, FailureKind::Denied);
    ASSERT_TRUE(session.write("F0Mn", {0x1F, 0x40}));
    EXPECT_EQ(session.value("F0Mn", 2), "1f40");

    turn(*machine, 1, Value::parse(R"({"controller": {"services": {"AppleSMC": {"changes":
        {"TC0P": {"bytes": "3000"}, "zCRS": {"bytes": "07"}, "AOPc": null, "new ": {"type": "flag", "bytes": "01"}}
        }}}})"));
    EXPECT_EQ(session.value("TC0P", 2), "3000");
    EXPECT_EQ(session.value("F0Mn", 2), "1f40") << "what was written stays";
    EXPECT_EQ(session.value("zCRS", 1), "07");
    EXPECT_EQ(session.size("AOPc"), 0);
    EXPECT_EQ(session.size("new "), 1);
    EXPECT_EQ(session.value("#KEY", 4), "00000004");
    // The other keys kept their type and attributes.
    ASSERT_TRUE(session.call(9, "TC0P", 2));
    EXPECT_EQ(session.reply[32], '8');
    EXPECT_EQ(session.reply[36], 128);

    turn(*machine, 1, Value::parse(R"({"controller": {"services": {"AppleSMC":
        {"keys": [{"key": "F0Mn", "type": "fpe2", "bytes": "0000"}]}}}})"));
    EXPECT_EQ(session.value("#KEY", 4), "00000001");
    EXPECT_EQ(session.value("F0Mn", 2), "0000");
}

TEST(RecordedUserClient, ServicesComeAndGo) {
    const auto machine = writtenMachine(controllers());
    Session session(*machine);
    const auto services = [&](const char* text) {
        turn(*machine, 1, {{"controller", {{"services", Value::parse(text)}}}});
    };
    services(R"({"AppleSMC": null})");
    EXPECT_EQ(session.value("TC0P", 2), "gone");
    EXPECT_EQ(machine->userClients().open("AppleSMC", 1).failure().kind, FailureKind::Absent);
    services(R"({"AppleSMC": {"error": "timed out"}})");
    EXPECT_EQ(session.value("TC0P", 2), "timed out");
    services(R"({"AppleSMC": {"keys": [{"key": "TC0P", "type": "sp78", "bytes": "0100"}]}})");
    EXPECT_EQ(session.value("TC0P", 2), "0100");
    services(R"({"error": "denied"})");
    EXPECT_EQ(session.value("TC0P", 2), "denied");
}

TEST(RecordedUserClient, WhatMakesNoSenseChangesNothing) {
    const auto machine = writtenMachine(controllers());
    Session session(*machine);
    const struct {
        const char* service;
        const char* detail;
    } cases[] = {
        {R"({"keys": [{"type": "flag", "bytes": "01"}]})", "/keys/0\": has no \"key\""},
        {R"({"keys": [{"key": "TC0", "type": "flag"}]})", "/keys/0/key\": should be text of 4 bytes"},
        {R"({"keys": [{"key": "TC0P", "bytes": "01"}]})", "/keys/0\": needs a \"type\""},
        {R"({"keys": [{"key": "TC0P", "type": "flag"}, {"key": "TC0P", "type": "flag"}]})", "/keys/1\": this key is"},
        {R"({"keys": [{"key": "TC0P", "type": "flag", "value": 1}]})", "/keys/0/value\": no such field"},
        {R"({"changes": {"TC0P": {"bytes": "0"}}})", "/changes/TC0P/bytes\": should be pairs of hex"},
        {R"({"changes": {"TC0P": {"bytes": 12}}})", "/changes/TC0P/bytes\": should be text"},
        {R"({"changes": {"TC0P": {"bytes": "000000000000000000000000000000000000000000000000000000000000000000"}}})",
         "/changes/TC0P/bytes\": should be at most 32 bytes"},
        {R"({"changes": {"TC0P": {"bytes": "0102", "size": 3}}})", "/changes/TC0P/size\": is not that of the bytes"},
        {R"({"changes": {"TC0P": {"size": 256}}})", "/changes/TC0P/size\": should be a whole number from 0 to 255"},
        {R"({"changes": {"TC0P": {"attributes": -1}}})", "/changes/TC0P/attributes\": should be a whole number"},
        {R"({"changes": {"TC0P": {"unreadable": true}}})", "/changes/TC0P/unreadable\": should be a failure"},
        {R"({"changes": {"TC0P": {"key": "TC0D"}}})", "/changes/TC0P/key\": a change is named by its key"},
        {R"({"changes": {"TC": {"bytes": "00"}}})", "/changes/TC\": should be named by a key of 4 bytes"},
        {R"({"changes": {"TC0X": {"bytes": "00"}}})", "/changes/TC0X\": needs a \"type\""},
        {R"({"key": []})", "/key\": no such field"},
    };
    for (const auto& one : cases) {
        const Status status =
            machine->setFrame({{"controller", {{"services", {{"AppleSMC", Value::parse(one.service)}}}}}});
        ASSERT_FALSE(status) << one.service;
        EXPECT_THAT(status.failure().detail, HasSubstr(one.detail));
        EXPECT_EQ(session.value("TC0P", 2), "2f80");
    }
    EXPECT_FALSE(machine->setFrame({{"controller", {{"keys", Value::array()}}}}));
}

}  // namespace
}  // namespace hvk
