// The controller client on written-down controllers: what its numbers mean, what is remembered, what is written.

#include "HVKStatistics/sensors/SMC.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <stdexcept>

#include "HVKStatistics/sensors/SMCSensors.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::turn;
using test::writtenMachine;
using testing::ElementsAre;

Value key(const std::string& name, const std::string& type, const std::string& bytes) {
    return {{"key", name}, {"type", type}, {"bytes", bytes}};
}

/// The section of one controller.
Value controller(const Value& keys) { return {{"controller", {{"services", {{"AppleSMC", {{"keys", keys}}}}}}}}; }

Value change(const std::string& name, const Value& fields) {
    return {{"controller", {{"services", {{"AppleSMC", {{"changes", {{name, fields}}}}}}}}}};
}

/// Counts the calls, keeps the last request, and fails in the way a test asks for.
class WatchedPort : public ForwardingUserClientPort {
public:
    using ForwardingUserClientPort::ForwardingUserClientPort;

    Result<UserClientConnection> open(const std::string& className, std::uint32_t type) override {
        EXPECT_EQ(className, "AppleSMC");
        EXPECT_EQ(type, 1U);
        return ForwardingUserClientPort::open(className, type);
    }
    Status callScalar(UserClientConnection, std::uint32_t selector) override {
        EXPECT_EQ(selector, 0U);
        ++scalarCalls;
        return Failure{FailureKind::Unsupported, "no sessions", {}};
    }
    Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                      std::span<const std::uint8_t> input, std::span<std::uint8_t> output) override {
        EXPECT_EQ(selector, 2U);
        EXPECT_EQ(output.size(), 80U);
        calls.push_back(input[42]);
        last.assign(input.begin(), input.end());
        if (isThrowing) throw std::runtime_error("broken");
        const auto written = ForwardingUserClientPort::callStructure(connection, selector, input, output);
        if (!isDead) return written;
        return Failure{FailureKind::Gone, "dead", {}};
    }

    std::vector<std::uint8_t> calls;  ///< their commands
    std::vector<std::uint8_t> last;
    int scalarCalls = 0;
    bool isDead = false;
    bool isThrowing = false;
};

class WatchedMachine : public ForwardingMachine {
public:
    explicit WatchedMachine(Machine& machine) : ForwardingMachine(machine), port(machine.userClients()) {}
    UserClientPort& userClients() override { return port; }
    WatchedPort port;
};

/// A client with an open connection to a controller of these keys.
struct Bench {
    explicit Bench(const Value& keys) : recorded(writtenMachine(controller(keys))), machine(*recorded), smc(machine) {
        EXPECT_TRUE(smc.open());
    }

    std::unique_ptr<RecordedMachine> recorded;
    WatchedMachine machine;
    SMC smc;
};

SMCResultData data(const char* type, std::initializer_list<int> bytes) {
    SMCResultData result;
    result.dataSize = static_cast<std::uint32_t>(bytes.size());
    std::copy_n(type, 4, result.dataType.begin());
    std::transform(bytes.begin(), bytes.end(), result.bytes.begin(),
                   [](int byte) { return static_cast<std::uint8_t>(byte); });
    return result;
}

// Numbers

TEST(SMCNumbers, AreDecodedByTheirType) {
    const auto machine = writtenMachine();
    SMC smc(*machine);
    const struct {
        SMCResultData data;
        float normal;
        float alternate;
    } cases[] = {
        {data("sp78", {0x2F, 0x80}), 47.5F, 47.5F},
        {data("sp78", {0x81, 0x01}), -126.99609375F, -1.00390625F},
        {data("sp78", {0x80, 0x00}), SMCNotAvailable, -0.0F},
        {data("sp78", {0x81, 0x00}), SMCNotAvailable, -1},
        {data("sp78", {0x84, 0x00}), SMCNotAvailable, -4},
        {data("sp78", {0x85, 0x00}), -123, -5},
        {data("sp78", {0xFF, 0x00, 0x00}), -1, -1},  // only two bytes are read the other way
        {data("sp5a", {0xC4, 0x00}), -15, -17},
        {data("sp0f", {0x40, 0x00}), 0.5F, 0.5F},
        {data("spf0", {0xFF, 0xFE}), -2, -32766},  // no fraction bits
        {data("spxx", {0x01, 0x00}), 256, 256},
        {data("fpe2", {0x1F, 0x40}), 2000, 2000},
        {data("fpe2", {0xFF, 0xFF}), 16383.75F, 16383.75F},
        {data("fp88", {0x81, 0x00}), SMCNotAvailable, SMCNotAvailable},
        {data("fp88", {0x85, 0x00}), 133, 133},
        {data("fp??", {0x00, 0x07}), 7, 7},
        {data("flt ", {0x00, 0x00, 0x20, 0xC1}), -10, -10},
        {data("fltx", {0x00, 0x00, 0xC0, 0x7F}), NAN, NAN},
        {data("ui8 ", {0xFE}), 254, 254},
        {data("ui8\0", {0x03}), 3, 3},
        {data("flag", {0x01}), 1, 1},
        {data("ui16", {0x01, 0x02}), 258, 513},
        {data("ui32", {0xFF, 0xFF, 0xFF, 0xFF}), 4294967296.0F, 4294967296.0F},
        {data("ui32", {0x00, 0x00, 0x02, 0x31}), 561, 561},
        {data("si8 ", {0x7F}), 127, 127},
        {data("si8 ", {0xFF}), 255, 129},
        {data("si8 ", {0x80}), 128, 0},
        {data("si16", {0xFF, 0xFE}), 65534, 32770},
        {data("si16", {0x80, 0x00}), 32768, 0},
        {data("si32", {0xFF, 0xFF, 0xFF, 0x00}), 4294967040.0F, 2147483904.0F},
        {data("si32", {0x80, 0x00, 0x01, 0x00}), 2147483904.0F, 4294967040.0F},
        {data("fla ", {0x01}), SMCNotAvailable, SMCNotAvailable},
        {data("ui64", {0, 0, 0, 0, 0, 0, 0, 1}), SMCNotAvailable, SMCNotAvailable},
        {data("ioft", {0, 0, 0x13, 0}), SMCNotAvailable, SMCNotAvailable},
        {data("ch8*", {'a', 'b'}), SMCNotAvailable, SMCNotAvailable},
        {data("\0\0\0\0", {1}), SMCNotAvailable, SMCNotAvailable},
    };
    for (const auto& one : cases)
        for (const bool isAlternate : {false, true}) {
            smc.setUseAlternateConversion(isAlternate);
            const float expected = isAlternate ? one.alternate : one.normal;
            const float decoded = smc.value(one.data);
            EXPECT_TRUE(decoded == expected || (std::isnan(decoded) && std::isnan(expected)))
                << one.data.dataType.data() << int{one.data.bytes[0]} << " alternate " << isAlternate << ": " << decoded
                << " instead of " << expected;
        }
}

TEST(SMCNumbers, FixedPointTypesNameTheirFractionBits) {
    const auto machine = writtenMachine();
    const SMC smc(*machine);
    // The third character counts whole bits and the fourth fraction bits: 15 in all with a sign, 16 without.
    for (int fraction = 1; fraction <= 15; ++fraction) {
        const auto type = [&](const char* kind, int whole) {
            constexpr const char* Digits = "0123456789abcdef";
            return std::string(kind) + Digits[whole] + Digits[fraction];
        };
        const float one = std::ldexp(1.0F, -fraction);
        EXPECT_EQ(smc.value(data(type("sp", 15 - fraction).c_str(), {0x00, 0x01})), one) << fraction;
        EXPECT_EQ(smc.value(data(type("fp", 16 - fraction).c_str(), {0x00, 0x01})), one) << fraction;
    }
}

TEST(SMCNumbers, FunctionsBesideTheClass) {
    EXPECT_EQ(smcKey("#KEY"), 0x234B4559U);
    for (const char* other : {"", "TC0", "TC0PX", "T\xC3\xA9P", "TC0\xC3\xA9"}) EXPECT_EQ(smcKey(other), 0U) << other;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(SMCNotAvailable), 0x7F7FFFFFU);
    std::uint8_t buffer[5] = {9, 9, 9, 9, 9};
    float2Bytes(buffer, -10);
    EXPECT_THAT(buffer, ElementsAre(0x00, 0x00, 0x20, 0xC1, 9));
    std::uint16_t number = 0x1FE0;
    swap2(&number);
    EXPECT_EQ(number, 0xE01F);
    EXPECT_FALSE(isbigendian());
}

// Readings

TEST(SMCReading, KeepsToTheRangesThatSensorsHave) {
    const struct {
        const char* key;
        const char* type;
        const char* bytes;
        float read;
        double detailed;
    } cases[] = {
        {"TC0P", "sp78", "2f80", 47.5F, 47.5},
        {"TC0P", "fp88", "9600", 150, 150},
        {"TC0P", "fp88", "9680", SMCNotAvailable, 150.5},
        {"TC0P", "sp78", "0000", 0, 0},
        {"TC0P", "sp78", "ff80", SMCNotAvailable, -0.5},
        {"tC0P", "sp78", "ff80", -0.5F, -0.5},
        {"VC0C", "fpe2", "0400", 256, 256},
        {"VC0C", "ui8 ", "fe", SMCNotAvailable, 254},
        {"PC0C", "flt ", "0000c842", 100, 100},
        {"PC0C", "flt ", "cdcccc3d", 0.1F, 0.1},
        {"F0ID", "{fds", "01", SMCNotAvailable, SMCNotAvailable},
    };
    for (const auto& one : cases) {
        Bench bench(Value::array({key(one.key, one.type, one.bytes)}));
        EXPECT_EQ(bench.smc.read(one.key), one.read) << one.key << one.bytes;
        const Value detailed = bench.smc.detailedRead(one.key);
        EXPECT_EQ(detailed["value"].get<float>(), static_cast<float>(one.detailed));
        EXPECT_EQ(detailed["bytes"].size() * 2, std::string(one.bytes).size());
    }
}

TEST(SMCReading, DetailsHaveEachByteAsASignedNumber) {
    Bench bench(Value::array({key("PC0C", "flt ", "cdcccc3d"), {{"key", "AOPc"}, {"type", "hex_"}, {"size", 64}}}));
    EXPECT_EQ(bench.smc.detailedRead("PC0C").dump(), R"({"bytes":["-51","-52","-52","61"],"value":0.1})");
    EXPECT_EQ(bench.smc.detailedRead("none"), nullptr);
    // More bytes than a reply has: those that it has.
    EXPECT_EQ(bench.smc.detailedRead("AOPc")["bytes"].size(), 32U);
}

TEST(SMCReading, CostsOneCallOnceTheKeyIsKnown) {
    Bench bench(Value::array({key("TC0P", "sp78", "2f80")}));
    EXPECT_EQ(bench.smc.read("TC0P"), 47.5F);
    turn(*bench.recorded, 1, change("TC0P", {{"bytes", "3000"}}));
    EXPECT_EQ(bench.smc.read("TC0P"), 48);
    EXPECT_EQ(bench.smc.detailedRead("TC0P")["value"], 48);
    EXPECT_THAT(bench.machine.port.calls, ElementsAre(9, 5, 5, 5));
    EXPECT_EQ(bench.smc.processKey("TC0P").keyInfo.dataType, 0x73703738U);
    EXPECT_EQ(bench.smc.cache().size(), 1U);
}

TEST(SMCReading, AKeyThatWasUnknownOnceStaysSo) {
    Bench bench(Value::array({key("TC0P", "sp78", "2f80")}));
    EXPECT_EQ(bench.smc.read("TG0P"), SMCNotAvailable);
    bench.machine.port.isDead = true;
    EXPECT_EQ(bench.smc.read("TC0P"), SMCNotAvailable);
    bench.machine.port.isDead = false;
    turn(*bench.recorded, 1, change("TG0P", {{"type", "sp78"}, {"bytes", "3000"}}));
    bench.machine.port.calls.clear();
    EXPECT_EQ(bench.smc.read("TG0P"), SMCNotAvailable);
    EXPECT_EQ(bench.smc.read("TC0P"), SMCNotAvailable);
    EXPECT_EQ(bench.smc.detailedRead("TC0P"), nullptr);
    EXPECT_THAT(bench.machine.port.calls, ElementsAre());
    EXPECT_EQ(bench.smc.processKey("TC0P"), SMCParamStruct());

    // Keys of a wrong length all have code 0, each with an entry of its own.
    for (const char* odd : {"TC0", "TC0PX", ""}) EXPECT_EQ(bench.smc.read(odd), SMCNotAvailable);
    EXPECT_THAT(bench.machine.port.calls, ElementsAre(9, 9, 9));
    EXPECT_THAT(std::vector(bench.machine.port.last.begin(), bench.machine.port.last.begin() + 4),
                ElementsAre(0, 0, 0, 0));
    EXPECT_EQ(bench.smc.cache().size(), 5U);
}

TEST(SMCReading, ContainsExceptionsAndDeadConnections) {
    Bench bench(Value::array({key("TC0P", "sp78", "2f80")}));
    EXPECT_EQ(bench.smc.read("TC0P"), 47.5F);
    bench.machine.port.isThrowing = true;
    EXPECT_EQ(bench.smc.read("TC0P"), SMCNotAvailable);
    EXPECT_EQ(bench.smc.read("TG0P"), SMCNotAvailable);
    EXPECT_EQ(bench.smc.cache().size(), 1U) << "nothing was learnt of the other key";
    bench.machine.port.isThrowing = false;
    // A failed call's reply is all zero, and so is the number of a known key.
    bench.machine.port.isDead = true;
    EXPECT_EQ(bench.smc.read("TC0P"), 0);
    EXPECT_EQ(bench.smc.process(SMCReadKey, 2, "TC0P"), SMCParamStruct());
    EXPECT_EQ(bench.smc.keyForIndex(0), std::nullopt);
}

TEST(SMCReading, RequestsAreLaidOutAsTheDriverExpects) {
    Bench bench(Value::array({key("TC0P", "sp78", "2f80")}));
    const auto last = [&](std::size_t at) { return int{bench.machine.port.last[at]}; };
    EXPECT_EQ(bench.smc.process(SMCReadKeyInfo, 2, "TC0P").keyInfo.dataSize, 2U);
    EXPECT_THAT(std::vector(bench.machine.port.last.begin(), bench.machine.port.last.begin() + 4),
                ElementsAre('P', '0', 'C', 'T'));
    EXPECT_EQ(last(28), 2);
    EXPECT_EQ(last(42), 9);
    EXPECT_EQ(bench.smc.process(SMCKeyFromIndex, 0x0102), std::nullopt);
    EXPECT_EQ(last(44), 2);
    EXPECT_EQ(last(45), 1);
    EXPECT_EQ(std::accumulate(bench.machine.port.last.begin(), bench.machine.port.last.end(), 0), 8 + 2 + 1);
    EXPECT_EQ(bench.smc.keyForIndex(0), "TC0P");
}

// Connections

TEST(SMCConnection, OpensClosesAndFails) {
    const auto machine = writtenMachine(controller(Value::array({key("TC0P", "sp78", "2f80")})));
    RecordedUserClient& port = machine->recordedUserClients();
    {
        WatchedMachine watched(*machine);
        SMC smc(watched);
        EXPECT_EQ(smc.SMCConnection(), 0U);
        EXPECT_EQ(smc.read("TC0P"), SMCNotAvailable) << "not open";
        EXPECT_THAT(watched.port.calls, ElementsAre());
        ASSERT_TRUE(smc.open()) << "a driver without sessions serves all the same";
        EXPECT_EQ(watched.port.scalarCalls, 1);
        const auto first = smc.SMCConnection();
        EXPECT_NE(first, 0U);
        ASSERT_TRUE(smc.open());
        EXPECT_NE(smc.SMCConnection(), first);
        EXPECT_EQ(port.connectionCount(), 1U) << "the first one is closed";

        // No service: the connection stays what it is. One that does not open: it is gone.
        turn(*machine, 1, Value::parse(R"({"controller": {"services": {"AppleSMC": null}}})"));
        EXPECT_FALSE(smc.open());
        EXPECT_NE(smc.SMCConnection(), 0U);
        turn(*machine, 1, Value::parse(R"({"controller": {"services": {"AppleSMC": {"error": "denied"}}}})"));
        EXPECT_FALSE(smc.open());
        EXPECT_EQ(smc.SMCConnection(), 0U);
        EXPECT_EQ(port.connectionCount(), 0U);
        turn(*machine, 1, controller(Value::array({key("TC1P", "sp78", "2f80")})));
        ASSERT_TRUE(smc.open());
        EXPECT_EQ(smc.read("TC1P"), 47.5F);
    }
    EXPECT_EQ(port.connectionCount(), 0U);
    EXPECT_FALSE(SMC(*writtenMachine()).open());
}

// Writing

TEST(SMCWriting, LaysTheValueOutByTheKeysSize) {
    const struct {
        const char* type;
        const char* before;
        Value value;
        const char* after;
    } cases[] = {
        {"fpe2", "0102", "1200", "12c0"},
        {"fpe2", "0102", "800", "0000"},
        {"fpe2", "0102", 1200, "12c0"},
        {"fpe2", "0102", 1200.0, "12c0"},
        {"fpe2", "0102", 12.5, "0030"},
        {"fpe2", "0102", "9999", "9c3c"},
        {"fpe2", "0102", "-100", "ffff"},  // fffffe70
        {"fpe2", "0102", "fast", "0000"},
        {"fpe2", "0102", " 12x", "0030"},
        {"ch8*", "010203", "0001", "000400"},
        {"ui8 ", "01", "3", "03"},
        {"ui8 ", "01", 258, "02"},
        {"ui8 ", "01", -1, "ff"},
        {"ui8 ", "01", 7.9, "07"},
        {"flag", "00", true, "01"},
        {"flt ", "00000000", "-10", "000020c1"},
        {"flt ", "00000000", "+.5 rpm", "0000003f"},
        {"flt ", "00000000", 47.5, "00003e42"},
        {"ui32", "00000000", 1, "0000803f"},  // a float, whatever the key's type
        {"flt ", "01010101", "none", "00000000"},
    };
    for (const auto& one : cases) {
        Bench bench(Value::array({key("F0Mn", one.type, one.before)}));
        EXPECT_TRUE(bench.smc.write(one.value, "F0Mn"));
        EXPECT_THAT(bench.machine.port.calls, ElementsAre(9, 6));
        std::string bytes;
        for (std::size_t at = 48; at < 48 + std::string(one.after).size() / 2; ++at) {
            constexpr const char* Digits = "0123456789abcdef";
            bytes += Digits[bench.machine.port.last[at] >> 4];
            bytes += Digits[bench.machine.port.last[at] & 0xF];
        }
        EXPECT_EQ(bytes, one.after) << one.type << " " << one.value;
    }
}

TEST(SMCWriting, SendsNothingToAKeyThatIsNotThere) {
    Bench bench(Value::array({key("F0Mn", "fpe2", "12c0")}));
    EXPECT_FALSE(bench.smc.write("1200", "none"));
    EXPECT_THAT(bench.machine.port.calls, ElementsAre(9));
    for (const Value& odd : {Value(), Value::array({1}), Value::object()}) EXPECT_FALSE(bench.smc.write(odd, "F0Mn"));
    EXPECT_THAT(bench.machine.port.calls, ElementsAre(9));

    // The size is asked for anew: a key that was unknown can be written when it has come.
    EXPECT_EQ(bench.smc.read("F1Mn"), SMCNotAvailable);
    turn(*bench.recorded, 1, change("F1Mn", {{"type", "fpe2"}, {"bytes", "0000"}}));
    EXPECT_TRUE(bench.smc.write("1200", "F1Mn"));
    EXPECT_TRUE(bench.smc.write("1400", "F0Mn"));
    EXPECT_EQ(bench.smc.read("F0Mn"), 1400) << "and is read back";
}

// All keys

TEST(SMCSensors, ListsTheKeysThatCanBeDescribed) {
    Bench bench(Value::array({key("#KEY", "ui8 ", "0a"), key("TC0P", "sp78", "9680"), key("tst1", "ui8 ", "05"),
                              key("PC0C", "flt ", "0000c842"), key("VC0C", "{fds", "0102"), key("ib0R", "si8 ", "ff"),
                              key("F0Ac", "fpe2", "1f40"), key("Tno0", "flag", "")}));
    const Value all = allSensors(bench.smc);
    ASSERT_EQ(all.size(), 7U);
    EXPECT_EQ(all[0], Value::parse(R"({"key": "#KEY", "value": 10.0, "bytes": ["10"]})"));
    EXPECT_EQ(all[1], Value::parse(R"({"key": "TC0P", "value": -105.5, "bytes": ["-106", "-128"]})"));
    EXPECT_EQ(all[6], Value::parse(R"({"key": "F0Ac", "value": 2000.0, "bytes": ["31", "64"]})"));
    Value standard = standardSensors(bench.smc);
    ASSERT_EQ(standard.size(), 5U);
    EXPECT_EQ(standard[3]["value"].get<float>(), SMCNotAvailable);
    standard.erase(3);
    EXPECT_EQ(standard, Value::parse(R"([{"key": "TC0P", "value": -105.5}, {"key": "tst1", "value": 5.0},
                                         {"key": "PC0C", "value": 100.0}, {"key": "ib0R", "value": 255.0}])"));
}

TEST(SMCSensors, BelievesACountOfTenToFiveThousand) {
    const struct {
        Value count;
        std::ptrdiff_t indices;  ///< -1: nothing is listed
    } cases[] = {
        {key("#KEY", "ui32", "00000009"), 2000}, {key("#KEY", "ui32", "0000000a"), 10},
        {key("#KEY", "ui32", "00001388"), 5000}, {key("#KEY", "ui32", "00001389"), -1},
        {key("#KEY", "hex_", "00000010"), -1},   {key("#KEY", "flt ", "0000c07f"), -1},
        {key("#KEY", "flt ", "000080bf"), 2000},
    };
    for (const auto& one : cases) {
        Bench bench(Value::array({one.count}));
        const Value standard = standardSensors(bench.smc);
        EXPECT_EQ(standard.is_null(), one.indices < 0) << one.count;
        const auto& calls = bench.machine.port.calls;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), 8), std::max<std::ptrdiff_t>(one.indices, 0)) << one.count;
        EXPECT_EQ(allSensors(bench.smc).is_null(), one.indices < 0);
    }
    Bench bench(Value::array());
    bench.machine.port.isDead = true;
    EXPECT_EQ(allSensors(bench.smc), nullptr);
}

TEST(SMCSensors, AKeyOutsideASCIIIsText) {
    Bench bench(Value::array({key("T\xC3\xA9P", "sp78", "2f80")}));
    EXPECT_EQ(bench.smc.keyForIndex(0), "T\xC3\x83\xC2\xA9P");
    EXPECT_EQ(allSensors(bench.smc).dump(), "[]");
}

}  // namespace
}  // namespace hvk
